#pragma once

#include "Base/Core/Bytes.h"

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstring>

namespace mv {

/// Walks over bytes that nobody vouches for. Every read is checked; after the first read past the end the reader
/// is failed, stays at its place, and answers zeros and empty views, so a parser may check `failed()` once at
/// the end of a group of reads.
class ByteReader {
public:
    explicit ByteReader(ByteView bytes)
        : m_bytes(bytes)
    {
    }

    bool failed() const { return m_failed; }
    bool atEnd() const { return m_position == m_bytes.size(); }
    std::size_t position() const { return m_position; }
    std::size_t size() const { return m_bytes.size(); }
    std::size_t remaining() const { return m_bytes.size() - m_position; }

    /// An absolute place; past the end fails.
    void seek(std::size_t position)
    {
        if (position > m_bytes.size())
            m_failed = true;
        else
            m_position = position;
    }
    void skip(std::size_t count) { take(count); }

    /// The next `count` bytes, or an empty view and failure.
    ByteView take(std::size_t count)
    {
        if (m_failed || count > remaining()) {
            m_failed = true;
            return {};
        }
        ByteView taken = m_bytes.subspan(m_position, count);
        m_position += count;
        return taken;
    }
    ByteView rest() { return take(remaining()); }

    std::uint8_t u8() { return big<std::uint8_t>(); }
    std::uint16_t u16be() { return big<std::uint16_t>(); }
    std::uint32_t u24be()
    {
        std::uint32_t high = u8();
        return high << 16 | u16be();
    }
    std::uint32_t u32be() { return big<std::uint32_t>(); }
    std::uint64_t u64be() { return big<std::uint64_t>(); }
    std::uint16_t u16le() { return little<std::uint16_t>(); }
    std::uint32_t u32le() { return little<std::uint32_t>(); }
    std::uint64_t u64le() { return little<std::uint64_t>(); }

private:
    template <std::unsigned_integral T> T big()
    {
        ByteView taken = take(sizeof(T));
        std::uint64_t value = 0;
        for (std::uint8_t byte : taken)
            value = value << 8 | byte;
        return static_cast<T>(value);
    }
    template <std::unsigned_integral T> T little()
    {
        ByteView taken = take(sizeof(T));
        std::uint64_t value = 0;
        for (std::size_t i = taken.size(); i-- > 0;)
            value = value << 8 | taken[i];
        return static_cast<T>(value);
    }

    ByteView m_bytes;
    std::size_t m_position = 0;
    bool m_failed = false;
};

/// Appends numbers to a growing buffer, most significant byte first unless the name says otherwise.
class ByteWriter {
public:
    explicit ByteWriter(Bytes& target)
        : m_target(target)
    {
    }

    void u8(std::uint8_t value) { m_target.push_back(value); }
    void u16be(std::uint16_t value) { big(value, 2); }
    void u24be(std::uint32_t value) { big(value, 3); }
    void u32be(std::uint32_t value) { big(value, 4); }
    void u64be(std::uint64_t value) { big(value, 8); }
    void u16le(std::uint16_t value) { little(value, 2); }
    void u32le(std::uint32_t value) { little(value, 4); }
    void u64le(std::uint64_t value) { little(value, 8); }
    void bytes(ByteView view) { m_target.insert(m_target.end(), view.begin(), view.end()); }
    void text(std::string_view text) { bytes(bytesOf(text)); }
    void zeros(std::size_t count) { m_target.insert(m_target.end(), count, 0); }

private:
    void big(std::uint64_t value, int count)
    {
        for (int shift = (count - 1) * 8; shift >= 0; shift -= 8)
            m_target.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    void little(std::uint64_t value, int count)
    {
        for (int shift = 0; shift < count * 8; shift += 8)
            m_target.push_back(static_cast<std::uint8_t>(value >> shift));
    }

    Bytes& m_target;
};

/// Four characters as a number, most significant first: 'vide', 'soun', 'alac'.
using FourCC = std::uint32_t;

/// A four-character code such as 'moov', most significant character first.
constexpr std::uint32_t fourCC(const char (&text)[5])
{
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) << 24
        | static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 16
        | static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 8
        | static_cast<std::uint32_t>(static_cast<unsigned char>(text[3]));
}

} // namespace mv
