#include "cli/mirror/MirrorPlan.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

MirrorEntry entry(const std::string& from, const std::string& to, const std::string& how = "mp3")
{
    return { from, to, 10, 1000, 5, how };
}

MirrorState stateOf(const std::vector<MirrorEntry>& entries)
{
    MirrorState state("/music");
    for (const MirrorEntry& one : entries)
        state.set(one);
    return state;
}

std::vector<std::string> changedOf(
    const MirrorState& state, const std::vector<MirrorFile>& files, std::optional<std::uint64_t> made = 5)
{
    std::vector<std::string> paths;
    for (const MirrorFile& file : mirrorPlan(state, files, "mp3", [&](const auto&) { return made; }).changed)
        paths.push_back(file.path);
    return paths;
}

TEST(MirrorState, IsReadAsItIsWritten)
{
    MirrorState state = stateOf({ entry("a/\"ü\"\n.flac", "a/b.mp3"), entry("c.ogg", "c.ogg", "copy") });
    auto read = MirrorState::parse(state.text());
    ASSERT_TRUE(read.ok());
    EXPECT_EQ(read->source(), "/music");
    EXPECT_EQ(read->entries(), state.entries());
}

TEST(MirrorState, ALaterLineCountsAndACutOneDoesNot)
{
    MirrorEntry later = entry("a.flac", "a.mp3", "other");
    std::string text = stateOf({ entry("a.flac", "a.mp3") }).text() + MirrorState::line(later) + "rubbish\n{}\n";
    std::string cut = MirrorState::line(entry("b.flac", "b.mp3"));
    for (std::size_t length = 0; length < cut.size(); ++length) {
        auto read = MirrorState::parse(text + cut.substr(0, length));
        ASSERT_TRUE(read.ok());
        EXPECT_THAT(read->entries(), ElementsAre(testing::Pair("a.mp3", later))) << length;
    }
    EXPECT_EQ(MirrorState::parse(text + cut)->entries().size(), 2u);
}

TEST(MirrorState, OfWhichOnlyPartOfTheFirstLineIsThere)
{
    std::string text = stateOf({}).text();
    for (std::size_t length = 0; length + 1 < text.size(); ++length)
        EXPECT_TRUE(MirrorState::isCutAtFront(text.substr(0, length))) << length;
    EXPECT_FALSE(MirrorState::isCutAtFront(text));
    EXPECT_FALSE(MirrorState::isCutAtFront("{\"mivo\":1"));
    EXPECT_FALSE(MirrorState::isCutAtFront("notes of mine"));
}

TEST(MirrorState, LeadsNowhere)
{
    for (const char* path : { "../x", "/x", "a/../../x", "", "a//b", "." }) {
        auto read = MirrorState::parse(stateOf({ entry("a", path) }).text());
        ASSERT_TRUE(read.ok());
        EXPECT_THAT(read->entries(), IsEmpty()) << path;
    }
    for (const char* other : { "", "{}", "{\"mivo-mirror\":2,\"source\":\"/x\"}", "{\"mivo-mirror\":1}", "[]" })
        EXPECT_FALSE(MirrorState::parse(other).ok()) << other;
}

TEST(MirrorPlan, OnlyWhatDiffersIsMade)
{
    MirrorState state = stateOf({ entry("a.flac", "a.mp3") });
    EXPECT_THAT(changedOf(state, { { "a.flac", 10, 1000 } }), IsEmpty());
    EXPECT_THAT(changedOf(state, { { "a.flac", 11, 1000 } }), ElementsAre("a.flac"));
    EXPECT_THAT(changedOf(state, { { "a.flac", 10, 1001 } }), ElementsAre("a.flac"));
    EXPECT_THAT(changedOf(state, { { "a.flac", 10, 1000 }, { "b.flac", 1, 1 } }), ElementsAre("b.flac"));
    // What was made is gone, or was changed.
    EXPECT_THAT(changedOf(state, { { "a.flac", 10, 1000 } }, std::nullopt), ElementsAre("a.flac"));
    EXPECT_THAT(changedOf(state, { { "a.flac", 10, 1000 } }, 6), ElementsAre("a.flac"));
    // It was made otherwise; a copy is a copy.
    EXPECT_THAT(
        changedOf(stateOf({ entry("a.flac", "a.mp3", "mp3 320") }), { { "a.flac", 10, 1000 } }), ElementsAre("a.flac"));
    EXPECT_THAT(changedOf(stateOf({ entry("a.mp3", "a.mp3", "copy") }), { { "a.mp3", 10, 1000 } }), IsEmpty());
}

TEST(MirrorPlan, GoneIsWhatNothingMakes)
{
    MirrorState state = stateOf({ entry("a.flac", "a.mp3"), entry("b.flac", "b.mp3"), entry("c.flac", "c.mp3") });
    auto gone = goneFrom(state, { { "a.mp3", "a.wav" } }, { "c.flac" });
    ASSERT_EQ(gone.size(), 1u);
    EXPECT_EQ(gone[0].to, "b.mp3");
}

TEST(MirrorPlan, NamesAndEndings)
{
    EXPECT_EQ(withEnding("a.b/c.d.flac", "mp3"), "a.b/c.d.mp3");
    EXPECT_EQ(withEnding("a.b/c", "mp3"), "a.b/c.mp3");
    for (const char* name : { "a.FLAC", "a.mp3", "x.ogg", "cover.jpg", "Folder.PNG" })
        EXPECT_TRUE(isMirrored(name)) << name;
    for (const char* name : { "a.txt", "photo.jpg", "a.mp4", "a", "flac", "cover" })
        EXPECT_FALSE(isMirrored(name)) << name;
}

} // namespace
} // namespace mv::cli
