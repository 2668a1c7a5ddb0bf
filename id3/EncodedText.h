#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <vector>

namespace mv {

// Text encodings of ID3v2 frames: their first byte.
inline constexpr std::uint8_t Id3EncodingLatin1 = 0;
inline constexpr std::uint8_t Id3EncodingUtf16 = 1;
inline constexpr std::uint8_t Id3EncodingUtf16BE = 2;
inline constexpr std::uint8_t Id3EncodingUtf8 = 3;

/// UTF-16 of either kind.
inline bool isUtf16(std::uint8_t encoding) { return encoding == Id3EncodingUtf16 || encoding == Id3EncodingUtf16BE; }
bool beginsWithUtf16Mark(ByteView text);

/// A string of one encoding as UTF-16LE units without a byte order mark. UTF-16 takes the order of its mark. Without
/// one, the order in which more units are of the Basic Latin kind, else little-endian: that is what the programs write
/// that forget the mark. Bytes that are not UTF-8 although labelled so are taken as Latin-1.
Bytes utf16LEFromEncoded(std::uint8_t encoding, ByteView text);
/// Units that are little-endian, or big-endian, already; half a unit at the end is left out.
Bytes utf16LEFromUnits(ByteView text, bool bigEndian);

/// The length of the string before its terminator (one zero byte, or a zero unit in UTF-16), and the bytes to step over
/// to get behind it.
struct TerminatedLength {
    std::size_t length = 0;
    std::size_t next = 0;
};
TerminatedLength terminatedLength(std::uint8_t encoding, ByteView text);
/// Moves the front of `rest` behind the terminator; what lies before it is the string.
ByteView takeString(std::uint8_t encoding, ByteView& rest);

/// Builds the body of a frame with an encoding byte in front, its strings in one encoding that v2.3 has: Latin-1 when
/// all of them are ASCII, which every reader knows, else UTF-16 with a byte order mark in front of each. Keeps
/// references to raw bytes.
class EncodedBody {
public:
    /// Bytes that are the same in every encoding.
    void raw(ByteView bytes) { m_parts.push_back({ Part::Raw, bytes, {} }); }
    void string(Bytes utf16LE);
    void string(std::uint8_t encoding, ByteView text) { string(utf16LEFromEncoded(encoding, text)); }
    void terminator() { m_parts.push_back({ Part::Terminator, {}, {} }); }
    Bytes bytes() const;

private:
    struct Part {
        enum Kind { Raw, String, Terminator };
        Kind kind;
        ByteView view;
        Bytes units;
    };

    std::vector<Part> m_parts;
    bool m_isAscii = true;
};

} // namespace mv
