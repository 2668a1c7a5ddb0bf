// Lines of indexes, reading them, and the file that holds them.
#include "cli/collection/IndexReader.h"
#include "cli/collection/IndexWriter.h"
#include "tests/cli/collection/Lines.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <unistd.h>

namespace mv::cli {
namespace {

const FileStamp kStamp { 12, 1'795'367'528, 41'702'665, 99 };

TEST(IndexLine, TellsPathStampAndFacts)
{
    Facts facts;
    facts.set(fact::Kind, std::string("audio"));
    facts.set(fact::Url, std::string("file:///elsewhere"));
    std::string line = indexLine(DescribedFile("/m/a \"b\"\xff\n.mp3", facts), kStamp);
    EXPECT_EQ(line,
        "{\"path\":\"/m/a \\\"b\\\"\xef\xbf\xbd\\n.mp3\",\"xesam:url\":\"file:///m/a%20%22b%22%FF%0A.mp3\","
        "\"file\":{\"size\":12,\"mtime\":\"1795367528.041702665\",\"inode\":99},\"mivo:kind\":\"audio\"}");
    auto entry = readIndexLine(line);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->path, "/m/a \"b\"\xff\n.mp3");
    EXPECT_EQ(entry->stamp, kStamp);
    EXPECT_FALSE(entry->isWorthAnotherTry);
}

TEST(IndexLine, OnlyFailuresThatMayPassAreTriedAgain)
{
    auto isTried = [](const char* name) {
        return readIndexLine(indexLine("/a", { "it \"failed\"", name }, kStamp))->isWorthAnotherTry;
    };
    EXPECT_FALSE(isTried("Mivo.Media1.Error.NotMedia"));
    EXPECT_FALSE(isTried("Mivo.Media1.Error.TooLarge"));
    EXPECT_TRUE(isTried("Mivo.Media1.Error.AccessDenied"));
    EXPECT_TRUE(isTried("Mivo.Media1.Error.Crashed"));
    EXPECT_TRUE(isTried(""));
}

TEST(IndexLine, WhatIsNoneIsNotRead)
{
    std::string line = indexLine(DescribedFile("/a", {}), kStamp);
    for (std::size_t length = 0; length < line.size(); ++length)
        EXPECT_FALSE(readIndexLine(line.substr(0, length))) << length;
    FileStamp old { 0, -5, 1, 1 };
    EXPECT_EQ(readIndexLine(indexLine("/a", { "x" }, old))->stamp, old);
    for (const char* wrong : { "{}", "{\"path\":\"a\",\"xesam:title\":\"b\"}", "words" })
        EXPECT_FALSE(readIndexLine(wrong)) << wrong;
}

TEST(IndexLine, BeginsAsNothingElseDoes)
{
    std::string line = indexLine(DescribedFile("/m/a \"b\"\xff.mp3", {}), kStamp);
    for (std::size_t length = 0; length <= line.size(); ++length)
        EXPECT_TRUE(mayBeginIndexLine(line.substr(0, length))) << length;
    for (const char* wrong : { "words", "[", "{\"path\":1", "{\"path\":\"/a\",\"x\":1}", "{\"path\":\"/a\"}",
             "{\"path\":\"/a\",\"xesam:url\":\"file:///a\"}", "{\"path\":\"/a\",\"xesam:url\":\"file:///a\",\"x\"" })
        EXPECT_FALSE(mayBeginIndexLine(wrong)) << wrong;
}

class IndexReaderTest : public testing::Test {
protected:
    /// Paths, and where it ended.
    std::vector<std::string> paths(const std::string& text)
    {
        UniqueFd file(open(m_folder.write("index", text).c_str(), O_RDONLY));
        std::vector<std::string> found;
        IndexReader reader(file.get());
        for (; reader.entry(); reader.next())
            found.push_back(reader.entry()->path);
        m_damagedLine = reader.damagedLine();
        m_end = reader.place();
        return found;
    }
    test::ScratchFolder m_folder;
    std::size_t m_damagedLine = 0;
    std::uint64_t m_end = 0;
};

TEST_F(IndexReaderTest, ReadsWholeLinesInOrder)
{
    std::string a = lineOf("/a");
    std::string b = lineOf("/b");
    EXPECT_THAT(paths(a + b), testing::ElementsAre("/a", "/b"));
    EXPECT_EQ(m_damagedLine, 0u);
    EXPECT_EQ(m_end, a.size() + b.size());
    EXPECT_THAT(paths(a + b.substr(0, b.size() - 1)), testing::ElementsAre("/a"));
    EXPECT_EQ(m_damagedLine, 0u) << "a cut line is no damage";
    EXPECT_EQ(m_end, a.size());
    EXPECT_THAT(paths(""), testing::IsEmpty());
    EXPECT_THAT(paths(b + a), testing::ElementsAre("/b"));
    EXPECT_EQ(m_damagedLine, 2u);
    EXPECT_THAT(paths(a + "words\n" + b), testing::ElementsAre("/a"));
    EXPECT_EQ(m_damagedLine, 2u);
    EXPECT_EQ(m_end, a.size());
    EXPECT_THAT(paths(a + a), testing::ElementsAre("/a"));
}

TEST_F(IndexReaderTest, LinesMayBeLongerThanWhatIsReadAtOnce)
{
    Facts facts;
    facts.set(fact::AsText, std::string(700'000, 'x'));
    std::string text = lineOf("/a") + indexLine(DescribedFile("/b", facts), kStamp) + "\n" + lineOf("/c");
    EXPECT_THAT(paths(text), testing::ElementsAre("/a", "/b", "/c"));
    EXPECT_EQ(m_end, text.size());
}

class IndexFileTest : public testing::Test {
protected:
    std::string text(const std::string& name)
    {
        Bytes bytes = test::readFile(m_folder.file(name));
        return { bytes.begin(), bytes.end() };
    }
    test::ScratchFolder m_folder;
};

TEST_F(IndexFileTest, DropsACutLineAndIsOneProcesssAtATime)
{
    std::string name = m_folder.write("index", lineOf("/a") + "{\"path\":\"/b");
    {
        auto file = IndexFile::open(name);
        ASSERT_TRUE(file.ok());
        EXPECT_EQ(text("index"), lineOf("/a"));
        EXPECT_EQ(IndexFile::open(name).error().text, "is being written by another \"mivo index\"");
    }
    EXPECT_TRUE(IndexFile::open(name).ok());
    EXPECT_TRUE(IndexFile::open(m_folder.write("cut", std::string_view("{\"pa"))).ok());
    EXPECT_FALSE(IndexFile::open(m_folder.write("words", std::string_view("words"))).ok());
    EXPECT_EQ(text("words"), "words");
}

TEST_F(IndexFileTest, AnUpdateTakesThePlaceAtTheEnd)
{
    std::string a = lineOf("/a");
    std::string b = lineOf("/b");
    std::string name = m_folder.write("index", a + b);
    auto file = IndexFile::open(name);
    ASSERT_TRUE(file.ok());
    IndexWriter writer(*file, IndexWriter::Way::Update);
    ASSERT_TRUE(writer.add(lineOf("/c"), a.size()).ok());
    EXPECT_EQ(text("index"), a + b);
    EXPECT_EQ(text(".index.part"), a + lineOf("/c"));
    ASSERT_TRUE(writer.finish(a.size()).ok());
    EXPECT_EQ(text("index"), a + lineOf("/c"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.file(".index.part")));
}

TEST_F(IndexFileTest, WhatKilledUpdatesReadIsPutTogether)
{
    std::string name = m_folder.write("index", lineOf("/a"));
    m_folder.write(".index.read", lineOf("/a") + lineOf("/c") + lineOf("/d"));
    m_folder.write(".index.part", lineOf("/a") + lineOf("/b") + "{\"path");
    auto file = IndexFile::open(name);
    ASSERT_TRUE(file.ok());
    auto taken = file->takeUnfinished();
    ASSERT_TRUE(taken.ok());
    EXPECT_TRUE(*taken);
    EXPECT_EQ(text(".index.read"), lineOf("/a") + lineOf("/b") + lineOf("/c") + lineOf("/d"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.file(".index.part")));
    IndexWriter writer(*file, IndexWriter::Way::Update);
    ASSERT_TRUE(writer.finish(file->size()).ok());
    EXPECT_FALSE(std::filesystem::exists(m_folder.file(".index.read")));
    EXPECT_EQ(text("index"), lineOf("/a"));
}

} // namespace
} // namespace mv::cli
