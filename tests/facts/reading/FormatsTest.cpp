#include "Base/Core/ByteReader.h"
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::string text(const Bytes& bytes) { return std::string(charsOf(bytes)); }

// FLAC

Bytes vorbisComments(const std::vector<std::string>& comments)
{
    Bytes block;
    ByteWriter writer(block);
    writer.u32le(4);
    writer.text("test");
    writer.u32le(static_cast<std::uint32_t>(comments.size()));
    for (const std::string& comment : comments) {
        writer.u32le(static_cast<std::uint32_t>(comment.size()));
        writer.text(comment);
    }
    return block;
}

Bytes flacPicture(std::uint32_t type, const std::string& description, std::size_t size)
{
    Bytes block;
    ByteWriter writer(block);
    writer.u32be(type);
    writer.u32be(9);
    writer.text("image/png");
    writer.u32be(static_cast<std::uint32_t>(description.size()));
    writer.text(description);
    writer.zeros(16);
    writer.u32be(static_cast<std::uint32_t>(size));
    writer.zeros(size);
    return block;
}

/// One second of 44.1 kHz, two channels, 16 bits, without a frame.
std::string flac(const std::vector<std::pair<int, Bytes>>& blocks)
{
    Bytes file;
    ByteWriter writer(file);
    writer.text("fLaC");
    writer.u32be(34);
    writer.u16be(4096);
    writer.u16be(4096);
    writer.zeros(6);
    writer.u64be(std::uint64_t { 44100 } << 44 | std::uint64_t { 1 } << 41 | std::uint64_t { 15 } << 36 | 44100);
    writer.zeros(16);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        writer.u8(static_cast<std::uint8_t>(blocks[i].first | (i + 1 == blocks.size() ? 0x80 : 0)));
        writer.u24be(static_cast<std::uint32_t>(blocks[i].second.size()));
        writer.bytes(blocks[i].second);
    }
    return text(file);
}

TEST(FlacFacts, CommentsOfAllNames)
{
    auto facts = describedBytes(flac({ { 4,
        vorbisComments({ "TITLE=Title", "artist=One/Two", "ARTIST=Three", "Album Artist=Band", "DESCRIPTION=Text",
            "TRACKNUMBER=03/12", "DISCNUMBER=1", "TOTALDISCS=2", "DATE=2010-05-04", "LYRICS=La\nla", "BPM=120",
            "COMPILATION=1", "nothing", "UNKNOWN=x" }) } }));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Title), "Title");
    EXPECT_EQ(textOf(*facts, fact::Artist), "One/Two | Three");
    EXPECT_EQ(textOf(*facts, fact::AlbumArtist), "Band");
    EXPECT_EQ(textOf(*facts, fact::Comment), "Text");
    EXPECT_EQ(textOf(*facts, fact::TrackNumber) + "/" + textOf(*facts, fact::TrackTotal), "3/12");
    EXPECT_EQ(textOf(*facts, fact::DiscNumber) + "/" + textOf(*facts, fact::DiscTotal), "1/2");
    EXPECT_EQ(textOf(*facts, fact::ContentCreated), "2010-05-04");
    EXPECT_EQ(textOf(*facts, fact::AsText), "La\nla");
    EXPECT_EQ(textOf(*facts, fact::AudioBpm), "120");
    EXPECT_EQ(textOf(*facts, fact::Compilation), "1");
    EXPECT_EQ(textOf(*facts, fact::HasPicture), "0");
    EXPECT_EQ(textOf(*facts, fact::Length), "1000000");
    EXPECT_EQ(textOf(*facts, fact::BitsPerSample), "16");
}

TEST(FlacFacts, AFooterThatATagClaimsIsNotLookedForInTheSound)
{
    std::string claims = id3Tag(4, id3Frame(4, "TIT2", "\3Front"));
    claims[5] = 0x10;
    auto facts = describedBytes(claims + flac({ { 4, vorbisComments({ "TITLE=Title" }) } }));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::MimeType), "audio/flac");
    EXPECT_EQ(textOf(*facts, fact::Title), "Title");
}

TEST(FlacFacts, ADescriptionStandsInForACommentOnly)
{
    auto facts = describedBytes(flac({ { 4, vorbisComments({ "DESCRIPTION=Text", "COMMENT=Words" }) } }));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Comment), "Words");
}

TEST(FlacFacts, PicturesOfBlocksAndOfComments)
{
    std::string file = flac({ { 6, flacPicture(4, "back", 100) }, { 6, flacPicture(3, "front", 50) },
        { 4, vorbisComments({ "COVERART=iVBORw0KGgo=" }) } });
    auto plain = describedBytes(file);
    auto facts = describedBytes(file, {}, { .pictures = true });
    ASSERT_TRUE(plain.ok() && facts.ok());
    EXPECT_EQ(textOf(*plain, fact::HasPicture), "1");
    EXPECT_TRUE(plain->pictures.empty());
    ASSERT_EQ(facts->pictures.size(), 3u);
    EXPECT_EQ(facts->pictures[0].description, "front");
    EXPECT_EQ(facts->pictures[0].data.size(), 50u);
    EXPECT_EQ(facts->pictures[1].mimeType, "image/png");
    EXPECT_EQ(facts->pictures[1].data, (Bytes { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' }));
    EXPECT_EQ(facts->pictures[2].description, "back");
}

TEST(FlacFacts, ATagInFrontIsASecondSource)
{
    std::string tag = id3Tag(3, id3Frame(3, "TIT2", zeroed("\0Front")) + id3Frame(3, "TALB", zeroed("\0Album")));
    auto facts = describedBytes(tag + flac({ { 4, vorbisComments({ "TITLE=Title" }) } }), "a.flac");
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::MimeType), "audio/flac");
    EXPECT_EQ(textOf(*facts, fact::Title), "Title");
    EXPECT_EQ(textOf(*facts, fact::Album), "Album");
}

// What TagLib reads

TEST(TagLibFacts, AnObjectOfNoSizeEndsTheReading)
{
    // A header extension that claims four gigabytes of objects; the file ends, and what is read there has the size 0.
    Bytes file;
    ByteWriter writer(file);
    writer.bytes(Bytes { 0x30, 0x26, 0xB2, 0x75, 0x8E, 0x66, 0xCF, 0x11, 0xA6, 0xD9, 0, 0xAA, 0, 0x62, 0xCE, 0x6C });
    writer.u32le(100);
    writer.u32le(0);
    writer.u32le(1);
    writer.u16le(0x0201);
    writer.bytes(Bytes { 0xB5, 0x03, 0xBF, 0x5F, 0x2E, 0xA9, 0xCF, 0x11, 0x8E, 0xE3, 0, 0xC0, 0x0C, 0x20, 0x53, 0x65 });
    writer.u32le(46);
    writer.u32le(0);
    writer.zeros(18);
    writer.u32le(0xFFFFFFFF);
    auto facts = describedBytes(charsOf(file), "a.wma");
    ASSERT_FALSE(facts.ok());
    EXPECT_EQ(facts.error().kind, Error::Kind::Format);
}

TEST(TagLibFacts, WindowsMedia)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    auto made = [&](const std::string& name, const std::string& arguments) {
        std::string path = scratch.file(name);
        outputOf("ffmpeg -nostdin -v error -y " + arguments
            + " -metadata title=Title -metadata artist=AC/DC -metadata comment=Words -metadata date=2010 "
            + shellQuoted(path));
        return describe(OpenedFile::at(Path(path)), name, {});
    };
    auto sound = made("a.wma", "-f lavfi -i sine=d=2 -c:a wmav2");
    ASSERT_TRUE(sound.ok());
    EXPECT_EQ(textOf(*sound, fact::Kind) + " " + textOf(*sound, fact::MimeType), "audio audio/x-ms-wma");
    EXPECT_EQ(textOf(*sound, fact::AudioCodec), "wmav2");
    EXPECT_EQ(textOf(*sound, fact::Artist), "AC/DC") << "once, though it stands there twice";
    EXPECT_EQ(textOf(*sound, fact::Comment), "Words");
    EXPECT_EQ(textOf(*sound, fact::ContentCreated), "2010");
    auto movie = made("a.wmv", "-f lavfi -i testsrc=d=1:s=64x48 -f lavfi -i sine=d=1 -c:v wmv2 -c:a wmav2");
    ASSERT_TRUE(movie.ok());
    EXPECT_EQ(textOf(*movie, fact::Kind) + " " + textOf(*movie, fact::MimeType), "video video/x-ms-wmv");
    EXPECT_EQ(textOf(*movie, fact::VideoCodec) + " " + textOf(*movie, fact::AudioCodec), "wmv2 wmav2");
    EXPECT_EQ(textOf(*movie, fact::Title), "Title");
}

// FFmpeg's description of these says 16 bits.
TEST(IsoMediaFacts, BitsOfSamplesInQuickTime)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder folder;
    for (auto [codec, bits] : { std::pair("pcm_u8", "8"), { "pcm_s16be", "16" }, { "pcm_s24be", "24" },
             { "pcm_s32le", "32" }, { "pcm_f32le", "32" }, { "pcm_f64be", "64" } }) {
        std::string path = folder.file(std::string(codec) + ".mov");
        outputOf("ffmpeg -nostdin -v error -y -f lavfi -i sine=d=0.1 -c:a " + std::string(codec) + " " + path);
        auto facts = describe(OpenedFile::at(Path(path)), "a.mov", {});
        ASSERT_TRUE(facts.ok()) << codec;
        EXPECT_EQ(textOf(*facts, fact::AudioCodec) + " " + textOf(*facts, fact::BitsPerSample),
            codec + std::string(" ") + bits);
    }
}

TEST(FfmpegFacts, MatroskaWithTagsAndACover)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    std::string cover = scratch.file("cover.png");
    outputOf("ffmpeg -nostdin -v error -y -f lavfi -i color=s=8x8 -frames:v 1 " + shellQuoted(cover));
    std::string path = scratch.file("a.mkv");
    outputOf(
        "ffmpeg -nostdin -v error -y -f lavfi -i testsrc=d=1:s=64x48:r=25 -f lavfi -i sine=d=1 -c:v mpeg4 -c:a flac"
        " -metadata title=Title -metadata artist=AC/DC -metadata genre=Rock -attach "
        + shellQuoted(cover) + " -metadata:s:t mimetype=image/png " + shellQuoted(path));
    auto facts = describe(OpenedFile::at(Path(path)), {}, { .pictures = true });
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Kind) + " " + textOf(*facts, fact::MimeType), "video video/x-matroska");
    EXPECT_EQ(textOf(*facts, fact::VideoCodec) + " " + textOf(*facts, fact::AudioCodec), "mpeg4 flac");
    EXPECT_EQ(textOf(*facts, fact::Width) + "x" + textOf(*facts, fact::Height), "64x48");
    EXPECT_EQ(textOf(*facts, fact::FrameRate), "25");
    EXPECT_EQ(textOf(*facts, fact::Title), "Title");
    EXPECT_EQ(textOf(*facts, fact::Artist), "AC/DC");
    ASSERT_EQ(facts->pictures.size(), 1u);
    EXPECT_EQ(facts->pictures[0].mimeType, "image/png");
    EXPECT_EQ(facts->pictures[0].data, readFile(cover));
    // Sound alone is no movie, whatever its container is made for.
    std::string sound = scratch.file("a.mka");
    outputOf("ffmpeg -nostdin -v error -y -i " + shellQuoted(path) + " -vn -c copy " + shellQuoted(sound));
    auto song = describe(OpenedFile::at(Path(sound)), {}, {});
    ASSERT_TRUE(song.ok());
    EXPECT_EQ(textOf(*song, fact::Kind) + " " + textOf(*song, fact::MimeType), "audio audio/x-matroska");
}

TEST(IsoFacts, ChannelsOfAacWhoseNumbersNameNone)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    struct Layout {
        const char* name;
        const char* channels;
    };
    for (const Layout& layout : { Layout { "mono", "1" }, Layout { "stereo", "2" }, Layout { "2.1", "3" },
             Layout { "quad", "4" }, Layout { "5.1", "6" }, Layout { "6.1", "7" }, Layout { "7.1", "8" } }) {
        std::string path = scratch.file("a.m4a");
        outputOf("ffmpeg -nostdin -v error -y -f lavfi -i anullsrc=d=0.3:cl=" + std::string(layout.name) + " -c:a aac "
            + shellQuoted(path));
        auto facts = describe(OpenedFile::at(Path(path)), {}, {});
        ASSERT_TRUE(facts.ok()) << layout.name;
        EXPECT_EQ(textOf(*facts, fact::Channels), layout.channels) << layout.name;
    }
}

TEST(FfmpegFacts, AacThatBeginsWithinAFrame)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    std::string whole = scratch.file("whole.aac");
    outputOf("ffmpeg -nostdin -v error -y -f lavfi -i anoisesrc=d=3:seed=1 -ac 2 -c:a aac " + shellQuoted(whole));
    Bytes bytes = readFile(whole);
    ASSERT_GT(bytes.size(), 5000u);
    std::string_view cut = charsOf(ByteView(bytes).subspan(100));
    auto facts = describedBytes(cut, "radio.aac");
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::AudioCodec) + " " + textOf(*facts, fact::Channels), "aac 2");
    EXPECT_FALSE(describedBytes("no sound at all", "text.aac").ok());
}

TEST(IsoFacts, EncryptionDoesNotHideTheCodec)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    std::string path = scratch.file("a.mp4");
    outputOf("ffmpeg -nostdin -v error -y -f lavfi -i testsrc=d=1:s=64x48 -f lavfi -i sine=d=1 -c:v mpeg4 -c:a aac"
             " -encryption_scheme cenc-aes-ctr -encryption_key 76a6c65c5ea762046bd749a2e632ccbb"
             " -encryption_kid a7e61c373e219033c21091fa607bf3b8 "
        + shellQuoted(path));
    auto facts = describe(OpenedFile::at(Path(path)), {}, {});
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::VideoCodec) + " " + textOf(*facts, fact::AudioCodec), "mpeg4 aac");
}

TEST(FfmpegFacts, TextsOfAlbumsInMatroskaAndAvi)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    const std::string sine = "ffmpeg -nostdin -v error -y -f lavfi -i sine=d=1 -c:a pcm_s16le ";
    std::string matroska = scratch.file("a.mka");
    outputOf(sine + "-metadata ALBUM/DATE_RELEASED=2011-02-03 -metadata ALBUM/TOTAL_PARTS=9 -metadata ALBUM/GENRE=Rock "
        + shellQuoted(matroska));
    auto facts = describe(OpenedFile::at(Path(matroska)), {}, {});
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::ContentCreated), "2011-02-03");
    EXPECT_EQ(textOf(*facts, fact::TrackTotal), "9");
    EXPECT_EQ(textOf(*facts, fact::Genre), "Rock");
    outputOf(sine
        + "-metadata ALBUM/DATE_RELEASED=2011 -metadata ALBUM/GENRE=Pop -metadata DATE_RELEASED=1999"
          " -metadata genre=Rock "
        + shellQuoted(matroska));
    facts = describe(OpenedFile::at(Path(matroska)), {}, {});
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::ContentCreated) + " " + textOf(*facts, fact::Genre), "1999 Rock") << "the track's";
    std::string avi = scratch.file("a.avi");
    outputOf(sine + "-metadata album=Album " + shellQuoted(avi));
    facts = describe(OpenedFile::at(Path(avi)), {}, {});
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Album), "Album");
}

TEST(FfmpegFacts, ACoverIsNoSound)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    std::string cover = scratch.file("cover.png");
    outputOf("ffmpeg -nostdin -v error -y -f lavfi -i 'nullsrc=s=64x64,geq=random(1)*255' -frames:v 1 "
        + shellQuoted(cover));
    const std::string sine = "ffmpeg -nostdin -v error -y -f lavfi -i sine=d=1 -c:a flac ";
    auto bitrate = [&](const std::string& options) {
        std::string path = scratch.file("a.mka");
        outputOf(sine + options + shellQuoted(path));
        auto facts = describe(OpenedFile::at(Path(path)), {}, {});
        return facts.ok() ? std::stod(textOf(*facts, fact::Bitrate)) : 0;
    };
    double alone = bitrate("");
    double withCover = bitrate("-attach " + shellQuoted(cover) + " -metadata:s:t mimetype=image/png ");
    ASSERT_GT(readFile(cover).size(), 5000u);
    EXPECT_GT(alone, 20'000);
    EXPECT_NEAR(withCover, alone, 4000) << "bit/s; the cover is 40,000 bits";
}

TEST(TagLibFacts, WavPackAndTrueAudio)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    struct Kind {
        const char* ending;
        const char* codec;
        const char* samples;
        const char* mimeType;
    };
    for (const Kind& kind :
        { Kind { "wv", "wavpack", "s16p", "audio/x-wavpack" }, Kind { "tta", "tta", "s16", "audio/x-tta" } }) {
        std::string path = scratch.file(std::string("a.") + kind.ending);
        outputOf(std::string("ffmpeg -nostdin -v error -y -f lavfi -i sine=d=2:r=48000 -ac 2 -sample_fmt ")
            + kind.samples + " -c:a " + kind.codec
            + " -metadata title=Title -metadata artist=AC/DC -metadata album_artist=Band -metadata date=2010-05-04 "
              "-metadata track=3/12 "
            + shellQuoted(path));
        auto facts = describe(OpenedFile::at(Path(path)), {}, {});
        ASSERT_TRUE(facts.ok()) << kind.codec;
        EXPECT_EQ(textOf(*facts, fact::AudioCodec), kind.codec);
        EXPECT_EQ(textOf(*facts, fact::MimeType), kind.mimeType);
        EXPECT_EQ(textOf(*facts, fact::Title), "Title") << kind.codec;
        EXPECT_EQ(textOf(*facts, fact::Artist), "AC/DC");
        EXPECT_EQ(textOf(*facts, fact::TrackNumber) + "/" + textOf(*facts, fact::TrackTotal), "3/12");
        EXPECT_EQ(textOf(*facts, fact::AlbumArtist), "Band");
        EXPECT_EQ(textOf(*facts, fact::ContentCreated), "2010-05-04");
        EXPECT_EQ(textOf(*facts, fact::Length), "2000000");
        EXPECT_EQ(textOf(*facts, fact::SampleRate) + " " + textOf(*facts, fact::Channels), "48000 2");
        EXPECT_EQ(textOf(*facts, fact::BitsPerSample), "16");
    }
}

} // namespace
} // namespace mv::test
