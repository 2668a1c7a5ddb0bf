#include "audio/AudioFileWriter.h"
#include "audio/M4aHeader.h"
#include "platform/ExtAudioFile.h"
#include "tests/support/BoxTree.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <numbers>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::test {
namespace {

constexpr std::uint32_t Float = kAudioFormatFlagIsFloat;

AudioStreamBasicDescription aac(double rate, std::uint32_t channels)
{
    AudioStreamBasicDescription description;
    description.mSampleRate = rate;
    description.mFormatID = kAudioFormatMPEG4AAC;
    description.mChannelsPerFrame = channels;
    return description;
}

// A pitch of its own in every channel; the fourth's is low, since it is the bass channel where there are six.
double pitchOf(std::uint32_t channel) { return channel == 3 ? 40 : 110 * std::exp2(channel); }

std::vector<float> tones(std::uint32_t rate, std::uint32_t channels, std::uint32_t frames)
{
    std::vector<float> samples(std::size_t { frames } * channels);
    for (std::uint32_t i = 0; i < frames; ++i)
        for (std::uint32_t channel = 0; channel < channels; ++channel)
            samples[std::size_t { i } * channels + channel]
                = static_cast<float>(0.25 * std::sin(2 * std::numbers::pi * pitchOf(channel) * i / rate));
    return samples;
}

class AudioFileWriterTest : public testing::Test {
protected:
    ExtAudioFileRef create(const std::string& path, double rate, std::uint32_t channels)
    {
        ExtAudioFileRef file = nullptr;
        EXPECT_EQ(ExtAudioFileCreateWithURL(*OutputPlace::at(path), kAudioFileM4AType, aac(rate, channels), nullptr,
                      kAudioFileFlags_EraseFile, &file),
            noErr);
        auto client = linearPcm(rate, channels, 32, Float);
        EXPECT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client), noErr);
        return file;
    }
    static OSStatus write(ExtAudioFileRef file, std::vector<float> samples, std::uint32_t channels)
    {
        auto frames = static_cast<std::uint32_t>(samples.size() / channels);
        AudioBufferList list { 1, { { channels, static_cast<std::uint32_t>(samples.size() * 4), samples.data() } } };
        return ExtAudioFileWrite(file, frames, &list);
    }
    static OSStatus setBitRate(ExtAudioFileRef file, std::uint32_t bitRate)
    {
        AudioConverterRef converter = nullptr;
        std::uint32_t size = sizeof converter;
        EXPECT_EQ(ExtAudioFileGetProperty(file, kExtAudioFileProperty_AudioConverter, &size, &converter), noErr);
        return AudioConverterSetProperty(converter, kAudioConverterEncodeBitRate, sizeof bitRate, &bitRate);
    }
    std::string make(const std::string& name, std::uint32_t rate, std::uint32_t channels, std::uint32_t frames,
        std::uint32_t bitRate = 0)
    {
        std::string path = m_scratch.file(name);
        ExtAudioFileRef file = create(path, rate, channels);
        if (bitRate) {
            EXPECT_EQ(setBitRate(file, bitRate), noErr);
        }
        auto samples = tones(rate, channels, frames);
        if (frames) {
            EXPECT_EQ(write(file, samples, channels), noErr);
        }
        EXPECT_EQ(ExtAudioFileDispose(file), noErr);
        return path;
    }
    // Interleaved 32-bit floats of what a player hears.
    std::vector<float> decoded(const std::string& path)
    {
        std::string raw = outputOf("ffmpeg -v error -i " + mv::test::shellQuoted(path) + " -f f32le -");
        std::vector<float> samples(raw.size() / 4);
        std::memcpy(samples.data(), raw.data(), samples.size() * 4);
        return samples;
    }
    std::string probe(const std::string& path, const std::string& entries)
    {
        std::string text = outputOf("ffprobe -v error -select_streams a:0 -show_entries " + entries
            + " -of default=nk=1:nw=1 " + mv::test::shellQuoted(path));
        while (!text.empty() && text.back() == '\n')
            text.pop_back();
        return text;
    }

    ScratchFolder m_scratch;
};

// Players take the length from the edit list; this decoder ends with a whole packet, which is the most that it is off.
TEST_F(AudioFileWriterTest, LengthIsExact)
{
    for (std::uint32_t frames : { 1u, 1023u, 1024u, 1025u, 2048u, 44'100u, 100'001u }) {
        std::string path = make("a.m4a", 44'100, 2, frames);
        EXPECT_EQ(probe(path, "stream=codec_name"), "aac");
        EXPECT_EQ(probe(path, "stream=duration_ts"), std::to_string(frames));
        std::size_t heard = decoded(path).size() / 2;
        EXPECT_GE(heard, frames);
        EXPECT_LT(heard, frames + 1024);
    }
}

double signalToNoise(
    const std::vector<float>& source, const std::vector<float>& heard, std::size_t channel, std::size_t channels)
{
    double signal = 0, noise = 0;
    for (std::size_t i = channel; i < source.size(); i += channels) {
        double difference = double { source[i] } - heard[i];
        signal += double { source[i] } * source[i];
        noise += difference * difference;
    }
    return 10 * std::log10(signal / noise);
}

// Each channel has a pitch of its own, so a channel in another's place, or a frame too early, would be all noise.
TEST_F(AudioFileWriterTest, EveryChannelIsInItsPlaceAndInTime)
{
    for (std::uint32_t channels = 1; channels <= 8; ++channels) {
        std::string path = make("a.m4a", 48'000, channels, 48'000, 96'000 * channels);
        EXPECT_EQ(probe(path, "stream=channels"), std::to_string(channels));
        auto source = tones(48'000, channels, 48'000);
        auto heard = decoded(path);
        ASSERT_GE(heard.size(), source.size()) << channels;
        for (std::size_t channel = 0; channel < channels; ++channel) {
            EXPECT_GT(signalToNoise(source, heard, channel, channels), 20) << channel << " of " << channels;
        }
    }
}

TEST_F(AudioFileWriterTest, MovieHeaderFirstWithRoomBehindIt)
{
    Bytes file = readFile(make("a.m4a", 44'100, 2, 44'100));
    BoxTree boxes = readBoxes(file);
    ASSERT_EQ(boxes.children.size(), 4u);
    EXPECT_EQ(boxes.children[0].type, "ftyp");
    EXPECT_EQ(charsOf(boxes.children[0].content.first(4)), "M4A ");
    EXPECT_EQ(boxes.children[1].type, "moov");
    EXPECT_EQ(boxes.children[2].type, "free");
    EXPECT_EQ(boxes.children[2].content.size(), 8184u);
    EXPECT_EQ(boxes.children[3].type, "mdat");
    EXPECT_EQ(boxes.at("moov/mvhd").u32(12), 44'100u) << "times are in frames";
    EXPECT_EQ(boxes.at("moov/mvhd").u32(16), 44'100u);
    const BoxTree& track = boxes.at("moov/trak");
    EXPECT_EQ(track.at("edts/elst").u32(4), 1u);
    EXPECT_EQ(track.at("edts/elst").u32(8), 44'100u) << "as long as what went in";
    EXPECT_EQ(track.at("edts/elst").u32(12), 1024u) << "behind the encoder's priming";
    EXPECT_EQ(track.at("mdia/mdhd").u32(16), 44'100u + 1024);
    // Every chunk's packets lie where the table says, without gaps, up to the end of the file.
    const BoxTree& table = track.at("mdia/minf/stbl");
    std::size_t at = boxes.children[3].offset + 8;
    EXPECT_EQ(table.at("stco").u32(8), at);
    for (std::uint32_t i = 0; i < table.at("stsz").u32(8); ++i)
        at += table.at("stsz").u32(12 + 4 * std::size_t { i });
    EXPECT_EQ(at, file.size());
}

TEST_F(AudioFileWriterTest, LongFilesHaveLongTimesAndOffsets)
{
    M4aTrack track;
    track.sampleRate = 96'000;
    track.channels = 2;
    track.framesPerPacket = 1024;
    track.primingFrames = 1024;
    track.audioSpecificConfig = { 0x10, 0x10 };
    track.packetSizes.assign(5'000'000, 1000); // 15 hours, 5 GB
    track.frames = std::uint64_t { 5'000'000 } * 1024 - 1024;
    Bytes header = m4aHeader(track);
    ByteReader mdat(ByteView(header).last(16));
    EXPECT_EQ(mdat.u32be(), 1u);
    EXPECT_EQ(mdat.u32be(), fourCC("mdat"));
    EXPECT_EQ(mdat.u64be(), 5'000'000'016u);
    BoxTree boxes = readBoxes(ByteView(header).first(header.size() - 16));
    EXPECT_EQ(boxes.at("moov/mvhd").u32(0) >> 24, 1u);
    const BoxTree& offsets = boxes.at("moov/trak/mdia/minf/stbl/co64");
    std::uint32_t chunks = offsets.u32(4);
    EXPECT_EQ(chunks, (5'000'000u + 21) / 22);
    EXPECT_EQ(offsets.u32(8), 0u);
    EXPECT_EQ(offsets.u32(12), header.size());
    EXPECT_EQ(offsets.u32(8 + 8 * (std::size_t { chunks } - 1)), 1u) << "past 4 GiB";
}

TEST_F(AudioFileWriterTest, WithoutAFrameThereIsAFile)
{
    std::string path = make("a.m4a", 44'100, 2, 0);
    Bytes file = readFile(path);
    BoxTree boxes = readBoxes(file);
    EXPECT_TRUE(boxes.has("moov"));
    EXPECT_EQ(probe(path, "stream=codec_name"), "aac");
}

TEST_F(AudioFileWriterTest, BitRateIsWhatWasAskedFor)
{
    std::size_t smaller = 0;
    for (std::uint32_t bitRate : { 32'000u, 64'000u, 128'000u, 256'000u }) {
        std::string path = m_scratch.file("noise.m4a");
        ExtAudioFileRef file = create(path, 44'100, 2);
        EXPECT_EQ(setBitRate(file, bitRate), noErr);
        std::vector<float> noise(44'100 * 2 * 2);
        std::uint32_t state = 1;
        for (float& sample : noise)
            sample = static_cast<float>((state = state * 1664525 + 1013904223) >> 8) / 16777216.0f - 0.5f;
        EXPECT_EQ(write(file, noise, 2), noErr);
        EXPECT_EQ(ExtAudioFileDispose(file), noErr);
        std::size_t size = std::filesystem::file_size(path);
        EXPECT_GT(size, smaller);
        smaller = size;
    }
}

TEST_F(AudioFileWriterTest, BitRatesOutOfReachBecomeTheNearest)
{
    for (std::uint32_t bitRate : { 1u, 1000u, 4'000'000u }) {
        std::string path = make("a.m4a", 8000, 1, 8000, bitRate);
        EXPECT_EQ(probe(path, "stream=duration_ts"), "8000") << bitRate;
    }
}

TEST_F(AudioFileWriterTest, RatesThatAacLacksBecomeTheNearest)
{
    for (auto [rate, nearest] :
        std::vector<std::pair<std::uint32_t, std::uint32_t>> { { 50'000, 48'000 }, { 176'400, 96'000 },
            { 192'000, 96'000 }, { 6000, 7350 }, { 1000, 7350 }, { 44'056, 44'100 }, { 22'050, 22'050 } }) {
        std::string path = make("a.m4a", rate, 2, rate);
        EXPECT_EQ(probe(path, "stream=sample_rate"), std::to_string(nearest));
        EXPECT_NEAR(std::stod(probe(path, "stream=duration_ts")), nearest, 1) << rate;
    }
}

TEST_F(AudioFileWriterTest, IntegersAreHeardLikeFloats)
{
    auto source = tones(44'100, 1, 44'100);
    for (auto [bits, scale] : { std::pair { 16u, 32767.0 }, std::pair { 32u, 2147483520.0 } }) {
        std::string path = m_scratch.file("i.m4a");
        ExtAudioFileRef file = create(path, 44'100, 1);
        auto client = linearPcm(44'100, 1, bits, kAudioFormatFlagIsSignedInteger);
        ASSERT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client), noErr);
        Bytes samples;
        ByteWriter writer(samples);
        for (float sample : source) {
            auto value = static_cast<std::int32_t>(std::lround(sample * scale));
            if (bits == 16)
                writer.u16le(static_cast<std::uint16_t>(value));
            else
                writer.u32le(static_cast<std::uint32_t>(value));
        }
        AudioBufferList list { 1, { { 1, static_cast<std::uint32_t>(samples.size()), samples.data() } } };
        EXPECT_EQ(ExtAudioFileWrite(file, 44'100, &list), noErr);
        EXPECT_EQ(ExtAudioFileDispose(file), noErr);
        EXPECT_GT(signalToNoise(source, decoded(path), 0, 1), 15) << bits;
    }
}

TEST_F(AudioFileWriterTest, WhatIsNoNumberIsSilence)
{
    std::string path = m_scratch.file("a.m4a");
    ExtAudioFileRef file = create(path, 44'100, 1);
    std::vector<float> samples(4096, std::nanf(""));
    samples[7] = INFINITY;
    EXPECT_EQ(write(file, samples, 1), noErr);
    EXPECT_EQ(ExtAudioFileDispose(file), noErr);
    for (float sample : decoded(path))
        ASSERT_LT(std::abs(sample), 1e-3f);
}

// In pieces of any size, and with the threads in any order, the file is the same.
TEST_F(AudioFileWriterTest, PiecesDoNotMatter)
{
    auto samples = tones(44'100, 2, 30'000);
    Bytes whole = readFile(make("a.m4a", 44'100, 2, 30'000));
    for (std::size_t frames : { 1u, 100u, 1023u, 2048u, 29'999u }) {
        std::string path = m_scratch.file("b.m4a");
        ExtAudioFileRef file = create(path, 44'100, 2);
        for (std::size_t at = 0; at < samples.size(); at += frames * 2) {
            std::size_t end = std::min(samples.size(), at + frames * 2);
            EXPECT_EQ(write(file,
                          { samples.begin() + static_cast<std::ptrdiff_t>(at),
                              samples.begin() + static_cast<std::ptrdiff_t>(end) },
                          2),
                noErr);
        }
        EXPECT_EQ(ExtAudioFileDispose(file), noErr);
        EXPECT_TRUE(readFile(path) == whole) << frames;
    }
}

TEST_F(AudioFileWriterTest, WhatCannotBeCreated)
{
    ExtAudioFileRef file = nullptr;
    auto attempt = [&](const Path& path, std::uint32_t type, const AudioStreamBasicDescription& description,
                       std::uint32_t flags = kAudioFileFlags_EraseFile) {
        OSStatus status = ExtAudioFileCreateWithURL(*OutputPlace::at(path), type, description, nullptr, flags, &file);
        EXPECT_EQ(file, nullptr);
        return status;
    };
    std::string path = m_scratch.file("a.m4a");
    EXPECT_EQ(attempt(path, fourCC("WAVE"), aac(44'100, 2)), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(attempt(path, kAudioFileM4AType, linearPcm(44'100, 2, 16, 4)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(attempt(path, kAudioFileM4AType, aac(44'100, 0)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(attempt(path, kAudioFileM4AType, aac(44'100, 9)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(attempt(path, kAudioFileM4AType, aac(0, 2)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(attempt(path, kAudioFileM4AType, aac(NAN, 2)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(attempt(path, kAudioFileM4AType, aac(999, 2)), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(attempt(m_scratch.file("no/a.m4a"), kAudioFileM4AType, aac(44'100, 2)), fnfErr);
    EXPECT_EQ(attempt(Path {}, kAudioFileM4AType, aac(44'100, 2)), paramErr);
    m_scratch.write("a.m4a", "older");
    EXPECT_EQ(attempt(path, kAudioFileM4AType, aac(44'100, 2), 0), kAudioFilePermissionsError);
    EXPECT_EQ(charsOf(readFile(path)), "older");
}

TEST_F(AudioFileWriterTest, ClientFormatsThatAreRefused)
{
    ExtAudioFileRef file = create(m_scratch.file("a.m4a"), 44'100, 2);
    auto set = [file](const AudioStreamBasicDescription& format) {
        return ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof format, &format);
    };
    EXPECT_EQ(set(aac(44'100, 2)), kExtAudioFileError_NonPCMClientFormat);
    EXPECT_EQ(set(linearPcm(44'100, 1, 32, Float)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(set(linearPcm(44'100, 2, 64, Float)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(set(linearPcm(-1, 2, 32, Float)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(set(linearPcm(0, 2, 32, Float)), noErr) << "the file's own rate";
    EXPECT_EQ(write(file, std::vector<float>(2048), 2), noErr);
    EXPECT_EQ(set(linearPcm(44'100, 2, 32, Float)), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(setBitRate(file, 64'000), kExtAudioFileError_InvalidOperationOrder);
    std::uint32_t frames = 1;
    float room[2];
    AudioBufferList list { 1, { { 2, 8, room } } };
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &list), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileWrite(file, 2, &list), paramErr) << "more frames than the buffer holds";
    EXPECT_EQ(ExtAudioFileDispose(file), noErr);
}

TEST_F(AudioFileWriterTest, BitRatePropertyChecksItsSize)
{
    ExtAudioFileRef file = create(m_scratch.file("a.m4a"), 44'100, 2);
    AudioConverterRef converter = nullptr;
    std::uint32_t size = sizeof converter;
    ASSERT_EQ(ExtAudioFileGetProperty(file, kExtAudioFileProperty_AudioConverter, &size, &converter), noErr);
    std::uint64_t wide = 128'000;
    EXPECT_EQ(AudioConverterSetProperty(converter, kAudioConverterEncodeBitRate, sizeof wide, &wide),
        kAudioConverterErr_BadPropertySizeError);
    EXPECT_EQ(AudioConverterSetProperty(converter, fourCC("xxxx"), 4, &wide), kAudioConverterErr_PropertyNotSupported);
    EXPECT_EQ(setBitRate(file, 0), paramErr);
    EXPECT_EQ(ExtAudioFileDispose(file), noErr);
}

// The encoder has not failed; whoever closes it without finishing must not wait for ever.
TEST_F(AudioFileWriterTest, AWriterThatIsDroppedEnds)
{
    auto writer = AudioFileWriter::create(*OutputPlace::at(m_scratch.file("a.m4a")), kAudioFileM4AType, aac(44'100, 2));
    ASSERT_TRUE(writer.ok());
    std::vector<std::int16_t> samples(2048 * 2);
    AudioBufferList list { 1, { { 2, 8192, samples.data() } } };
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ((*writer)->write(2048, list), noErr);
    writer->reset();
    EXPECT_FALSE(std::filesystem::exists(m_scratch.file("a.m4a")));
}

// The packets are those of the encoder's own program, so they sound no worse.
TEST_F(AudioFileWriterTest, PacketsAreTheEncodersOwn)
{
    auto source = tones(44'100, 2, 88'200);
    std::string ours = make("a.m4a", 44'100, 2, 88'200, 128'000);
    Bytes raw(source.size() * 4);
    std::memcpy(raw.data(), source.data(), raw.size());
    std::string peer = m_scratch.file("peer.m4a");
    outputOf("ffmpeg -v error -f f32le -ar 44100 -ac 2 -i " + mv::test::shellQuoted(m_scratch.write("raw", raw))
        + " -c:a aac -b:a 128k -y " + mv::test::shellQuoted(peer));
    auto hash = [](const std::string& path) {
        return outputOf("ffmpeg -v error -i " + mv::test::shellQuoted(path) + " -c copy -f streamhash -");
    };
    EXPECT_EQ(hash(ours), hash(peer));
    for (std::size_t channel = 0; channel < 2; ++channel)
        EXPECT_GT(signalToNoise(source, decoded(ours), channel, 2), 20);
}

} // namespace
} // namespace mv::test
