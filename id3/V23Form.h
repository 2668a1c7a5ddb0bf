#pragma once

#include "Base/Core/Bytes.h"
#include "id3/FrameNames.h"

#include <optional>
#include <string>
#include <string_view>

namespace mv {

// Text encodings of ID3v2 frames: their first byte.
inline constexpr std::uint8_t Id3EncodingLatin1 = 0;
inline constexpr std::uint8_t Id3EncodingUtf16 = 1;
inline constexpr std::uint8_t Id3EncodingUtf16BE = 2;
inline constexpr std::uint8_t Id3EncodingUtf8 = 3;

/// The v2.3 form of a frame's content, or nothing when it has that form already. `id` is the v2.3 name, `storedId` and
/// `version` say what the content was written as. Content too short for its kind comes back as it is.
std::optional<Bytes> v23Body(std::string_view id, std::string_view storedId, int version, ByteView content);

/// The parts of an APIC frame in v2.3 form; views into `body`. Nothing when it ends before the picture type.
struct ApicParts {
    ByteView mimeType;
    std::uint8_t pictureType = 0;
    ByteView data;
};
std::optional<ApicParts> splitApic(ByteView body);

/// A string of one encoding as UTF-16LE units without a byte order mark. UTF-16 takes the order of its mark. Without
/// one, the order in which more units are of the Basic Latin kind, else little-endian: that is what the programs write
/// that forget the mark. Bytes that are not UTF-8 although labelled so are taken as Latin-1.
Bytes utf16LEFromEncoded(std::uint8_t encoding, ByteView text);

/// The length of the string before its terminator (one zero byte, or a zero unit in UTF-16), and the bytes to step over
/// to get behind it.
struct TerminatedLength {
    std::size_t length = 0;
    std::size_t next = 0;
};
TerminatedLength terminatedLength(std::uint8_t encoding, ByteView text);

} // namespace mv
