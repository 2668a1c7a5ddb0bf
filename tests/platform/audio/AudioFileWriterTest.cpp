#include "platform/audio/ExtAudioFile.h"
#include "platform/audio/M4aHeader.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <numbers>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::test {
namespace {

constexpr std::uint32_t kFloat = kAudioFormatFlagIsFloat;

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
        EXPECT_EQ(ExtAudioFileCreateWithURL(
                      path, kAudioFileM4AType, aac(rate, channels), nullptr, kAudioFileFlags_EraseFile, &file),
            noErr);
        auto client = linearPcm(rate, channels, 32, kFloat);
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
        std::string raw = outputOf("ffmpeg -v error -i " + mv::test::quoted(path) + " -f f32le -");
        std::vector<float> samples(raw.size() / 4);
        std::memcpy(samples.data(), raw.data(), samples.size() * 4);
        return samples;
    }
    std::string probe(const std::string& path, const std::string& entries)
    {
        std::string text = outputOf("ffprobe -v error -select_streams a:0 -show_entries " + entries
            + " -of default=nk=1:nw=1 " + mv::test::quoted(path));
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

} // namespace
} // namespace mv::test
