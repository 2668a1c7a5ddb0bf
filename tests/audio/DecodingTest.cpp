#include "tests/audio/AgainstFfmpeg.h"
#include "tests/support/WaveMaker.h"

using namespace mv;
using namespace mv::test;

// The length of a FLAC that was written to a pipe is not in its header.
TEST(Decoding, FlacWithoutATotal)
{
    NEEDS("ffmpeg");
    NEEDS("flac");
    ScratchFolder scratch;
    std::string path = scratch.file("piped.flac");
    ASSERT_EQ(run(twoTones(44100, "2.5")
                  + "-f s16le - | flac -s --endian=little --sign=signed --channels=2 --bps=16"
                    " --sample-rate=44100 -c - | cat >"
                  + test::shellQuoted(path)),
        0);
    Bytes head = readFile(path);
    ASSERT_EQ(head[21] & 15, 0);
    ASSERT_EQ(slice(head, 22, 4), Bytes(4, 0));
    DecodedFile file(path);
    EXPECT_EQ(file.announced, 110250);
    expectEqualToFfmpeg(file, path);
}

TEST(Decoding, FlacThatWasCutOffEndsWithItsLastWholeFrame)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string path = scratch.file("whole.flac");
    ASSERT_EQ(run(twoTones(44100) + "-c:a flac -sample_fmt s16 " + test::shellQuoted(path)), 0);
    Bytes whole = readFile(path);
    std::string cut = scratch.write("cut.flac", ByteView(whole).first(whole.size() * 6 / 10));
    DecodedFile file(cut);
    EXPECT_GT(file.announced, 20000);
    EXPECT_LT(file.announced, 88200);
    expectEqualToFfmpeg(file, cut);
}

TEST(Decoding, SizesInWaveFilesAreCutToTheFile)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string path = scratch.file("sound.wav");
    ASSERT_EQ(run(twoTones(44100, "0.5") + "-c:a pcm_s16le -bitexact " + test::shellQuoted(path)), 0);
    Bytes wave = readFile(path);
    ASSERT_EQ(charsOf(slice(wave, 36, 4)), "data");
    for (std::uint32_t lie : { 0xFFFFFFFFu, 0x7FFFFFFFu, 88201u }) {
        putLittle32(wave, 40, lie);
        std::string lying = scratch.write("lying.wav", ByteView(wave));
        DecodedFile file(lying);
        EXPECT_EQ(file.announced, 22050) << lie;
        expectEqualToFfmpeg(file, lying);
    }
    putLittle32(wave, 40, 88200);
    std::string cut = scratch.write("cut.wav", ByteView(wave).first(44 + 40001));
    DecodedFile file(cut);
    EXPECT_EQ(file.announced, 10000);
    EXPECT_EQ(file.delivered, 10000);
}

TEST(Decoding, EveryDepthOfWaveFiles)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    struct Row {
        const char* codec;
        std::uint32_t flags;
        std::uint32_t bits;
        std::uint32_t clientBits;
    };
    const Row rows[] { { "pcm_u8", 8, 8, 8 }, { "pcm_s16le", 12, 16, 16 }, { "pcm_s24le", 12, 24, 24 },
        { "pcm_s32le", 12, 32, 32 }, { "pcm_f32le", 9, 32, 32 }, { "pcm_f64le", 9, 32, 32 } };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.codec);
        std::string path = scratch.file(std::string(row.codec) + ".wav");
        ASSERT_EQ(run(twoTones(48000, "0.3") + "-c:a " + row.codec + " " + test::shellQuoted(path)), 0);
        DecodedFile file(path);
        EXPECT_EQ(file.file, linearPcm(48000, 2, row.bits, row.flags & ~8u));
        EXPECT_EQ(file.client.mBitsPerChannel, row.clientBits);
        EXPECT_EQ(file.announced, 14400);
        expectEqualToFfmpeg(file, path);
    }
}

TEST(Decoding, AiffIsMostSignificantByteFirst)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    for (const char* codec : { "pcm_s8", "pcm_s16be", "pcm_s24be" }) {
        SCOPED_TRACE(codec);
        std::string path = scratch.file(std::string(codec) + ".aiff");
        ASSERT_EQ(run(twoTones(22050, "0.3") + "-c:a " + codec + " " + test::shellQuoted(path)), 0);
        DecodedFile file(path);
        EXPECT_EQ(file.file.mFormatID, kAudioFormatLinearPCM);
        EXPECT_EQ(file.announced, 6615);
        expectEqualToFfmpeg(file, path);
    }
}

TEST(Decoding, GaplessInformationOfMp3)
{
    NEEDS("ffmpeg");
    NEEDS("lame");
    ScratchFolder scratch;
    std::string wave = scratch.file("sound.wav");
    ASSERT_EQ(run(twoTones(44100, "1.2346") + "-c:a pcm_s16le " + test::shellQuoted(wave)), 0);
    std::int64_t frames = DecodedFile(wave).announced;
    for (const char* options : { "-b 128", "-V 2", "--resample 22.05 -b 64", "-m m -b 64" }) {
        SCOPED_TRACE(options);
        std::string path = scratch.file("sound.mp3");
        ASSERT_EQ(
            run(std::string("lame --quiet ") + options + " " + test::shellQuoted(wave) + " " + test::shellQuoted(path)),
            0);
        DecodedFile file(path);
        EXPECT_EQ(file.file.mFormatID, kAudioFormatMPEGLayer3);
        EXPECT_EQ(file.file.mBitsPerChannel, 0u);
        EXPECT_EQ(file.announced * 44100, frames * static_cast<std::int64_t>(file.file.mSampleRate));
        expectEqualToFfmpeg(file, path);
    }
    // Without the tag nobody knows of the gaps: whole frames, the encoder's delay included.
    std::string bare = scratch.file("bare.mp3");
    ASSERT_EQ(run("lame --quiet -t -b 128 " + test::shellQuoted(wave) + " " + test::shellQuoted(bare)), 0);
    DecodedFile file(bare);
    EXPECT_EQ(file.announced % 1152, 0);
    EXPECT_GE(file.announced, frames + 1105);
    expectEqualToFfmpeg(file, bare);
}

TEST(Decoding, AnMp3BehindSomethingElseIsFound)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string path = scratch.file("sound.mp3");
    ASSERT_EQ(run(twoTones(44100, "1") + "-c:a libmp3lame -b:a 128k -id3v2_version 0 " + test::shellQuoted(path)), 0);
    DecodedFile plain(path);
    ASSERT_EQ(plain.announced, 44100);
    Bytes garbage;
    for (int i = 0; i < 25'000; ++i)
        for (std::uint8_t byte : { 0xDE, 0xAD, 0xBE, 0xEF })
            garbage.push_back(byte);
    Bytes sound = readFile(path);
    Bytes behind = garbage;
    behind.insert(behind.end(), sound.begin(), sound.end());
    DecodedFile hidden(scratch.write("behind.mp3", ByteView(behind)));
    EXPECT_EQ(hidden.opened, noErr);
    EXPECT_EQ(hidden.file, plain.file);
    EXPECT_EQ(hidden.announced, 44100);
    EXPECT_TRUE(hidden.samples == plain.samples);
    // A few frames prove nothing.
    behind.resize(garbage.size() + 4 * 418);
    EXPECT_EQ(DecodedFile(scratch.write("few.mp3", ByteView(behind))).opened, kAudioFileUnsupportedFileTypeError);
}

TEST(Decoding, Mp3EqualsLameWithinOneUnit)
{
    NEEDS("ffmpeg");
    NEEDS("lame");
    ScratchFolder scratch;
    std::string path = scratch.file("sound.mp3");
    std::string decoded = scratch.file("decoded.wav");
    ASSERT_EQ(run(twoTones(44100, "1") + "-f wav - | lame --quiet -b 192 - " + test::shellQuoted(path)), 0);
    ASSERT_EQ(run("lame --quiet --decode " + test::shellQuoted(path) + " " + test::shellQuoted(decoded)), 0);
    DecodedFile ours(path);
    DecodedFile theirs(decoded);
    ASSERT_EQ(ours.samples.size(), theirs.samples.size());
    int largest = 0;
    for (std::size_t i = 0; i + 1 < ours.samples.size(); i += 2) {
        auto sample = [i](const Bytes& bytes) { return static_cast<std::int16_t>(bytes[i] | bytes[i + 1] << 8); };
        largest = std::max(largest, std::abs(sample(ours.samples) - sample(theirs.samples)));
    }
    EXPECT_LE(largest, 1);
}

TEST(Decoding, SoxAgreesOnWaveFiles)
{
    NEEDS("ffmpeg");
    NEEDS("sox");
    ScratchFolder scratch;
    std::string path = scratch.file("sound.wav");
    std::string raw = scratch.file("raw");
    ASSERT_EQ(run(twoTones(44100, "0.4") + "-c:a pcm_s24le " + test::shellQuoted(path)), 0);
    ASSERT_EQ(run("sox " + test::shellQuoted(path) + " -t raw -B -e signed -b 24 " + test::shellQuoted(raw)), 0);
    EXPECT_TRUE(DecodedFile(path).samples == readFile(raw));
}

TEST(Decoding, LossyAndLosslessFormatsAreExactlyAsLongAsTheirSource)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    struct Row {
        const char* name;
        const char* options;
        std::uint32_t format;
        int rate;
    };
    const Row rows[] {
        { "a.m4a", "-c:a aac -b:a 96k -movie_timescale 44100", kAudioFormatMPEG4AAC, 44100 },
        { "alac.m4a", "-c:a alac", kAudioFormatAppleLossless, 44100 },
        { "flac.flac", "-c:a flac", kAudioFormatFLAC, 44100 },
        { "vorbis.ogg", "-c:a libvorbis", fourCC("vorb"), 44100 },
        { "opus.opus", "-c:a libopus", fourCC("opus"), 48000 },
        { "opus.ogg", "-c:a libopus -ar 48000", fourCC("opus"), 48000 },
        { "flac.ogg", "-c:a flac", kAudioFormatFLAC, 44100 },
        { "wave.caf", "-c:a pcm_s16be", kAudioFormatLinearPCM, 44100 },
        { "sun.au", "-c:a pcm_s16be", kAudioFormatLinearPCM, 44100 },
        { "wave.flv", "-c:a pcm_s16le", kAudioFormatLinearPCM, 44100 },
        { "ulaw.au", "-c:a pcm_mulaw", fourCC("ulaw"), 44100 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string path = scratch.file(row.name);
        ASSERT_EQ(run(twoTones(row.rate, "1.37") + row.options + " " + test::shellQuoted(path)), 0);
        DecodedFile file(path);
        ASSERT_EQ(file.opened, noErr);
        EXPECT_EQ(file.file.mFormatID, row.format);
        EXPECT_EQ(file.file.mSampleRate, row.rate);
        EXPECT_EQ(file.announced, row.rate * 137 / 100);
        EXPECT_EQ(file.delivered, file.announced);
    }
}

TEST(Decoding, SoundThatComesLate)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string pictures = scratch.file("pictures.mpg");
    std::string both = scratch.file("both.mpg");
    std::string joined = scratch.file("joined.mpg");
    const std::string source = "ffmpeg -v error -y -f lavfi -i testsrc2=d=2 ";
    ASSERT_EQ(run(source + "-c:v mpeg1video " + test::shellQuoted(pictures)), 0);
    ASSERT_EQ(run(source + "-f lavfi -i sine=d=2 -c:v mpeg1video -c:a mp2 " + test::shellQuoted(both)), 0);
    std::string parts = test::shellQuoted(pictures) + " " + test::shellQuoted(both) + " " + test::shellQuoted(pictures);
    ASSERT_EQ(run("cat " + parts + " >" + test::shellQuoted(joined)), 0);
    DecodedFile file(joined);
    ASSERT_EQ(file.opened, noErr);
    EXPECT_NEAR(static_cast<double>(file.delivered), 2 * 44100, 2 * 1152);
}

TEST(Decoding, LosslessDepths)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string alac = scratch.file("a.m4a");
    ASSERT_EQ(run(twoTones(44100, "0.2") + "-c:a alac -sample_fmt s32p " + test::shellQuoted(alac)), 0);
    DecodedFile lossless(alac);
    EXPECT_EQ(lossless.file.mFormatFlags, kAppleLosslessFormatFlag_24BitSourceData);
    EXPECT_EQ(lossless.file.mBitsPerChannel, 0u);
    EXPECT_EQ(lossless.client.mBitsPerChannel, 24u);
    expectEqualToFfmpeg(lossless, alac);
    std::string flac = scratch.file("a.flac");
    ASSERT_EQ(run(twoTones(44100, "0.2") + "-c:a flac -sample_fmt s32 " + test::shellQuoted(flac)), 0);
    DecodedFile deep(flac);
    EXPECT_EQ(deep.file.mBitsPerChannel, 24u);
    EXPECT_EQ(deep.client.mBitsPerChannel, 24u);
    expectEqualToFfmpeg(deep, flac);
}

TEST(Decoding, FloatClientFormatOfACompressedFile)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string path = scratch.file("sound.m4a");
    std::string raw = scratch.file("raw");
    ASSERT_EQ(run(twoTones(44100, "0.7") + "-c:a aac -movie_timescale 44100 " + test::shellQuoted(path)), 0);
    auto wanted = linearPcm(44100, 2, 32, kAudioFormatFlagIsFloat);
    DecodedFile file(path, &wanted);
    EXPECT_EQ(file.client, wanted);
    ASSERT_EQ(run("ffmpeg -v error -y -i " + test::shellQuoted(path) + " -f f32le " + test::shellQuoted(raw)), 0);
    Bytes theirs = readFile(raw);
    ASSERT_GE(theirs.size(), file.samples.size());
    EXPECT_TRUE(file.samples == slice(theirs, 0, file.samples.size()));
}
