#pragma once

#include "Base/Core/Bytes.h"
#include "service/job/TagChanges.h"

#include <optional>

namespace mv {

/// The 128 bytes of an ID3v1 tag with the changes: texts in Latin-1, cut off where the field ends. A text with other
/// characters leaves its field empty, so that nobody reads what is not true any more.
Bytes changedId3v1(Bytes tag, const TagChanges& changes);

/// An APE tag, with its header where it has one, with the changes; nothing where it has none of what is named, or
/// cannot be read. Empty where nothing is left in it.
std::optional<Bytes> changedApe(ByteView tag, const TagChanges& changes);

/// A Lyrics3 block of version 2 without the texts of what is named: its title, artist, album and note stand beside tags
/// that have them. Nothing where it has none of them, or cannot be read. Empty where nothing is left in it.
std::optional<Bytes> changedLyrics3(ByteView block, const TagChanges& changes);

} // namespace mv
