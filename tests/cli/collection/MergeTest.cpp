// What is done about the files of a folder and the lines of its index.
#include "Base/Core/Handle.h"
#include "cli/collection/IndexMerge.h"
#include "tests/cli/collection/Lines.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>

namespace mv::cli {
namespace {

using testing::ElementsAre;

class IndexMergeTest : public testing::Test {
protected:
    std::string at(const std::string& name) { return m_folder.file("m/" + name); }
    void make(const std::string& name) { m_folder.write("m/" + name, std::string_view("1")); }
    std::string line(const std::string& name) { return lineOf(at(name)); }

    /// "read a", "kept b", ...
    std::vector<std::string> steps(
        const std::string& index, IndexMerge::Way way = IndexMerge::Way::Update, const std::string& read = {})
    {
        UniqueFd indexFile(open(m_folder.write("index", index).c_str(), O_RDONLY));
        UniqueFd readFile(open(m_folder.write("read", read).c_str(), O_RDONLY));
        IndexMerge merge({ m_folder.file("m"), IndexReader(indexFile.get()), IndexReader(readFile.get()) }, way,
            [&](const std::string& path) { return path == at("itself"); });
        std::vector<std::string> done;
        m_copied.clear();
        while (auto step = merge.next()) {
            constexpr const char* Names[] { "kept", "known", "read", "removed", "missed", "unreadable" };
            done.push_back(std::string(Names[static_cast<std::size_t>(step->kind)]) + " "
                + std::filesystem::path(step->path).lexically_relative(m_folder.file("m")).native());
            bool isCopied = step->kind == IndexStep::Kind::Kept || step->kind == IndexStep::Kind::Known;
            m_copied += isCopied ? step->line : "";
        }
        m_kept = merge.keptBytes();
        return done;
    }
    test::ScratchFolder m_folder;
    std::string m_copied;
    std::uint64_t m_kept = 0;
};

TEST_F(IndexMergeTest, AFirstRunReadsAll)
{
    for (const char* name : { "b/c", "a", "itself" })
        make(name);
    EXPECT_THAT(steps(""), ElementsAre("read a", "read b/c"));
    EXPECT_THAT(steps("", IndexMerge::Way::Add), ElementsAre("read a", "read b/c"));
}

TEST_F(IndexMergeTest, WhatIsUnchangedIsKeptWithoutBeingCopied)
{
    for (const char* name : { "a", "b", "c" })
        make(name);
    std::string index = line("a") + line("b") + line("c");
    EXPECT_THAT(steps(index), ElementsAre("kept a", "kept b", "kept c"));
    EXPECT_EQ(m_copied, "");
    EXPECT_EQ(m_kept, index.size());
}

TEST_F(IndexMergeTest, ComingChangingAndGoing)
{
    for (const char* name : { "a", "b", "d", "e" })
        make(name);
    std::string index = line("a") + line("b") + line("c") + line("d");
    make("aa");
    m_folder.write("m/d", std::string_view("longer"));
    EXPECT_THAT(steps(index), ElementsAre("kept a", "read aa", "kept b", "removed c", "read d", "read e"));
    EXPECT_EQ(m_kept, line("a").size());
    EXPECT_EQ(m_copied, line("b"));
    EXPECT_THAT(steps(line("a") + line("b") + line("c")),
        ElementsAre("kept a", "read aa", "kept b", "removed c", "read d", "read e"));
    EXPECT_THAT(
        steps(line("b") + line("z")), ElementsAre("read a", "read aa", "kept b", "read d", "read e", "removed z"));
}

TEST_F(IndexMergeTest, ARunThatGoesOnLooksAtNothingThatIsThere)
{
    for (const char* name : { "a", "b", "c" })
        make(name);
    std::string index = line("a") + line("b");
    m_folder.write("m/a", std::string_view("changed"));
    make("aa");
    std::filesystem::remove(at("b"));
    EXPECT_THAT(steps(index, IndexMerge::Way::Add), ElementsAre("kept a", "missed aa", "kept b", "read c"));
}

TEST_F(IndexMergeTest, WhatAKilledUpdateReadIsNotReadAgain)
{
    for (const char* name : { "a", "b", "c", "d" })
        make(name);
    std::string old = line("c");
    m_folder.write("m/c", std::string_view("longer"));
    std::string read = line("a") + line("b") + line("c") + line("d");
    m_folder.write("m/b", std::string_view("changed since"));
    EXPECT_THAT(
        steps(line("a") + old, IndexMerge::Way::Update, read), ElementsAre("kept a", "read b", "known c", "known d"));
    EXPECT_EQ(m_copied, line("c") + line("d"));
}

TEST_F(IndexMergeTest, FailuresThatMayPassAreTriedAgain)
{
    make("a");
    make("b");
    auto failed = [&](const char* name, const char* error) {
        return indexLine(at(name), { "x", error }, *FileStamp::of(at(name))) + "\n";
    };
    EXPECT_THAT(steps(failed("a", "Mivo.Media1.Error.NotMedia") + failed("b", "Mivo.Media1.Error.TimedOut")),
        ElementsAre("kept a", "read b"));
}

TEST_F(IndexMergeTest, LinesOfAFolderThatCannotBeReadStay)
{
    std::string deep;
    for (int i = 0; i < 17; ++i)
        deep += std::string(240, 'x') + "/";
    make("a");
    make("z");
    // A folder whose path is too long is one that cannot be read, whoever reads it.
    ASSERT_EQ(test::run("cd " + m_folder.file("m")
                  + " && python3 -c 'import os\nfor i in range(17):\n n = \"x\" * 240\n "
                    "os.mkdir(n)\n os.chdir(n)'"),
        0);
    std::string below = at(deep + "song.mp3");
    std::string index = line("a") + indexLine(DescribedFile(below, {}), {}) + "\n" + line("z");
    auto done = steps(index);
    ASSERT_EQ(done.size(), 4u);
    EXPECT_EQ(done[0], "kept a");
    EXPECT_THAT(done[1], testing::StartsWith("unreadable x"));
    EXPECT_THAT(done[2], testing::StartsWith("kept x"));
    EXPECT_EQ(done[3], "kept z");
    EXPECT_EQ(m_kept, index.size());
    test::run("rm -rf " + m_folder.file("m"));
}

} // namespace
} // namespace mv::cli
