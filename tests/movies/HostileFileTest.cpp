#include "ffmpeg/MediaLimits.h"
#include "movies/MovieBackend.h"
#include "platform/FileQTKit.h"
#include "tests/movies/Clips.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace mv {
namespace {

using std::chrono::milliseconds;
using test::makeClip;
using test::movingPicture;

class HostileFileTest : public testing::Test {
protected:
    bool opens(const std::string& path) { return m_toolkit.initWithFile(OpenedFile::at(path)).ok(); }

    test::ScratchFolder m_folder;
    FileQTKit m_toolkit { DefaultDeadline };
};

TEST_F(HostileFileTest, WhatIsNoMovieIsRefused)
{
    std::string fifo = m_folder.file("fifo.mp4");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    m_folder.write("empty.mp4", std::string_view());
    m_folder.write("text.mp4", std::string_view("This is no movie, whatever its name says.\n"));
    m_folder.write("zeros.mov", std::string(100'000, '\0'));
    m_folder.write("subtitles.mp4", std::string_view("1\n00:00:01,000 --> 00:00:02,000\nHello\n"));
    for (const char* name : { "fifo.mp4", "empty.mp4", "text.mp4", "zeros.mov", "subtitles.mp4", "missing.mp4", "" }) {
        EXPECT_FALSE(m_toolkit.canInitWithFile(OpenedFile::at(m_folder.file(name)))) << name;
        EXPECT_FALSE(opens(m_folder.file(name))) << name;
    }
    EXPECT_FALSE(m_toolkit.canInitWithFile(OpenedFile::at(Path())));
    EXPECT_FALSE(m_toolkit.initWithFile(OpenedFile::at(Path())).ok());
}

TEST_F(HostileFileTest, PicturesAreNoMovies)
{
    MV_NEEDS_FFMPEG();
    for (const char* name : { "a.jpg", "a.png", "a.gif", "a.bmp" }) {
        std::string picture = makeClip(m_folder, name, movingPicture(64, 64, 1, 1) + " -frames:v 1 -update 1");
        EXPECT_FALSE(m_toolkit.canInitWithFile(OpenedFile::at(picture))) << name;
        EXPECT_FALSE(opens(picture)) << name;
    }
}

/// Playlists of every kind, each naming `secret` as often as told.
std::vector<std::string> playlistsOf(const std::string& secret, int times)
{
    std::string segments;
    std::string files;
    for (int i = 0; i < times; ++i) {
        segments += "#EXTINF:1,\n" + secret + "\n";
        files += "file " + secret + "\n";
    }
    return {
        "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n" + segments + "#EXT-X-ENDLIST\n",
        "ffconcat version 1.0\n" + files,
        "<?xml version=\"1.0\"?><MPD type=\"static\" mediaPresentationDuration=\"PT1S\"><Period><AdaptationSet "
        "mimeType=\"video/mp2t\"><Representation id=\"1\" bandwidth=\"1\"><BaseURL>"
            + secret + "</BaseURL></Representation></AdaptationSet></Period></MPD>",
        "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 5004 RTP/AVP 33\n",
        "RTSPtextRTSP://127.0.0.1/x\n",
        "[playlist]\nFile1=" + secret + "\nNumberOfEntries=1\n",
        "<ASX version=\"3.0\"><ENTRY><REF HREF=\"" + secret + "\"/></ENTRY></ASX>",
    };
}

/// Text that names other files opens none of them, under whatever name it comes.
TEST_F(HostileFileTest, PlaylistsAreNoMovies)
{
    MV_NEEDS_FFMPEG();
    std::string secret = makeClip(m_folder, "secret.ts", movingPicture(64, 64, 10, 1) + " -c:v mpeg2video");
    for (const std::string& playlist : playlistsOf(secret, 1)) {
        for (const char* name : { "list.mp4", "list.ogg", "list.m3u8", "list.ts", "list.avi" }) {
            std::string path = m_folder.write(name, playlist);
            EXPECT_FALSE(m_toolkit.canInitWithFile(OpenedFile::at(path))) << name << " " << playlist;
            EXPECT_FALSE(opens(path)) << name << " " << playlist;
        }
    }
}

/// The name of a folder can look like the marks that containers are known by, and stands in the playlist.
TEST_F(HostileFileTest, PlaylistsAreNoMoviesWhateverTheirFolderIsCalled)
{
    const std::string folders[] = {
        "G",
        "Gaps",
        "My Games",
        "GGGGGGGGGGGGGGGG",
        std::string(250, 'G'), // a transport stream's sync byte
        "\x47\x1F\xFF\x10", // one of its empty packets
        "\xFF\xFB\x90\x64",
        "\xFF\xFD\x90\x44",
        "\xFF\xFE\x90\x64", // MPEG audio of three layers
        "\xFF\xF1\x50\x80\x1F\xFC", // AAC
        "\x0B\x77\x11\x22\x14\x40\x43", // AC-3
        "OggS",
        "fLaC",
        "FLV\x01\x05",
        "ID3\x03",
        "RIFF1234AVI LIST",
        "RIFF1234WAVEfmt ",
        "FORM1234AIFF",
        "caff",
        ".snd",
        "#!AMR",
        "\x1A\x45\xDF\xA3",
        "ftypisom",
        "moov",
        "mdat",
    };
    for (const std::string& folder : folders) {
        for (int times : { 1, 2, 12 }) {
            for (const std::string& playlist : playlistsOf("/media/" + folder + "/secret.ts", times)) {
                std::string path = m_folder.write("list.mp4", playlist);
                EXPECT_FALSE(m_toolkit.canInitWithFile(OpenedFile::at(path))) << times << " " << playlist;
                EXPECT_FALSE(opens(path)) << times << " " << playlist;
            }
        }
    }
}

/// Lines of a transport stream's packet length: FFmpeg has no doubt then. There is nothing in it all the same.
TEST_F(HostileFileTest, ATextInStepWithATransportStreamIsNoMovie)
{
    for (std::size_t packet : { 188u, 192u, 204u }) {
        std::string line = "/media/Games/" + std::string(packet - 14, 'x') + "\n";
        std::string text;
        for (int i = 0; i < 50; ++i)
            text += line;
        EXPECT_FALSE(opens(m_folder.write("list.ts", text))) << packet;
    }
}

TEST_F(HostileFileTest, AFewPacketsOfATransportStreamAreNoMovie)
{
    Bytes packets;
    for (int i = 0; i < 8; ++i) {
        Bytes packet(188, 0xFF);
        packet[0] = 0x47;
        packet[1] = 0x1F;
        packet[3] = 0x10;
        packets.insert(packets.end(), packet.begin(), packet.end());
    }
    std::string path = m_folder.write("few.ts", packets);
    EXPECT_FALSE(m_toolkit.canInitWithFile(OpenedFile::at(path)));
    EXPECT_FALSE(opens(path));
}

TEST_F(HostileFileTest, AMovieBoxWithoutItsEndOpensAsFarAsItGoesOrNot)
{
    MV_NEEDS_FFMPEG();
    std::string clip = makeClip(m_folder, "a.mp4", movingPicture(64, 64, 10, 1) + " -c:v mpeg4");
    Bytes bytes = test::readFile(clip);
    // The movie box stands at the end: what is left of the file begins like a movie, and is none.
    std::string cut = m_folder.write("cut.mp4", ByteView(bytes).first(bytes.size() / 2));
    EXPECT_TRUE(m_toolkit.canInitWithFile(OpenedFile::at(cut)));
    auto movie = m_toolkit.initWithFile(OpenedFile::at(cut));
    ASSERT_FALSE(movie.ok());
    EXPECT_FALSE(movie.error().text.empty());
}

TEST_F(HostileFileTest, NothingIsWrittenToTheLog)
{
    MV_NEEDS_FFMPEG();
    std::string clip = makeClip(m_folder, "a.mp4", movingPicture(64, 64, 10, 1) + " -c:v mpeg4 -movflags faststart");
    Bytes bytes = test::readFile(clip);
    for (std::size_t i = bytes.size() / 2; i < bytes.size(); i += 7)
        bytes[i] ^= 0x55;
    std::string damaged = m_folder.write("damaged.mp4", bytes);
    test::LogCapture log;
    testing::internal::CaptureStderr();
    auto movie = m_toolkit.initWithFile(OpenedFile::at(damaged));
    ASSERT_TRUE(movie.ok());
    (*movie)->frameImageAtTime(QTMakeTimeWithTimeInterval(0.9));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(HostileFileTest, TheDeadlineEndsOpening)
{
    MV_NEEDS_FFMPEG();
    FileQTKit hurried { milliseconds(0) };
    for (const char* name : { "a.mkv", "a.avi", "a.ts" }) {
        std::string clip = makeClip(m_folder, name, movingPicture(64, 64, 10, 1) + " -c:v mpeg4");
        EXPECT_TRUE(m_toolkit.initWithFile(OpenedFile::at(clip)).ok()) << name;
        auto movie = hurried.initWithFile(OpenedFile::at(clip));
        ASSERT_FALSE(movie.ok()) << name;
        EXPECT_EQ(movie.error().kind, Error::Kind::Limit) << name;
        EXPECT_EQ(movie.error().text, "cannot open: took too long") << name;
    }
}

TEST_F(HostileFileTest, TheDeadlineEndsLookingForAFrame)
{
    MV_NEEDS_FFMPEG();
    std::string clip = makeClip(m_folder, "a.mp4", movingPicture(64, 64, 10, 1) + " -c:v mpeg4");
    FileQTKit hurried { milliseconds(0) };
    auto movie = hurried.initWithFile(OpenedFile::at(clip)); // its boxes tell all
    ASSERT_TRUE(movie.ok());
    EXPECT_FALSE((*movie)->frameImageAtTime(QTMakeTimeWithTimeInterval(0.5)));
    EXPECT_FALSE((*movie)->posterImage());
}

TEST_F(HostileFileTest, HugePicturesAreNotDecoded)
{
    MV_NEEDS_FFMPEG();
    // Just above the limit.
    std::string clip = makeClip(m_folder, "a.mkv",
        " -f lavfi -i color=red:size=8300x8300:rate=1:duration=1 -pix_fmt gray -c:v png -compression_level 0 -frames:v "
        "1");
    auto movie = m_toolkit.initWithFile(OpenedFile::at(clip));
    ASSERT_TRUE(movie.ok());
    EXPECT_FALSE((*movie)->frameImageAtTime(QTMakeTimeWithTimeInterval(0)));
    EXPECT_FALSE((*movie)->posterImage());
}

} // namespace
} // namespace mv
