#include "audio/PcmConverter.h"
#include "tests/audio/FakeAudio.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

using namespace mv;
using namespace mv::test;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t Signed = kAudioFormatFlagIsSignedInteger;
constexpr std::uint32_t MaxFirst = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsBigEndian;

AudioSourceFormat sourceOf(std::uint32_t channels, std::uint64_t mask = 0)
{
    return { linearPcm(44100, channels, 16, Signed), mask, 0 };
}

AudioStreamBasicDescription client(std::uint32_t channels, std::uint32_t bits, std::uint32_t flags)
{
    return linearPcm(44100, channels, bits, flags);
}

template <class In>
Bytes convertMono(SampleKind kind, const std::vector<In>& samples, const AudioStreamBasicDescription& to)
{
    Bytes plane = bytesOfValues(samples);
    const std::uint8_t* planes[] { plane.data() };
    DecodedFrames frames { kind, false, 1, static_cast<std::uint32_t>(samples.size()), planes };
    Bytes out(samples.size() * to.mBytesPerFrame);
    PcmConverter converter(sourceOf(1), to);
    converter.convert(frames, 0, frames.count, out.data());
    return out;
}

template <class T> std::vector<T> valuesOf(const Bytes& bytes)
{
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
}

} // namespace

TEST(PcmConverter, SixteenBitsPassUnchanged)
{
    std::vector<std::int16_t> samples { 0, 1, -1, 32767, -32768 };
    EXPECT_EQ(valuesOf<std::int16_t>(convertMono(SampleKind::Signed16, samples, client(1, 16, Signed))), samples);
}

TEST(PcmConverter, UnsignedBytesBecomeSigned)
{
    std::vector<std::uint8_t> samples { 0, 127, 128, 129, 255 };
    EXPECT_THAT(valuesOf<std::int8_t>(convertMono(SampleKind::Unsigned8, samples, client(1, 8, Signed))),
        ElementsAre(-128, -1, 0, 1, 127));
}

TEST(PcmConverter, TwentyFourBitsComeMostSignificantByteFirst)
{
    std::vector<std::int32_t> samples { 0x12345600, -256, std::numeric_limits<std::int32_t>::min() };
    EXPECT_THAT(convertMono(SampleKind::Signed32, samples, client(1, 24, MaxFirst)),
        ElementsAre(0x12, 0x34, 0x56, 0xFF, 0xFF, 0xFF, 0x80, 0x00, 0x00));
}

TEST(PcmConverter, IntegersWidenByShiftingAndNarrowByDroppingBits)
{
    EXPECT_THAT(valuesOf<std::int32_t>(
                    convertMono(SampleKind::Signed16, std::vector<std::int16_t> { -1, 0x1234 }, client(1, 32, Signed))),
        ElementsAre(-65536, 0x12340000));
    EXPECT_THAT(valuesOf<std::int16_t>(convertMono(SampleKind::Signed32,
                    std::vector<std::int32_t> { -1, 0x1234FFFF, -0x10000 }, client(1, 16, Signed))),
        ElementsAre(-1, 0x1234, -1));
}

TEST(PcmConverter, FloatsAreScaledRoundedToEvenAndClipped)
{
    std::vector<float> samples { 0.0f, 0.5f / 32768, 1.5f / 32768, -2.5f / 32768, 1.0f, -1.0f, 3.0f, -3.0f,
        std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity() };
    EXPECT_THAT(valuesOf<std::int16_t>(convertMono(SampleKind::Float32, samples, client(1, 16, Signed))),
        ElementsAre(0, 0, 2, -2, 32767, -32768, 32767, -32768, 0, 32767));
}

TEST(PcmConverter, FloatsBecomeThirtyTwoBitsExactly)
{
    std::vector<float> samples { 1.0f, -1.0f, 0.5f, -0.25f, 0x1.fffffep-1f, 0x1p-31f, 2.0f,
        std::numeric_limits<float>::quiet_NaN() };
    EXPECT_THAT(valuesOf<std::int32_t>(convertMono(SampleKind::Float32, samples, client(1, 32, Signed))),
        ElementsAre(2147483647, std::numeric_limits<std::int32_t>::min(), 0x40000000, -0x20000000, 2147483520, 1,
            2147483647, 0));
}

TEST(PcmConverter, DoublesKeepTwentyFourBits)
{
    std::vector<double> samples { 0x123456 / 8388608.0, -1.0 };
    EXPECT_THAT(convertMono(SampleKind::Float64, samples, client(1, 24, MaxFirst)),
        ElementsAre(0x12, 0x34, 0x56, 0x80, 0x00, 0x00));
}

TEST(PcmConverter, EveryKindBecomesFloat)
{
    auto format = client(1, 32, kAudioFormatFlagIsFloat);
    EXPECT_THAT(valuesOf<float>(convertMono(SampleKind::Unsigned8, std::vector<std::uint8_t> { 0, 128, 192 }, format)),
        ElementsAre(-1.0f, 0.0f, 0.5f));
    EXPECT_THAT(valuesOf<float>(convertMono(SampleKind::Signed16, std::vector<std::int16_t> { -32768, 16384 }, format)),
        ElementsAre(-1.0f, 0.5f));
    EXPECT_THAT(valuesOf<float>(convertMono(SampleKind::Signed32, std::vector<std::int32_t> { 1 << 30 }, format)),
        ElementsAre(0.5f));
    // Floats are not clipped: the encoder behind them knows what to do with peaks.
    EXPECT_THAT(valuesOf<float>(convertMono(SampleKind::Float32, std::vector<float> { 1.5f, -0.1f }, format)),
        ElementsAre(1.5f, -0.1f));
    EXPECT_THAT(
        valuesOf<float>(convertMono(SampleKind::Float64, std::vector<double> { 0.25 }, format)), ElementsAre(0.25f));
}

TEST(PcmConverter, PlanesAreInterleavedFromAnyFrameOn)
{
    Bytes left = bytesOfValues(std::vector<std::int16_t> { 1, 2, 3, 4 });
    Bytes right = bytesOfValues(std::vector<std::int16_t> { 11, 12, 13, 14 });
    const std::uint8_t* planes[] { left.data(), right.data() };
    PcmConverter converter(sourceOf(2), client(2, 16, Signed));
    Bytes out(8);
    converter.convert({ SampleKind::Signed16, true, 2, 4, planes }, 1, 2, out.data());
    EXPECT_THAT(valuesOf<std::int16_t>(out), ElementsAre(2, 12, 3, 13));
}

TEST(PcmConverter, MonoGoesToBothChannelsAtFullLevel)
{
    PcmConverter converter(sourceOf(1, 0x4), client(2, 32, Signed));
    Bytes plane = bytesOfValues(std::vector<std::int16_t> { 32767, -32768 });
    const std::uint8_t* planes[] { plane.data() };
    Bytes out(16);
    converter.convert({ SampleKind::Signed16, false, 1, 2, planes }, 0, 2, out.data());
    EXPECT_THAT(valuesOf<std::int32_t>(out),
        ElementsAre(0x7FFF0000, 0x7FFF0000, std::numeric_limits<std::int32_t>::min(),
            std::numeric_limits<std::int32_t>::min()));
}

TEST(PcmConverter, SixChannelsAreMixedWithoutClipping)
{
    // Front left and right, centre, bass, back left and right.
    PcmConverter converter(sourceOf(6, 0x3F), client(2, 16, Signed));
    auto mixed = [&](std::vector<std::int16_t> frame) {
        Bytes plane = bytesOfValues(frame);
        const std::uint8_t* planes[] { plane.data() };
        Bytes out(4);
        converter.convert({ SampleKind::Signed16, false, 6, 1, planes }, 0, 1, out.data());
        return valuesOf<std::int16_t>(out);
    };
    double sum = 1 + 2 * std::sqrt(0.5);
    auto whole = static_cast<std::int16_t>(std::lrint(30000 / sum));
    auto quieter = static_cast<std::int16_t>(std::lrint(30000 * std::sqrt(0.5) / sum));
    EXPECT_THAT(mixed({ 30000, 0, 0, 0, 0, 0 }), ElementsAre(whole, 0));
    EXPECT_THAT(mixed({ 0, 30000, 0, 0, 0, 0 }), ElementsAre(0, whole));
    EXPECT_THAT(mixed({ 0, 0, 30000, 0, 0, 0 }), ElementsAre(quieter, quieter));
    EXPECT_THAT(mixed({ 0, 0, 0, 30000, 0, 0 }), ElementsAre(0, 0));
    EXPECT_THAT(mixed({ 0, 0, 0, 0, 30000, 0 }), ElementsAre(quieter, 0));
    EXPECT_THAT(mixed({ 0, 0, 0, 0, 0, 30000 }), ElementsAre(0, quieter));
    EXPECT_THAT(mixed({ 32767, 32767, 32767, 32767, 32767, 32767 }), ElementsAre(32767, 32767));
    EXPECT_THAT(mixed({ -32768, -32768, -32768, -32768, -32768, -32768 }), ElementsAre(-32768, -32768));
}

TEST(PcmConverter, StereoToMonoIsTheMean)
{
    PcmConverter converter(sourceOf(2, 0x3), client(1, 16, Signed));
    Bytes plane = bytesOfValues(std::vector<std::int16_t> { 1000, 3000, 32767, 32767 });
    const std::uint8_t* planes[] { plane.data() };
    Bytes out(4);
    converter.convert({ SampleKind::Signed16, false, 2, 2, planes }, 0, 2, out.data());
    EXPECT_THAT(valuesOf<std::int16_t>(out), ElementsAre(2000, 32767));
}

TEST(PcmConverter, OnlyFormatsThatCanBeDeliveredAreAccepted)
{
    AudioSourceFormat source = sourceOf(6);
    auto check = [&](AudioStreamBasicDescription format) { return PcmConverter::check(source, format); };
    EXPECT_EQ(check(client(6, 16, Signed)), noErr);
    EXPECT_EQ(check(client(6, 32, kAudioFormatFlagIsFloat)), noErr);
    EXPECT_EQ(check(client(2, 24, MaxFirst)), noErr);
    EXPECT_EQ(check(client(1, 8, Signed)), noErr);
    EXPECT_EQ(check(client(2, 24, Signed)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(check(client(3, 16, Signed)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(check(client(2, 12, Signed)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(check(client(2, 16, kAudioFormatFlagIsFloat)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(check(client(2, 16, MaxFirst)), kExtAudioFileError_InvalidDataFormat);
    EXPECT_EQ(check(linearPcm(48000, 2, 16, Signed)), kExtAudioFileError_InvalidDataFormat);
    auto unpacked = client(2, 16, Signed);
    unpacked.mBytesPerFrame = 8;
    EXPECT_EQ(check(unpacked), kExtAudioFileError_InvalidDataFormat);
    auto silentFrames = client(0, 16, Signed);
    EXPECT_EQ(check(silentFrames), kExtAudioFileError_InvalidDataFormat);
    auto compressed = client(2, 16, Signed);
    compressed.mFormatID = kAudioFormatMPEG4AAC;
    EXPECT_EQ(check(compressed), kExtAudioFileError_NonPCMClientFormat);
}
