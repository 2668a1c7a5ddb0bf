#pragma once

#include "Base/Core/ByteReader.h"

namespace mv::test {

/// A WAVE file put together from chunks.
class WaveMaker {
public:
    WaveMaker()
        : m_out(m_bytes)
    {
        m_out.text("RIFF");
        m_out.u32le(0x7FFFFFFF); // nobody reads it
        m_out.text("WAVE");
    }
    WaveMaker(const WaveMaker&) = delete;
    WaveMaker& operator=(const WaveMaker&) = delete;

    /// The size is that of the content, or a lie.
    WaveMaker& chunk(std::string_view id, ByteView content) { return chunk(id, content, content.size()); }
    WaveMaker& chunk(std::string_view id, ByteView content, std::size_t size)
    {
        m_out.text(id);
        m_out.u32le(static_cast<std::uint32_t>(size));
        m_out.bytes(content);
        return *this;
    }
    /// `tag` 1 is integers, 3 floats; the bytes of a frame follow from the rest, or are told.
    WaveMaker& format(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits)
    {
        return format(tag, channels, rate, bits, static_cast<std::uint16_t>(channels * bits / 8));
    }
    WaveMaker& format(
        std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits, std::uint16_t frameBytes)
    {
        Bytes content;
        ByteWriter out(content);
        out.u16le(tag);
        out.u16le(channels);
        out.u32le(rate);
        out.u32le(rate * frameBytes);
        out.u16le(frameBytes);
        out.u16le(bits);
        return chunk("fmt ", content);
    }
    WaveMaker& silence(std::size_t bytes) { return chunk("data", Bytes(bytes)); }
    /// Bytes of every value.
    WaveMaker& sound(std::size_t bytes)
    {
        Bytes content(bytes);
        for (std::size_t i = 0; i < bytes; ++i)
            content[i] = static_cast<std::uint8_t>(i * i / 7);
        return chunk("data", content);
    }
    ByteView bytes() const { return m_bytes; }

private:
    Bytes m_bytes;
    ByteWriter m_out;
};

} // namespace mv::test
