// What the test suites of other projects state of the tags of their files.
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Corpus.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

namespace mv::test {
namespace {

/// Their keys and ours; the first ten are the common tags.
struct KeyPair {
    std::string_view theirs;
    std::string_view ours;
    bool isCommon;
};

constexpr KeyPair Keys[] = {
    { "title", fact::Title, true },
    { "artist", fact::Artist, true },
    { "album", fact::Album, true },
    { "albumartist", fact::AlbumArtist, true },
    { "composer", fact::Composer, true },
    { "genre", fact::Genre, true },
    { "comment", fact::Comment, true },
    { "year", fact::ContentCreated, true },
    { "track", fact::TrackNumber, true },
    { "disc", fact::DiscNumber, true },
    { "track_total", fact::TrackTotal, false },
    { "disc_total", fact::DiscTotal, false },
    { "bpm", fact::AudioBpm, false },
    { "compilation", fact::Compilation, false },
    { "lyrics", fact::AsText, false },
};

/// Rows that are not taken for the truth, each with the reason.
const std::map<std::string, std::string> Explained {
    { "audio/full.wav comment", "the file's tag has no such frame: the suite writes it first" },
    { "audio/full.wav composer", "the file's tag has no such frame" },
    { "audio/full.wav disc", "the file's tag has no such frame" },
    { "audio/full.wav disc_total", "the file's tag has no such frame" },
    { "audio/full.wav bpm", "the file's tag has no such frame" },
    { "audio/full.wav compilation", "the file's tag has no such frame" },
    { "audio/full.wav lyrics", "the file's tag has no such frame" },
    { "mp3/id3v24_extended_header.id3 title", "a tag without sound is no media" },
    { "mp3/obsolete.mp3 genre", "the suite states the number (40), and a name of its own for it" },
    { "mp3/obsolete.mp3 track", "the suite states place and total in one text" },
};

std::string wanted(const ExpectedRow& row)
{
    if (row.key == "compilation")
        return row.value == "true" ? "1" : row.value == "false" ? "0" : row.value;
    std::string text = row.value;
    for (auto at = text.find("\\r\\n"); at != std::string::npos; at = text.find("\\r\\n"))
        text.replace(at, 4, "\r\n");
    return text;
}

bool isRight(const KeyPair& key, const std::string& wanted, const std::string& found)
{
    if (found.empty())
        return wanted.empty() || wanted == "0"; // how numbers are not told
    return key.theirs == "year" ? found.starts_with(wanted) : found == wanted;
}

struct Tally {
    int right = 0;
    int all = 0;
};

TEST(CorpusTags, AreWhatOtherProjectsState)
{
    MV_NEEDS_CORPUS();
    std::map<std::string, Facts> described;
    std::set<std::string> stillExplained;
    Tally common;
    for (const ExpectedRow& row : corpusExpectations()) {
        auto key = std::find_if(
            std::begin(Keys), std::end(Keys), [&](const KeyPair& each) { return each.theirs == row.key; });
        if (key == std::end(Keys))
            continue;
        if (!described.contains(row.file)) {
            auto facts = describedCorpusFile(row.file);
            described[row.file] = facts ? std::move(*facts) : Facts {};
        }
        std::string found = textOf(described[row.file], key->ours);
        bool right = isRight(*key, wanted(row), found);
        common.all += key->isCommon;
        common.right += key->isCommon && right;
        if (right)
            continue;
        std::string name = row.file + " " + row.key;
        EXPECT_TRUE(Explained.contains(name)) << name << ": " << found << " in place of " << row.value;
        stillExplained.insert(name);
    }
    EXPECT_EQ(stillExplained.size(), Explained.size()) << "something explained is right now";
    ASSERT_GT(common.all, 200);
    EXPECT_GE(common.right * 100, common.all * 95) << common.right << " of " << common.all;
}

} // namespace
} // namespace mv::test
