// mivo index: first runs, those that go on with others, updates.
#include "cli/FileProgress.h"
#include "tests/cli/ToolFixture.h"

#include <filesystem>
#include <sys/file.h>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ToolIndex : public ToolOnBus {
protected:
    ToolIndex()
    {
        std::filesystem::create_directories(m_folder.file("m/b"));
        for (const char* name : { "m/a.png", "m/b/1.png", "m/b.png" })
            picture(name);
        m_folder.write("m/notes.txt", std::string_view("words"));
    }
    std::string out() { return m_logs.file("out.jsonl"); }
    Outcome index(const std::string& options = {})
    {
        return tool("index " + options + " " + m_folder.file("m") + " " + out());
    }
    std::vector<std::string> lines()
    {
        std::ifstream file(out());
        std::vector<std::string> all;
        for (std::string line; std::getline(file, line);)
            all.push_back(line);
        return all;
    }
    std::string beginningOf(const std::string& name)
    {
        return "{\"path\":\"" + m_folder.file(name) + "\",\"xesam:url\":\"file://" + m_folder.file(name)
            + "\",\"file\":{\"size\":";
    }
};

TEST_F(ToolIndex, HasALineForEachFileInOrder)
{
    Outcome made = index();
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.out, "4 added; 1 no media\n");
    auto all = lines();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_THAT(all[0], StartsWith(beginningOf("m/a.png")));
    EXPECT_THAT(all[0], HasSubstr("},\"mivo:kind\":\"picture\",\"mivo:mimeType\":\"image/png\","));
    EXPECT_THAT(all[1], StartsWith(beginningOf("m/b/1.png")));
    EXPECT_THAT(all[2], StartsWith(beginningOf("m/b.png")));
    EXPECT_THAT(all[3], StartsWith(beginningOf("m/notes.txt")));
    EXPECT_THAT(all[3],
        testing::EndsWith("},\"error\":\"is no audio, video or picture file\","
                          "\"mivo:error\":\"Mivo.Media1.Error.NotMedia\"}"));
    EXPECT_EQ(index().out, "0 added, 4 there already\n");
}

TEST_F(ToolIndex, ACutLineIsReadAgain)
{
    index();
    Bytes whole = test::readFile(out());
    for (std::size_t cut :
        { std::size_t { 1 }, std::size_t { 100 }, whole.size() - 20, whole.size() - 1, whole.size() }) {
        std::filesystem::resize_file(out(), whole.size() - cut);
        EXPECT_EQ(index().status, 0);
        EXPECT_EQ(test::readFile(out()), whole) << cut;
    }
    // What a power cut may leave.
    std::filesystem::resize_file(out(), whole.size() - 100);
    std::filesystem::resize_file(out(), whole.size() + 5000);
    EXPECT_EQ(index("--update").status, 0);
    EXPECT_EQ(test::readFile(out()), whole);
}

TEST_F(ToolIndex, AnUpdateTellsWhatItDid)
{
    index();
    EXPECT_EQ(index("--update").out, "0 added, 0 changed, 0 removed, 4 unchanged\n");
    picture("m/b/0.png");
    picture("m/b.png");
    std::filesystem::remove(m_folder.file("m/a.png"));
    Outcome updated = index("--update");
    EXPECT_EQ(updated.status, 0) << updated.err;
    EXPECT_EQ(updated.out,
        "removed " + m_folder.file("m/a.png") + "\nadded " + m_folder.file("m/b/0.png") + "\nchanged "
            + m_folder.file("m/b.png") + "\n1 added, 1 changed, 1 removed, 2 unchanged\n");
    Bytes updatedIndex = test::readFile(out());
    std::filesystem::remove(out());
    index();
    EXPECT_EQ(test::readFile(out()), updatedIndex);
    EXPECT_THAT(test::outputOf("ls -A " + m_logs.path()), testing::Not(HasSubstr(".out")));
}

TEST_F(ToolIndex, WhatIsUnchangedIsNotReadAndWhatIsWholeNotWritten)
{
    index();
    struct stat before { };
    ASSERT_EQ(stat(out().c_str(), &before), 0);
    // The same size, time and inode: whoever reads it finds something else.
    struct stat file { };
    ASSERT_EQ(stat(m_folder.file("m/a.png").c_str(), &file), 0);
    int fd = open(m_folder.file("m/a.png").c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(fd, "x", 1, 0), 1);
    timespec times[] { file.st_atim, file.st_mtim };
    futimens(fd, times);
    close(fd);
    EXPECT_EQ(index("--update").out, "0 added, 0 changed, 0 removed, 4 unchanged\n");
    struct stat after { };
    ASSERT_EQ(stat(out().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

TEST_F(ToolIndex, FilesThatCameSinceAreLeftToAnUpdate)
{
    index();
    picture("m/0.png");
    picture("m/z.png");
    EXPECT_EQ(index().out, "1 added, 4 there already; 1 came since, which --update adds\n");
    EXPECT_EQ(
        index("--update").out, "added " + m_folder.file("m/0.png") + "\n1 added, 0 changed, 0 removed, 5 unchanged\n");
}

TEST_F(ToolIndex, NamesOfAnyBytesAndTheIndexItselfWithin)
{
    std::filesystem::copy_file(m_folder.file("m/a.png"), m_folder.file("m/caf\xe9.png"));
    std::string within = m_folder.file("m/index.jsonl");
    for (const char* option : { "", "--update " }) {
        Outcome made = tool(std::string("index ") + option + m_folder.file("m") + " " + within);
        EXPECT_EQ(made.status, 0) << made.err;
    }
    Bytes bytes = test::readFile(within);
    std::string text(bytes.begin(), bytes.end());
    EXPECT_THAT(text, HasSubstr("caf\xef\xbf\xbd.png\",\"xesam:url\":\"file://" + m_folder.path() + "/m/caf%E9.png\""));
    EXPECT_THAT(text, testing::Not(HasSubstr("index.jsonl")));
}

TEST_F(ToolIndex, WhatIsNoIndexStaysAsItIs)
{
    auto refusal = [&](const std::string& name, const char* sentence) {
        Outcome refused = tool("index --update " + m_folder.file("m") + " " + name);
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.err, "mivo index: " + name + ": " + sentence + "\n");
    };
    std::string text = m_logs.write("text", std::string_view("my words\n"));
    std::string other = m_logs.write("list.jsonl", std::string_view("{\"path\":\"a\",\"xesam:title\":\"b\"}\n"));
    refusal(text, "is there and is no index; it stays as it is");
    refusal(other, "is there and is no index; it stays as it is");
    // One line without an end, which begins as that of an index does.
    std::string settings = m_logs.write("settings", std::string_view("{\"path\":\"/home\",\"depth\":3}"));
    refusal(settings, "is there and is no index; it stays as it is");
    EXPECT_EQ(test::readFile(settings).size(), 26u);
    refusal("/dev/null", "is no regular file, and an index is one");
    refusal(m_folder.file("m"), "is a folder");
    EXPECT_EQ(test::readFile(text).size(), 9u);
    index();
    Outcome ofOther = tool("index --update " + m_folder.file("m/b") + " " + out());
    EXPECT_EQ(ofOther.status, 1);
    EXPECT_THAT(ofOther.err, HasSubstr("is the index of another folder"));
    EXPECT_EQ(lines().size(), 4u);
    EXPECT_EQ(tool("index /no/such " + out()).err, "mivo index: /no/such: is no folder\n");
    EXPECT_EQ(tool("index " + m_folder.file("m") + " -").status, 2);
}

TEST_F(ToolIndex, AFolderOfTheIndexDoesNotTakeItOver)
{
    // The index begins with what is in that folder, and goes on.
    std::filesystem::remove(m_folder.file("m/a.png"));
    index();
    auto before = lines();
    ASSERT_THAT(before[0], StartsWith(beginningOf("m/b/1.png")));
    for (const char* options : { "--update ", "" }) {
        Outcome refused = tool("index " + std::string(options) + m_folder.file("m/b") + " " + out());
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.err,
            "mivo index: " + out() + ": is the index of another folder, with " + m_folder.file("m/notes.txt")
                + " in it\n");
        EXPECT_EQ(lines(), before);
    }
}

TEST_F(ToolIndex, ASecondRunAtOnceIsRefused)
{
    index();
    int held = open(out().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    Outcome refused = index("--update");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "mivo index: " + out() + ": is being written by another \"mivo index\"\n");
    close(held);
    EXPECT_EQ(index("--update").status, 0);
}

TEST_F(ToolIndex, ALinkStaysAndTheModeToo)
{
    index();
    std::filesystem::permissions(out(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    std::string link = m_logs.file("link");
    std::filesystem::create_symlink("out.jsonl", link);
    picture("m/new.png");
    EXPECT_EQ(tool("index --update " + m_folder.file("m") + " " + link).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(lines().size(), 5u);
    struct stat facts { };
    ASSERT_EQ(stat(out().c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0600u);
}

TEST(FileProgress, HasRateAndTimeLeft)
{
    std::string text;
    FileProgress::Clock::time_point now;
    FileProgress progress(
        true, 80, [&](const std::string& drawn) { text += drawn; }, [&] { return now; });
    now += std::chrono::seconds(2);
    progress.show(1000);
    EXPECT_EQ(text, "\r1000 files  500/s\033[K");
    text.clear();
    progress.setTotal(4000);
    progress.show(1001);
    EXPECT_EQ(text, "") << "too soon";
    now += std::chrono::seconds(2);
    progress.show(2000);
    EXPECT_EQ(text, "\r[##############--------------] 2000 of 4000 files  500/s  0:04 left\033[K");
    text.clear();
    progress.hide();
    progress.hide();
    EXPECT_EQ(text, "\r\033[K");
    FileProgress silent(
        false, 80, [&](const std::string&) { FAIL(); }, [&] { return now; });
    now += std::chrono::seconds(2);
    silent.show(5);
    silent.hide();
}

} // namespace
} // namespace mv::cli
