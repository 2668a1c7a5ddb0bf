// mivo-thumbnailer as desktop environments start it.
#include "Base/Core/Handle.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace mv {
namespace {

using test::shellQuoted;
using testing::HasSubstr;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class ThumbnailerTest : public testing::Test {
protected:
    Outcome thumbnailer(const std::string& words, const std::string& program = test::buildPath("bin/mivo-thumbnailer"))
    {
        std::string command
            = "env -i " + program + " " + words + " >" + m_logs.file("out") + " 2>" + m_logs.file("err");
        int status = std::system(command.c_str());
        return { WEXITSTATUS(status), text("out"), text("err") };
    }
    std::string text(const std::string& name)
    {
        Bytes bytes = test::readFile(m_logs.file(name));
        return { bytes.begin(), bytes.end() };
    }
    std::string photo(const std::string& name)
    {
        Bytes turned = test::ExifMaker().shortValue(test::ExifMaker::Ifd0, 0x0112, 6).block();
        return m_folder.write(name, ByteView(test::jpegPicture(400, 300, turned)));
    }
    /// "192x256", of a PNG file.
    std::string sizeOf(const std::string& name)
    {
        Bytes png = test::readFile(m_folder.file(name));
        if (png.size() < 24 || png[1] != 'P')
            return "no PNG";
        return std::to_string(png[18] * 256 + png[19]) + "x" + std::to_string(png[22] * 256 + png[23]);
    }
    std::vector<std::string> names()
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
            found.push_back(entry.path().filename());
        std::ranges::sort(found);
        return found;
    }

    test::ScratchFolder m_folder;
    test::ScratchFolder m_logs;
};

TEST_F(ThumbnailerTest, MakesAnUprightPngWhateverTheNameOfTheOutput)
{
    Outcome done = thumbnailer("-s 256 " + photo("a.jpg") + " " + m_folder.file("thumbnail"));
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.out + done.err, "");
    EXPECT_EQ(sizeOf("thumbnail"), "192x256");
    EXPECT_EQ(thumbnailer("--size=64 " + m_folder.file("a.jpg") + " " + m_folder.file("thumbnail")).status, 0);
    EXPECT_EQ(sizeOf("thumbnail"), "48x64");
    EXPECT_EQ(thumbnailer(m_folder.file("a.jpg") + " " + m_folder.file("usual")).status, 0);
    EXPECT_EQ(sizeOf("usual"), "96x128");
    EXPECT_THAT(names(), testing::ElementsAre("a.jpg", "thumbnail", "usual"));
}

// Tumbler makes an empty file, and reads what is in that one.
TEST_F(ThumbnailerTest, AnEmptyOutputIsFilledAndAnyOtherReplaced)
{
    photo("a.jpg");
    auto writeAndCompare = [&](std::string_view before) {
        std::string output = m_folder.write("t.png", before);
        UniqueFd held(open(output.c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(thumbnailer("-s 64 " + m_folder.file("a.jpg") + " " + output).status, 0);
        EXPECT_EQ(sizeOf("t.png"), "48x64");
        struct stat of_held { };
        struct stat of_name { };
        return fstat(held.get(), &of_held) == 0 && stat(output.c_str(), &of_name) == 0
            && of_held.st_ino == of_name.st_ino;
    };
    EXPECT_TRUE(writeAndCompare(""));
    EXPECT_FALSE(writeAndCompare("something"));
}

TEST_F(ThumbnailerTest, AWriteThatFailsLeavesAnEmptyOutputEmpty)
{
    std::string output = m_folder.write("t.png", std::string_view());
    std::string limited = "/usr/bin/prlimit --fsize=100 " + test::buildPath("bin/mivo-thumbnailer");
    std::string photo = m_folder.write("a.jpg", ByteView(test::jpegPicture(400, 300)));
    Outcome failed = thumbnailer(photo + " " + output, limited);
    EXPECT_EQ(failed.status, 1) << failed.err;
    EXPECT_THAT(failed.err, HasSubstr("t.png: cannot write: "));
    EXPECT_EQ(test::readFile(output).size(), 0u);
}

TEST_F(ThumbnailerTest, TheInputMayBeAUri)
{
    photo("a b\xc3\xb6.jpg");
    std::string uri = "file://" + m_folder.file("a%20b%C3%B6.jpg");
    EXPECT_EQ(thumbnailer("-s 64 " + shellQuoted(uri) + " " + m_folder.file("t.png")).status, 0);
    EXPECT_EQ(sizeOf("t.png"), "48x64");
    Outcome other = thumbnailer("-s 64 http://a/b.jpg " + m_folder.file("u.png"));
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("http://a/b.jpg: "));
    EXPECT_THAT(thumbnailer("-s 64 file://server/b.jpg " + m_folder.file("u.png")).err,
        HasSubstr("is no URI of a file on this computer"));
}

TEST_F(ThumbnailerTest, NamesMayBeAnyBytes)
{
    photo("a\xff.jpg");
    std::string input = shellQuoted(m_folder.file("a\xff.jpg"));
    EXPECT_EQ(thumbnailer("-s 64 " + input + " " + shellQuoted(m_folder.file("b\xff"))).status, 0);
    EXPECT_EQ(sizeOf("b\xff"), "48x64");
}

TEST_F(ThumbnailerTest, WhatCannotBeDecodedIsOneLineAndLeavesTheOutputAlone)
{
    std::string broken = m_folder.write("broken.jpg", std::string_view("\xff\xd8\xff no more"));
    std::string empty = m_folder.write("empty.mp3", std::string_view());
    m_folder.write("old.png", std::string_view("as it was"));
    for (const std::string& input : { broken, empty, m_folder.file("nowhere.jpg"), m_folder.path() }) {
        Outcome failed = thumbnailer("-s 256 " + input + " " + m_folder.file("new.png"));
        EXPECT_EQ(failed.status, 1) << input;
        EXPECT_THAT(failed.err, testing::StartsWith("mivo-thumbnailer: " + input + ": ")) << input;
        EXPECT_EQ(std::ranges::count(failed.err, '\n'), 1) << failed.err;
        EXPECT_EQ(thumbnailer("-s 256 " + input + " " + m_folder.file("old.png")).status, 1);
    }
    EXPECT_THAT(names(), testing::ElementsAre("broken.jpg", "empty.mp3", "old.png"));
    EXPECT_EQ(test::readFile(m_folder.file("old.png")).size(), 9u);
}

TEST_F(ThumbnailerTest, AnOutputThatCannotBeWrittenIsToldSo)
{
    Outcome failed = thumbnailer(photo("a.jpg") + " " + m_folder.file("no/folder.png"));
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr("no/folder.png: "));
    EXPECT_EQ(std::ranges::count(failed.err, '\n'), 1) << failed.err;
}

TEST_F(ThumbnailerTest, NothingBecomesItsOwnThumbnail)
{
    std::string original = photo("a.jpg");
    Bytes before = test::readFile(original);
    std::filesystem::create_hard_link(original, m_folder.file("linked.jpg"));
    std::filesystem::create_symlink("a.jpg", m_folder.file("pointing.jpg"));
    for (const char* output : { "a.jpg", "linked.jpg", "pointing.jpg" }) {
        Outcome refused = thumbnailer("file://" + original + " " + m_folder.file(output));
        EXPECT_EQ(refused.status, 1) << output;
        EXPECT_THAT(refused.err, HasSubstr("input and output are the same file")) << output;
    }
    EXPECT_EQ(test::readFile(original), before);
}

TEST_F(ThumbnailerTest, AWrongCommandLineIsMisuse)
{
    for (const char* words : { "", "a", "a b c", "-s", "-s 0 a b", "-s x a b", "-s 4096 a b", "--bars a b" }) {
        Outcome misuse = thumbnailer(words);
        EXPECT_EQ(misuse.status, 2) << words;
        EXPECT_EQ(std::ranges::count(misuse.err, '\n'), 1) << misuse.err;
    }
}

TEST_F(ThumbnailerTest, TellsItsOptionsAndVersion)
{
    Outcome help = thumbnailer("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("-s, --size SIZE"));
    EXPECT_EQ(thumbnailer("-V").out.substr(0, 17), "mivo-thumbnailer ");
}

TEST_F(ThumbnailerTest, WithoutAClosedProcessNothingIsDecoded)
{
    std::string alone = m_logs.copy(test::buildPath("bin/mivo-thumbnailer"), "mivo-thumbnailer");
    std::filesystem::permissions(alone, std::filesystem::perms::owner_all);
    Outcome failed = thumbnailer(photo("a.jpg") + " " + m_folder.file("t.png"), alone);
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr("nothing can be read, as no worker can be had"));
    EXPECT_EQ(std::ranges::count(failed.err, '\n'), 1) << failed.err;
    EXPECT_THAT(names(), testing::ElementsAre("a.jpg"));
}

} // namespace
} // namespace mv
