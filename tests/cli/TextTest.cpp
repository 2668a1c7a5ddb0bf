#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "cli/InputPath.h"
#include "cli/RecordText.h"
#include "cli/Terminal.h"
#include "cli/text/JsonText.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace mv::cli {
namespace {

TEST(TerminalText, KeepsTextAndEscapesCommands)
{
    EXPECT_EQ(terminalText("Motörhead – 주석 🎵"), "Motörhead – 주석 🎵");
    EXPECT_EQ(terminalText("a\033[2Jb\nc\td\x7f"), "a\\x1b[2Jb\\nc\\td\\x7f");
    // A control character of eight bits, and bytes that are no UTF-8.
    EXPECT_EQ(terminalText("a\xc2\x9b"
                           "b\xe9"),
        "a\\xc2\\x9bb\\xe9");
    EXPECT_EQ(terminalText(""), "");
}

TEST(JsonText, EscapesStrings)
{
    EXPECT_EQ(jsonString("a\"b\\c\nd\001\x7f"), "\"a\\\"b\\\\c\\nd\\u0001\\u007f\"");
    EXPECT_EQ(jsonString("a\u009b31m\u00a0\u00c2"), "\"a\\u009b31m\u00a0\u00c2\"") << "a terminal's command";
    EXPECT_EQ(jsonString("주석"), "\"주석\"");
    EXPECT_EQ(jsonString("a\xe9"), "\"a\xef\xbf\xbd\"");
}

TEST(JsonText, EveryKindOfValue)
{
    EXPECT_EQ(jsonValue(NullObject(), false), "null");
    EXPECT_EQ(jsonValue(true, false), "true");
    EXPECT_EQ(jsonValue(false, false), "false");
    EXPECT_EQ(jsonValue(-7, false), "-7");
    EXPECT_EQ(jsonValue(std::int64_t { 1 } << 40, false), "1099511627776");
    EXPECT_EQ(jsonValue(27.5, false), "27.5");
    EXPECT_EQ(jsonValue(27.0, false), "27");
    EXPECT_EQ(jsonValue("x", false), "\"x\"");
    EXPECT_EQ(jsonValue(Date { 1234567 }, false), "\"1970-01-01T00:00:01.234567Z\"");
    EXPECT_EQ(jsonValue(Bytes { 'a', 'b', 'c', 'd' }, false), "{\"bytes\":4}");
    EXPECT_EQ(jsonValue(Bytes { 'a', 'b', 'c', 'd' }, true), "{\"bytes\":4,\"base64\":\"YWJjZA==\"}");
}

TEST(JsonText, RecordsKeepTheirOrder)
{
    EXPECT_EQ(JsonObject().text("path", "p").record({ { "b", 1 }, { "a", "x" } }, false).line(),
        "{\"path\":\"p\",\"b\":1,\"a\":\"x\"}");
    EXPECT_EQ(JsonObject().record({}, false).line(), "{}");
}

TEST(JsonText, Base64OfEveryRest)
{
    EXPECT_EQ(base64({}), "");
    EXPECT_EQ(base64(bytesOf("f")), "Zg==");
    EXPECT_EQ(base64(bytesOf("fo")), "Zm8=");
    EXPECT_EQ(base64(bytesOf("foo")), "Zm9v");
    EXPECT_EQ(base64(Bytes { 0xff, 0xfe, 0xfd }), "//79");
}

TEST(JsonText, DatesBeforeTheEpoch)
{
    EXPECT_EQ(isoDate(Date { -1 }), "1969-12-31T23:59:59.999999Z");
    EXPECT_EQ(isoDate(Date { 0 }), "1970-01-01T00:00:00.000000Z");
}

TEST(RecordText, LengthsAndSizes)
{
    EXPECT_EQ(readableLength(0), "0:00");
    EXPECT_EQ(readableLength(65), "1:05");
    EXPECT_EQ(readableLength(3729), "1:02:09");
    EXPECT_EQ(readableSize(0), "0 bytes");
    EXPECT_EQ(readableSize(999), "999 bytes");
    EXPECT_EQ(readableSize(1000), "1.0 kB");
    EXPECT_EQ(readableSize(4'200'000), "4.2 MB");
    EXPECT_EQ(readableSize(std::int64_t { 5'000'000'000'000'000 }), "5000.0 TB");
}

TEST(RecordText, ValuesHaveTheirUnits)
{
    EXPECT_EQ(readableValue(MediaDBMusicColumnPlayLength, 185), "3:05");
    EXPECT_EQ(readableValue(MediaDBMusicColumnPlayLength, 185.0), "3:05");
    EXPECT_EQ(readableValue(MediaDBMusicColumnBitrate, 192), "192 kbit/s");
    EXPECT_EQ(readableValue(MediaDBMusicColumnSamplerate, 44100.0), "44100 Hz");
    EXPECT_EQ(readableValue("key", OtherKind {}), "(of an unknown kind)");
    EXPECT_EQ(jsonValue(OtherKind {}, true), "null");
    EXPECT_EQ(readableValue(MediaDBCommonColumnFileSize, 4'200'000), "4.2 MB (4200000 bytes)");
    EXPECT_EQ(readableValue(MediaDBCommonColumnMediaType, 0x01000001), "0x01000001");
    EXPECT_EQ(readableValue(MediaDBPhotoColumnWidth, 640), "640 pixels");
    EXPECT_EQ(readableValue(MediaDBMusicColumnTrackNo, 7), "7");
    EXPECT_EQ(readableValue(MediaDBMusicColumnTitle, "a\033b"), "a\\x1bb");
    EXPECT_EQ(readableValue(MediaDBCommonColumnIsManaged, false), "no");
    EXPECT_EQ(readableValue(MediaDBMusicColumnGenre, NullObject()), "(empty)");
    EXPECT_EQ(readableValue(MediaDBMusicColumnAlbumArt, Bytes(2000)), "data, 2.0 kB");
}

TEST(RecordText, OneKeyALine)
{
    Record record { { "Title", "Song" }, { "TrackNo", 7 } };
    EXPECT_EQ(readableRecord("a\n.mp3", record, false), "a\\n.mp3\n  Title            Song\n  TrackNo          7\n");
    EXPECT_EQ(readableRecord("a", {}, true), "\033[1ma\033[0m\n");
}

TEST(RecordText, PaddingCountsCharacters)
{
    EXPECT_EQ(padded("주석", 4), "주석  ");
    EXPECT_EQ(padded("abcdef", 4), "abcdef");
}

TEST(Sentences, ErrorsOfTheServiceAreReadable)
{
    EXPECT_EQ(sentenceFor({ Error::Kind::State, "no date", 0, "Mivo.Exception.NSInvalidArgumentException" }),
        "the service raised NSInvalidArgumentException: no date");
    EXPECT_EQ(sentenceFor({ Error::Kind::NotFound, "nobody", 0, "org.freedesktop.DBus.Error.ServiceUnknown" }),
        "the service does not run: nobody");
    EXPECT_EQ(sentenceFor({ Error::Kind::Limit, "too many bytes", 0, "org.freedesktop.DBus.Error.LimitsExceeded" }),
        "the answer is too large: too many bytes");
    EXPECT_EQ(sentenceFor({ Error::Kind::Io, "gone", 0, "org.freedesktop.DBus.Error.NoReply" }),
        "gone (org.freedesktop.DBus.Error.NoReply)");
}

TEST(Sentences, WhatWasFoundOutHereIsASentenceAlready)
{
    for (auto kind : { Error::Kind::NotFound, Error::Kind::Unsupported, Error::Kind::Limit, Error::Kind::Format })
        EXPECT_EQ(sentenceFor({ kind, "has no picture" }), "has no picture");
}

TEST(Sentences, OnlyWhereNobodyAnswersThereIsNoService)
{
    EXPECT_EQ(statusFor({ Error::Kind::NotFound, "nobody", 0, "org.freedesktop.DBus.Error.ServiceUnknown" }),
        ExitStatus::NoService);
    EXPECT_EQ(statusFor({ Error::Kind::Io, "gone", 0, "org.freedesktop.DBus.Error.NoReply" }), ExitStatus::SomeFailed);
    EXPECT_EQ(statusFor({ Error::Kind::NotFound, "there is no such file" }), ExitStatus::SomeFailed);
}

class InputPathTest : public testing::Test {
protected:
    std::string refusal(const std::string& name)
    {
        auto path = inputPath(name);
        return path.ok() ? "" : path.error().text;
    }
    test::ScratchFolder m_folder;
};

TEST_F(InputPathTest, WholePathsStayAndOthersAreMadeWhole)
{
    std::string file = m_folder.write("a b\n.mp3", std::string_view("x"));
    EXPECT_EQ(inputPath(file)->text(), file);
    std::filesystem::path from = std::filesystem::current_path();
    std::string relative = std::filesystem::relative(file, from);
    ASSERT_FALSE(relative.starts_with('/'));
    EXPECT_EQ(inputPath(relative)->text(), (from / relative).native());
}

TEST_F(InputPathTest, SaysWhyAFileIsRefused)
{
    EXPECT_EQ(refusal(""), "an empty name is no file");
    EXPECT_EQ(refusal(std::string("a\0b", 3)), "the name holds a zero byte; is --null missing?");
    EXPECT_EQ(refusal(m_folder.file("none")), "there is no such file");
    EXPECT_EQ(refusal(m_folder.path()), "is a folder");
    EXPECT_EQ(refusal("caf\xe9.mp3"), "the name is not UTF-8, and the service takes no other; rename the file first");
    EXPECT_EQ(refusal("/" + std::string(5000, 'x')), "File name too long");
    ASSERT_EQ(mkfifo(m_folder.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(refusal(m_folder.file("fifo")), "is not a regular file");
    EXPECT_EQ(refusal("/dev/null"), "is not a regular file");
    EXPECT_EQ(refusal(m_folder.write("f", std::string_view("x")) + "/x"), "Not a directory");
}

TEST_F(InputPathTest, AnOutputNeedsItsFolder)
{
    EXPECT_TRUE(outputPath(m_folder.file("new.mp3")).ok());
    EXPECT_EQ(outputPath(m_folder.path()).error().text, "is a folder");
    EXPECT_EQ(outputPath(m_folder.file("no/new.mp3")).error().text, "there is no folder " + m_folder.file("no"));
}

TEST_F(InputPathTest, OneFileUnderTwoNamesIsTheSame)
{
    std::string file = m_folder.write("a", std::string_view("x"));
    ASSERT_EQ(symlink(file.c_str(), m_folder.file("b").c_str()), 0);
    EXPECT_TRUE(sameFile(file, m_folder.file("b")));
    EXPECT_FALSE(sameFile(file, m_folder.write("c", std::string_view("x"))));
    EXPECT_FALSE(sameFile(file, m_folder.file("none")));
}

} // namespace
} // namespace mv::cli
