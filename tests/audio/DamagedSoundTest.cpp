#include "tests/audio/AgainstFfmpeg.h"
#include "tests/support/WaveMaker.h"

using namespace mv;
using namespace mv::test;

// Files that are damaged, cut, empty, or no sound.

TEST(DamagedSound, ADamagedPacketIsSilenceOfItsLength)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    std::string path = scratch.file("sound.m4a");
    ASSERT_EQ(run(twoTones(44100) + "-c:a alac -movflags +faststart " + test::shellQuoted(path)), 0);
    DecodedFile whole(path);
    Bytes bytes = readFile(path);
    // A part of the sound is overwritten, which one packet or two cannot survive.
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), 300, std::uint8_t { 0xFF });
    DecodedFile damaged(scratch.write("damaged.m4a", ByteView(bytes)));
    EXPECT_EQ(damaged.opened, noErr);
    EXPECT_EQ(damaged.ended, noErr);
    EXPECT_EQ(damaged.announced, whole.announced);
    EXPECT_EQ(damaged.delivered, whole.announced);
    std::size_t packet = 4096 * 4;
    std::size_t changed = 0;
    for (std::size_t at = 0; at < whole.samples.size(); at += packet) {
        std::size_t size = std::min(packet, whole.samples.size() - at);
        changed += slice(damaged.samples, at, size) != slice(whole.samples, at, size);
    }
    EXPECT_GE(changed, 1u);
    EXPECT_LE(changed, 2u);
}

TEST(DamagedSound, WhatIsNoAudioFile)
{
    ScratchFolder scratch;
    EXPECT_EQ(DecodedFile(scratch.file("missing.wav")).opened, fnfErr);
    EXPECT_EQ(DecodedFile(scratch.path()).opened, kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(DecodedFile(scratch.write("empty.mp3", "")).opened, kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(DecodedFile(scratch.write("text.wav", "This is a text, whatever its name says.\n")).opened,
        kAudioFileUnsupportedFileTypeError);
    std::string list = scratch.write("list.m3u8", "#EXTM3U\n#EXTINF:1,\n/etc/passwd\n");
    EXPECT_EQ(DecodedFile(list).opened, kAudioFileUnsupportedFileTypeError);
    std::string fifo = scratch.file("fifo.wav");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(DecodedFile(fifo).opened, kAudioFileUnsupportedFileTypeError);
}

TEST(DamagedSound, AFileWithoutASampleIsAudioOfLengthZero)
{
    ScratchFolder scratch;
    WaveMaker wave;
    wave.format(1, 2, 44100, 16).silence(0);
    DecodedFile file(scratch.write("none.wav", wave.bytes()));
    EXPECT_EQ(file.opened, noErr);
    EXPECT_EQ(file.announced, 0);
    EXPECT_EQ(file.delivered, 0);
    EXPECT_EQ(file.ended, noErr);
}

// Found by fuzzing: frames say mono, where the header says stereo. They are heard on both sides.
TEST(DamagedSound, ChannelsThatChangeInMidFile)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    auto encode = [&](const std::string& name, const char* channels) {
        std::string path = scratch.file(name);
        EXPECT_EQ(
            run(twoTones(44100, "0.5") + "-ac " + channels + " -c:a flac -sample_fmt s16 " + test::shellQuoted(path)),
            0);
        return readFile(path);
    };
    Bytes mixed = encode("stereo.flac", "2");
    Bytes mono = encode("mono.flac", "1");
    std::size_t frames = 4; // behind the marker and the metadata blocks
    for (bool last = false; !last && frames + 4 <= mono.size();) {
        last = mono[frames] & 0x80;
        frames += 4 + (std::size_t { mono[frames + 1] } << 16 | mono[frames + 2] << 8 | mono[frames + 3]);
    }
    ASSERT_LT(frames, mono.size());
    mixed.insert(mixed.end(), mono.begin() + static_cast<std::ptrdiff_t>(frames), mono.end());
    DecodedFile file(scratch.write("mixed.flac", ByteView(mixed)));
    EXPECT_EQ(file.opened, noErr);
    EXPECT_EQ(file.ended, noErr);
    EXPECT_EQ(file.client.mChannelsPerFrame, 2u);
    EXPECT_GE(file.delivered, 22050);
    EXPECT_LE(file.delivered, file.announced);
    EXPECT_EQ(file.samples.size(), static_cast<std::size_t>(file.delivered) * 4);
}

namespace {

/// A file of a second of sound without what follows the last of `mark` and `behind` bytes more.
std::string cutBehind(const ScratchFolder& scratch, const std::string& name, const std::string& options,
    std::string_view mark, std::size_t behind)
{
    std::string path = scratch.file("whole-" + name);
    EXPECT_EQ(run(twoTones(44100) + options + " " + test::shellQuoted(path)), 0) << name;
    Bytes whole = readFile(path);
    std::size_t place = charsOf(whole).find(mark);
    EXPECT_NE(place, std::string_view::npos) << name;
    return scratch.write("cut-" + name, ByteView(whole).first(std::min(whole.size(), place + mark.size() + behind)));
}

} // namespace

TEST(DamagedSound, SoundThatWasCutAwayIsNoSilence)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    struct Row {
        const char* name;
        const char* options;
        std::string_view mark; ///< of where the sound begins
        std::size_t behind;
    };
    for (const Row& row : { Row { "a.wav", "", "data", 4 }, Row { "a24.wav", "-c:a pcm_s24le", "data", 6 },
             Row { "a.aiff", "", "SSND", 12 }, Row { "a.caf", "", "data", 12 }, Row { "a.avi", "-c:a mp3", "movi", 0 },
             Row { "a.m4a", "-c:a aac -movflags faststart", "mdat", 0 },
             Row { "alac.m4a", "-c:a alac -movflags faststart", "mdat", 0 },
             Row { "a.mov", "-c:a pcm_s16le -movflags faststart", "mdat", 0 },
             Row { "init.mp4", "-c:a aac -movflags empty_moov", "mvex", 40 } })
        EXPECT_EQ(DecodedFile(cutBehind(scratch, row.name, row.options, row.mark, row.behind)).opened,
            kAudioFileInvalidFileError)
            << row.name;
    // Behind the headers' blocks of a FLAC.
    std::string flac = scratch.file("a.flac");
    ASSERT_EQ(run(twoTones(44100) + "-c:a flac " + test::shellQuoted(flac)), 0);
    Bytes whole = readFile(flac);
    std::size_t end = 4;
    for (bool last = false; !last; end += 4u + (whole[end + 1] << 16 | whole[end + 2] << 8 | whole[end + 3]))
        last = whole[end] & 0x80;
    EXPECT_EQ(DecodedFile(scratch.write("cut.flac", ByteView(whole).first(end))).opened, kAudioFileInvalidFileError);
}

TEST(DamagedSound, IsoMediaThatWereCutAreRefusedSinceTheyListEverySample)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    for (const char* codec : { "aac", "alac", "pcm_s16le" }) {
        std::string path = scratch.file(std::string(codec) + ".mov");
        ASSERT_EQ(run(twoTones(44100) + "-c:a " + codec + " -movflags faststart " + test::shellQuoted(path)), 0);
        Bytes whole = readFile(path);
        EXPECT_EQ(DecodedFile(path).opened, noErr) << codec;
        for (std::size_t lost : { std::size_t { 1 }, whole.size() / 10, whole.size() / 2 })
            EXPECT_EQ(DecodedFile(scratch.write("cut.mov", ByteView(whole).first(whole.size() - lost))).opened,
                kAudioFileInvalidFileError)
                << codec << " without " << lost;
        whole.insert(whole.end(), 100, 0xEE);
        EXPECT_EQ(DecodedFile(scratch.write("longer.mov", ByteView(whole))).opened, noErr) << codec;
    }
}

TEST(DamagedSound, ARecordingWithoutASampleIsAFile)
{
    NEEDS("ffmpeg");
    ScratchFolder scratch;
    WaveMaker wave;
    wave.format(1, 2, 44100, 16).sound(0);
    std::string aiff = scratch.file("empty.aiff");
    ASSERT_EQ(run("ffmpeg -v error -y -f lavfi -i anullsrc -t 0 " + test::shellQuoted(aiff)), 0);
    for (const std::string& path : { scratch.write("empty.wav", wave.bytes()), aiff }) {
        DecodedFile file(path);
        EXPECT_EQ(file.opened, noErr) << path;
        EXPECT_EQ(file.announced, 0) << path;
        EXPECT_EQ(file.ended, noErr) << path;
    }
}
