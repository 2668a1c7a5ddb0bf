#pragma once

#include "service/tags/Id3Frame.h"

#include <optional>
#include <string_view>

namespace mv {

// New frames, version 2.3.

/// UTF-16 code units that a text field takes at most.
inline constexpr std::size_t MaxTagTextUnits = 2000;

/// The text as the service stores it: up to the first NUL, cut to MaxTagTextUnits at a whole character.
std::u16string tagText(std::string_view utf8);

/// TIT2, TALB, TPE1 or TCOM with UTF-16 text.
Id3Frame newTextFrame(std::string_view id, std::string_view utf8);
/// COMM with UTF-16 text, an empty description and the language "XXX".
Id3Frame newCommentFrame(std::string_view utf8);
/// TCON: the number in parentheses when the text is exactly a name of the genre table, else the text itself, in Latin-1
/// when it is ASCII. Nothing for an empty text.
std::optional<Id3Frame> newGenreFrame(std::string_view utf8);
/// TRCK without a total. Nothing for 0.
std::optional<Id3Frame> newTrackFrame(std::uint8_t number);
/// APIC, the front cover, its MIME type "image/jpeg" whatever the bytes are.
Id3Frame newPictureFrame(ByteView picture);

} // namespace mv
