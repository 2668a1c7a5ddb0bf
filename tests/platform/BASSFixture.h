#pragma once

#include "platform/BASS.h"

#include "Base/Core/ByteReader.h"
#include "audio/FlacHeader.h"
#include "audio/OggPage.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace mv::test {

// What the process has read so far, the page cache's share included.
inline std::uint64_t bytesReadByProcess()
{
    std::ifstream io("/proc/self/io");
    std::string name;
    std::uint64_t value = 0;
    io >> name >> value;
    return value;
}

inline constexpr std::size_t PackedOffset = 18; // rate, channels, depth and total of STREAMINFO

inline Bytes flacHeader(std::uint32_t rate, std::uint32_t channels, std::uint64_t total)
{
    Bytes out;
    ByteWriter writer(out);
    writer.text("fLaC");
    writer.u8(0x80);
    writer.u24be(FlacStreamInfo::Size);
    writer.u16be(4096);
    writer.u16be(4096);
    writer.zeros(6);
    writer.u64be(
        std::uint64_t { rate } << 44 | std::uint64_t { channels - 1 } << 41 | std::uint64_t { 15 } << 36 | total);
    writer.zeros(16);
    return out;
}

inline void forgetTotal(Bytes& flac, std::size_t marker = 0)
{
    flac[marker + PackedOffset + 3] &= 0xF0;
    std::fill_n(flac.begin() + static_cast<std::ptrdiff_t>(marker + PackedOffset + 4), 4, std::uint8_t { 0 });
}

// Writes the checksum of the page at the front.
inline void sealFirstPage(Bytes& file, std::size_t size)
{
    std::fill_n(file.begin() + 22, 4, std::uint8_t { 0 });
    std::uint32_t crc = 0;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= std::uint32_t { file[i] } << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x80000000 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
    }
    for (std::size_t i = 0; i < 4; ++i)
        file[22 + i] = static_cast<std::uint8_t>(crc >> (8 * i));
}

class BASSTest : public testing::Test {
protected:
    void SetUp() override { BASS_Init(-1, 44100, 0, nullptr, nullptr); }
    void TearDown() override { BASS_Free(); }

    // A tone of so many samples as a FLAC, Vorbis or Opus file.
    std::string make(
        const std::string& name, int samples, int rate, int channels, const std::string& options = "-sample_fmt s16")
    {
        std::string path = m_scratch.file(name);
        outputOf("ffmpeg -v error -f lavfi -i \"anoisesrc=r=" + std::to_string(rate)
            + ":a=0.1:seed=7\" -af atrim=end_sample=" + std::to_string(samples) + " -ac " + std::to_string(channels)
            + " " + options + " -y " + mv::test::shellQuoted(path));
        return path;
    }

    struct Measured {
        std::uint64_t bytes = 0;
        double seconds = 0;
        int error = BASS_OK;
    };
    using Create = HSTREAM (*)(bool, const OpenedFile&, std::uint64_t, std::uint64_t, std::uint32_t);
    static Measured measure(const std::string& path, Create create)
    {
        HSTREAM stream = create(false, OpenedFile::at(path), 0, 0, BASS_STREAM_AUTOFREE);
        if (stream == 0)
            return { 0, 0, BASS_ErrorGetCode() };
        Measured measured;
        measured.bytes = BASS_ChannelGetLength(stream, BASS_POS_BYTE);
        measured.seconds = BASS_ChannelBytes2Seconds(stream, measured.bytes);
        EXPECT_TRUE(BASS_StreamFree(stream));
        return measured;
    }
    static Measured flac(const std::string& path) { return measure(path, BASS_FLAC_StreamCreateFile); }
    static Measured ogg(const std::string& path) { return measure(path, BASS_StreamCreateFile); }

    ScratchFolder m_scratch;
};

} // namespace mv::test
