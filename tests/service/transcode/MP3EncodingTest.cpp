#include "service/transcode/CoreAudioDecoder.h"
#include "tests/service/transcode/DebugGate.h"
#include "tests/service/transcode/EncoderFakes.h"

#include <cmath>
#include <gmock/gmock.h>
#include <regex>

using namespace mv;
using namespace mv::test;

// Real files through the real encoder, against the lame program and against what a listener expects.

namespace {

std::string tone(const std::string& layout, const std::string& length, const std::string& rest)
{
    return "ffmpeg -v error -y -f lavfi -i \"aevalsrc='" + layout + "':s=44100:d=" + length + "\" " + rest + " ";
}

constexpr const char* Stereo = "0.4*sin(440*2*PI*t)+0.1*sin(3000*t*t)|0.3*sin(660*2*PI*t)+0.05*sin(9000*t)";

bool encode(const std::string& input, const std::string& output, const Record& attributes = {})
{
    MP3Encoder encoder(standardEncoding());
    encoder.setAttributes(attributes);
    return encoder.encodeFileOutputFile(OpenedFile::at(input), OutputPlace::at(output));
}

/// The decoded samples of a file, as 16-bit channels side by side.
std::vector<std::vector<double>> decoded(const std::string& path, int channels)
{
    ScratchFolder scratch;
    std::string raw = scratch.file("raw");
    EXPECT_EQ(run("ffmpeg -v error -y -i " + test::shellQuoted(path) + " -f s16le -ac " + std::to_string(channels) + " "
                  + test::shellQuoted(raw)),
        0);
    Bytes bytes = readFile(raw);
    std::vector<std::vector<double>> sides(static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        sides[i / 2 % sides.size()].push_back(static_cast<std::int16_t>(bytes[i] | bytes[i + 1] << 8));
    return sides;
}

/// Decibels of `wanted` over the difference between both.
double signalToNoise(const std::vector<double>& wanted, const std::vector<double>& got)
{
    double signal = 0;
    double noise = 1e-9;
    for (std::size_t i = 0; i < std::min(wanted.size(), got.size()); ++i) {
        signal += wanted[i] * wanted[i];
        noise += (wanted[i] - got[i]) * (wanted[i] - got[i]);
    }
    return 10 * std::log10(signal / noise);
}

class MP3Encoding : public testing::Test {
protected:
    void SetUp() override
    {
        if (!haveProgram("ffmpeg") || !haveProgram("lame"))
            GTEST_SKIP() << "ffmpeg or lame is not installed";
    }
    /// Makes the input.
    void make(const std::string& layout, const std::string& seconds, const std::string& codec)
    {
        ASSERT_EQ(run(tone(layout, seconds, "-c:a " + codec) + test::shellQuoted(input)), 0);
    }

    ScratchFolder scratch;
    std::string input = scratch.file("in.wav");
    std::string output = scratch.file("out.mp3");
};

} // namespace

TEST_F(MP3Encoding, SameBytesAsLame)
{
    std::string ours = scratch.file("ours.mp3");
    std::string theirs = scratch.file("theirs.mp3");
    make(Stereo, "3.3", "pcm_s16le -bitexact");
    struct Row {
        Record attributes;
        const char* options;
    };
    // The program analyses loudness unless told not to, and writes the gain into its tag frame.
    const Row rows[] {
        { {}, "-b 192 -m s -q 5" },
        { { { MVAudioEncoderBitrateAttribute, 128000 }, { MVMP3EncoderStereoModeAttribte, 3 } }, "-b 128 -m j -q 5" },
        { { { MVMP3EncoderQualityAttribute, 0 } }, "-b 192 -m s -q 7" },
        { { { MVMP3EncoderQualityAttribute, 2 }, { MVAudioEncoderBitrateAttribute, 320000 } }, "-b 320 -m s -q 2" },
        { { { MVMP3EncoderStereoModeAttribte, 1 }, { MVAudioEncoderBitrateAttribute, 96000 } }, "-b 96 -m m -q 5" },
        { { { MVAudioEncoderSamplingRateAttribute, 22050 }, { MVAudioEncoderBitrateAttribute, 64000 } },
            "-b 64 -m s -q 5 --resample 22.05" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options);
        ASSERT_TRUE(encode(input, ours, row.attributes));
        ASSERT_EQ(run(std::string("lame --quiet --noreplaygain ") + row.options + " " + test::shellQuoted(input) + " "
                      + test::shellQuoted(theirs)),
            0);
        EXPECT_TRUE(readFile(ours) == readFile(theirs));
    }
}

struct Source {
    const char* name;
    const char* codec;
    const char* depth; ///< that lame is given
};

void PrintTo(const Source& source, std::ostream* out) { *out << source.name; }

class MP3EncodingOf : public MP3Encoding, public testing::WithParamInterface<Source> { };

INSTANTIATE_TEST_SUITE_P(Sources, MP3EncodingOf,
    testing::Values(Source { "deep.wav", "pcm_s24le", "pcm_s24le" }, Source { "float.wav", "pcm_f32le", "pcm_s32le" },
        Source { "deep.flac", "flac", "pcm_s24le" }, Source { "lossless.m4a", "alac", "pcm_s24le" },
        Source { "lossy.m4a", "aac -b:a 256k -movie_timescale 44100", "pcm_s16le" },
        Source { "lossy.mp3", "libmp3lame -b:a 320k", "pcm_s16le" },
        Source { "lossy.ogg", "libvorbis -q:a 8", "pcm_s16le" }),
    [](const auto& test) { return std::regex_replace(test.param.name, std::regex("\\."), "_"); });

// Whatever the source is, what is heard is as close to the original as what lame makes of the same source. (It reads
// WAV and MP3 itself and is handed the rest by ffmpeg.)
TEST_P(MP3EncodingOf, IsAsCloseToTheOriginalAsLame)
{
    const Source& source = GetParam();
    std::string original = scratch.file("original.wav");
    std::string piped = scratch.file("piped.wav");
    std::string ours = scratch.file("ours.mp3");
    std::string theirs = scratch.file("theirs.mp3");
    input = scratch.file(source.name);
    ASSERT_EQ(run(tone(Stereo, "3", "-c:a pcm_s24le") + test::shellQuoted(original)), 0);
    ASSERT_EQ(run("ffmpeg -v error -y -i " + test::shellQuoted(original) + " -c:a " + source.codec + " "
                  + test::shellQuoted(input)),
        0);
    ASSERT_EQ(run("ffmpeg -v error -y -i " + test::shellQuoted(input) + " -c:a " + source.depth + " "
                  + test::shellQuoted(piped)),
        0);
    ASSERT_EQ(run("lame --quiet -b 192 -m s -q 5 " + test::shellQuoted(piped) + " " + test::shellQuoted(theirs)), 0);
    ASSERT_TRUE(encode(input, ours, { { MVAudioEncoderExactConversionAttribute, true } }));
    auto wanted = decoded(original, 2);
    auto heard = decoded(ours, 2);
    auto heardThere = decoded(theirs, 2);
    for (std::size_t side : { 0u, 1u }) {
        double here = signalToNoise(wanted[side], heard[side]);
        double there = signalToNoise(wanted[side], heardThere[side]);
        RecordProperty(side ? "right" : "left", std::to_string(here - there));
        EXPECT_GT(here, 20);
        EXPECT_NEAR(here, there, 0.05);
    }
}

TEST_F(MP3Encoding, VariableBitRateIsLamesDefault)
{
    std::string ours = scratch.file("ours.mp3");
    std::string theirs = scratch.file("theirs.mp3");
    make(Stereo, "3", "pcm_s16le -bitexact");
    for (std::int32_t rate : { 64000, 192000 }) {
        ASSERT_TRUE(
            encode(input, ours, { { MVAudioEncoderVBRAttribute, true }, { MVAudioEncoderBitrateAttribute, rate } }));
        ASSERT_EQ(run("lame --quiet --noreplaygain -V 4 -m s -q 5 " + test::shellQuoted(input) + " "
                      + test::shellQuoted(theirs)),
            0);
        EXPECT_TRUE(readFile(ours) == readFile(theirs));
    }
}

TEST_F(MP3Encoding, TheBytesDoNotDependOnTheDelegate)
{
    input = scratch.file("in.flac");
    make(Stereo, "4", "flac -sample_fmt s16");
    ASSERT_TRUE(encode(input, scratch.file("silent.mp3")));
    MP3Encoder encoder(standardEncoding());
    auto delegate = std::make_shared<WatchedDelegate>();
    encoder.setDelegate(delegate);
    ASSERT_TRUE(encoder.encodeFileOutputFile(OpenedFile::at(input), OutputPlace::at(scratch.file("watched.mp3"))));
    EXPECT_EQ(readFile(scratch.file("silent.mp3")), readFile(scratch.file("watched.mp3")));
    EXPECT_EQ(delegate->percents.size(), 100u);
    EXPECT_EQ(delegate->percents.back(), 100.0f);
    EXPECT_EQ(delegate->questions, 44100 * 4 / 1152 + 2);
}

TEST_F(MP3Encoding, EveryStereoSourceOfSixteenBitsGivesTheSameMp3)
{
    std::string wave = scratch.file("in.wav");
    ASSERT_EQ(run(tone(Stereo, "2", "-c:a pcm_s16le") + test::shellQuoted(wave)), 0);
    ASSERT_TRUE(encode(wave, scratch.file("wave.mp3")));
    for (const char* name : { "in.flac", "in.aiff", "in.m4a" }) {
        std::string codec = std::string(name) == "in.m4a" ? " -c:a alac " : " ";
        ASSERT_EQ(
            run("ffmpeg -v error -i " + test::shellQuoted(wave) + codec + test::shellQuoted(scratch.file(name))), 0);
        ASSERT_TRUE(encode(scratch.file(name), scratch.file("other.mp3"))) << name;
        EXPECT_EQ(readFile(scratch.file("other.mp3")), readFile(scratch.file("wave.mp3"))) << name;
    }
}

TEST_F(MP3Encoding, AnEmptyWaveGivesAnEmptyMp3)
{
    ASSERT_EQ(run(tone(Stereo, "1", "-af atrim=end_sample=0 -c:a pcm_s16le") + test::shellQuoted(input)), 0);
    MP3Encoder encoder(standardEncoding());
    auto delegate = std::make_shared<WatchedDelegate>();
    encoder.setDelegate(delegate);
    EXPECT_TRUE(encoder.encodeFileOutputFile(OpenedFile::at(input), OutputPlace::at(scratch.file("out.mp3"))));
    EXPECT_THAT(delegate->messages, testing::ElementsAre("start", "end"));
    Bytes mp3 = readFile(scratch.file("out.mp3"));
    std::string_view text = charsOf(mp3);
    EXPECT_NE(text.find("Info"), std::string_view::npos); // the tag frame stands in front
}

TEST_F(MP3Encoding, WhatIsNoAudioIsError1)
{
    MP3Encoder encoder(standardEncoding());
    auto delegate = std::make_shared<WatchedDelegate>();
    encoder.setDelegate(delegate);
    EXPECT_FALSE(encoder.encodeFileOutputFile(
        OpenedFile::at(scratch.file("missing")), OutputPlace::at(scratch.file("out.mp3"))));
    EXPECT_FALSE(encoder.encodeFileOutputFile(
        OpenedFile::at(scratch.write("text.mp3", "text")), OutputPlace::at(scratch.file("out.mp3"))));
    EXPECT_THAT(delegate->messages,
        testing::ElementsAre("fail MVAudioEncoderErrorDomain 1", "fail MVAudioEncoderErrorDomain 1"));
    EXPECT_NE(access(scratch.file("out.mp3").c_str(), F_OK), 0);
}

// By the fixed rules mono is noise; exactly converted it sounds on both sides.
TEST_F(MP3Encoding, MonoByTheRulesAndExactly)
{
    make("0.4*sin(440*2*PI*t)", "2", "pcm_s16le");
    auto wanted = decoded(input, 1)[0];
    ASSERT_TRUE(encode(input, output));
    EXPECT_LT(signalToNoise(wanted, decoded(output, 2)[0]), 3);
    ASSERT_TRUE(encode(input, output, { { MVAudioEncoderExactConversionAttribute, true } }));
    auto exact = decoded(output, 2);
    EXPECT_GT(signalToNoise(wanted, exact[0]), 30);
    EXPECT_GT(signalToNoise(wanted, exact[1]), 30);
    ASSERT_TRUE(encode(
        input, output, { { MVAudioEncoderExactConversionAttribute, true }, { MVMP3EncoderStereoModeAttribte, 1 } }));
    EXPECT_GT(signalToNoise(wanted, decoded(output, 1)[0]), 30);
}

TEST_F(MP3Encoding, DeepSamplesByTheRulesAndExactly)
{
    std::string reference = scratch.file("reference.wav");
    ASSERT_EQ(run(tone(Stereo, "2", "-c:a pcm_s16le") + test::shellQuoted(reference)), 0);
    auto wanted = decoded(reference, 2)[0];
    for (const char* codec : { "pcm_s24le", "pcm_s32le", "pcm_f32le" }) {
        SCOPED_TRACE(codec);
        ASSERT_EQ(run(tone(Stereo, "2", std::string("-c:a ") + codec) + test::shellQuoted(input)), 0);
        ASSERT_TRUE(encode(input, output));
        double byTheRules = signalToNoise(wanted, decoded(output, 2)[0]);
        if (std::string(codec) == "pcm_s24le")
            EXPECT_LT(byTheRules, 10); // sign-extended lower bytes
        else
            EXPECT_GT(byTheRules, 20);
        ASSERT_TRUE(encode(input, output, { { MVAudioEncoderExactConversionAttribute, true } }));
        EXPECT_GT(signalToNoise(wanted, decoded(output, 2)[0]), 20);
    }
}

// Six channels do not fit into a block: by the rules the first read fails and the MP3 has no sound.
TEST_F(MP3Encoding, SixChannelsByTheRulesAndExactly)
{
    make("0.4*sin(440*2*PI*t)|0.2*sin(990*2*PI*t)|0|0|0|0:c=5.1", "1", "pcm_s16le");
    DebugGate gate(3);
    MP3Encoder encoder(standardEncoding());
    auto delegate = std::make_shared<WatchedDelegate>();
    encoder.setDelegate(delegate);
    EXPECT_TRUE(encoder.encodeFileOutputFile(OpenedFile::at(input), OutputPlace::at(output)));
    EXPECT_THAT(delegate->messages, testing::ElementsAre("start", "end"));
    EXPECT_THAT(gate.lines(),
        testing::ElementsAre(testing::HasSubstr(
            "the size of buffer is smaller than your request, buffersize(13824), requestSize(9216)")));
    encoder.setAttributes({ { MVAudioEncoderExactConversionAttribute, true } });
    EXPECT_TRUE(encoder.encodeFileOutputFile(OpenedFile::at(input), OutputPlace::at(output)));
    auto sides = decoded(output, 2);
    auto front = decoded(input, 6);
    double scale = 1 / (1 + std::sqrt(2.0));
    for (auto& side : front)
        for (double& sample : side)
            sample *= scale;
    EXPECT_GT(signalToNoise(front[0], sides[0]), 30);
    EXPECT_GT(signalToNoise(front[1], sides[1]), 25);
}

TEST_F(MP3Encoding, SixteenBitStereoIsTheSameExactlyConverted)
{
    make(Stereo, "1", "pcm_s16le");
    ASSERT_TRUE(encode(input, scratch.file("rules.mp3")));
    ASSERT_TRUE(encode(input, scratch.file("exact.mp3"), { { MVAudioEncoderExactConversionAttribute, true } }));
    EXPECT_EQ(readFile(scratch.file("rules.mp3")), readFile(scratch.file("exact.mp3")));
}

TEST_F(MP3Encoding, ASourceWhoseMediaWereCutFails)
{
    std::string movie = scratch.file("in.m4a");
    ASSERT_EQ(run(tone(Stereo, "3", "-c:a aac -movflags faststart") + test::shellQuoted(movie)), 0);
    make(Stereo, "1", "pcm_s16le");
    Bytes whole = readFile(movie);
    Bytes wave = readFile(input);
    std::size_t media = charsOf(whole).find("mdat") + 4;
    for (ByteView cut : { ByteView(whole).first(media), ByteView(whole).first(media + 100),
             ByteView(whole).first(whole.size() - 1), ByteView(wave).first(charsOf(wave).find("data") + 8) }) {
        MP3Encoder encoder(standardEncoding());
        auto delegate = std::make_shared<WatchedDelegate>();
        encoder.setDelegate(delegate);
        EXPECT_FALSE(encoder.encodeFileOutputFile(OpenedFile::at(scratch.write("cut", cut)), OutputPlace::at(output)))
            << cut.size();
        EXPECT_THAT(delegate->messages, testing::ElementsAre("fail MVAudioEncoderErrorDomain 1")) << cut.size();
        EXPECT_NE(access(output.c_str(), F_OK), 0) << cut.size();
    }
}
