#include "cli/naming/FileMoves.h"
#include "cli/naming/FileName.h"
#include "cli/naming/NameFields.h"
#include "cli/naming/NamePattern.h"

#include <gmock/gmock.h>
#include <map>
#include <set>

namespace mv::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Values = std::map<std::string, std::string, std::less<>>;

/// Where the file would lie, or why not.
std::string placed(const std::string& pattern, const Values& values, std::string_view ending = "mp3",
    NameRules rules = NameRules::Here)
{
    auto parsed = NamePattern::parse(pattern, checkNameField);
    if (!parsed)
        return "refused: " + parsed.error().text;
    auto pieces = parsed->fill([&](std::string_view name) {
        auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    });
    auto path = pieces ? relativePathOf(*pieces, ending, rules) : Result<std::string>(pieces.error());
    return path ? *path : "failed: " + path.error().text;
}

std::string titled(const std::string& title, NameRules rules = NameRules::Here)
{
    return placed("{title}", { { "title", title } }, "mp3", rules);
}

TEST(NamePattern, FillsFieldsAndWidths)
{
    Values song { { "artist", "A" }, { "title", "T" }, { "track", "3" } };
    EXPECT_EQ(placed("{artist}/{track:02} {title}", song), "A/03 T.mp3");
    EXPECT_EQ(placed("{track:3}-{track}", song), "3-3.mp3"); // blanks in front of a name go
    EXPECT_EQ(placed("x{track:3}", song), "x  3.mp3");
    EXPECT_EQ(placed("{title:03}", song), "T.mp3"); // no number
    EXPECT_EQ(placed("{{{title}}}", song), "{T}.mp3");
    EXPECT_EQ(placed("{title}", song, ""), "T");
}

TEST(NamePattern, SaysAnotherTextWhereThereIsNoValue)
{
    EXPECT_EQ(placed("{artist|Unknown}", {}), "Unknown.mp3");
    EXPECT_EQ(placed("{artist|Unknown}", { { "artist", "A" } }), "A.mp3");
    EXPECT_EQ(placed("{albumArtist|{artist|Unknown}}/{title|{name}}", { { "name", "n" } }), "Unknown/n.mp3");
    EXPECT_EQ(placed("{album|}x", {}), "x.mp3");
    EXPECT_EQ(placed("{track:02|00} x", {}), "00 x.mp3");
    EXPECT_EQ(placed("{artist}", {}), "failed: has no artist; {artist|Unknown} would say something else there");
    EXPECT_EQ(placed("{artist}", { { "artist", "" } }),
        "failed: has no artist; {artist|Unknown} would say something else there");
}

TEST(NamePattern, SlipsAreToldWithTheirPlace)
{
    EXPECT_EQ(placed("{title", {}), "refused: a field does not end: a } is missing (at character 7 of the pattern)");
    EXPECT_EQ(placed("a}", {}), "refused: a } has no {; say }} for a brace (at character 2 of the pattern)");
    EXPECT_EQ(placed("{}", {}), "refused: a field has no name; say {{ for a brace (at character 2 of the pattern)");
    EXPECT_EQ(placed("x{titel}", {}),
        "refused: there is no field \"titel\"; did you mean title? (at character 3 of the pattern)");
    for (const char* width : { "{track:}", "{track:0}", "{track:12}", "{track:x}", "{track:-1}" })
        EXPECT_THAT(placed(width, {}), HasSubstr("refused: ")) << width;
    for (const char* folder : { "/x", "../x", "a/../b", "./a", "a//b", "a/", "", "a\nb", "caf\xe9" })
        EXPECT_THAT(placed(folder, {}), HasSubstr("refused: ")) << folder;
    EXPECT_THAT(placed(std::string(NamePattern::MaxLength + 1, 'x'), {}), HasSubstr("refused: "));
    std::string deep;
    for (int i = 0; i <= NamePattern::MaxDepth; ++i)
        deep += "{title|";
    EXPECT_THAT(placed(deep, {}), HasSubstr("too deep"));
}

TEST(NameFields, AreFactsByKeyByLastPartAndByWhatPeopleSay)
{
    Facts facts;
    facts.set(fact::Artist, std::vector<std::string> { " One ", "Two" });
    facts.set(fact::TrackNumber, std::int32_t { 3 });
    facts.set(fact::ContentCreated, "2016-05-31T17:01:35+02:00");
    facts.set(fact::Title, "  ");
    auto value = [&](std::string_view name) { return nameFieldValue(name, facts, "present").value_or("-"); };
    EXPECT_EQ(value("artist"), "One, Two");
    EXPECT_EQ(value("xesam:artist"), "One, Two");
    EXPECT_EQ(value("track"), "3");
    EXPECT_EQ(value("trackNumber"), "3");
    EXPECT_EQ(value("date"), "2016-05-31T17:01:35+02:00");
    EXPECT_EQ(value("year"), "2016");
    EXPECT_EQ(value("name"), "present");
    EXPECT_EQ(value("title"), "-");
    EXPECT_EQ(value("album"), "-");
    EXPECT_EQ(checkNameField("path").error().text, "a path is no part of a name; {name} is the present name");
    for (const FactRow& row : FactRows)
        EXPECT_TRUE(checkNameField(row.key).ok()) << row.key;
    EXPECT_EQ(checkNameField("artits").error().text, "there is no field \"artits\"; did you mean artist?");
}

TEST(FileName, ValuesLeadNowhere)
{
    EXPECT_EQ(titled("../../etc/passwd"), "__-..-etc-passwd.mp3");
    EXPECT_EQ(titled("AC/DC"), "AC-DC.mp3");
    EXPECT_EQ(titled("/etc"), "-etc.mp3");
    EXPECT_EQ(titled(".."), "__.mp3");
    EXPECT_EQ(titled("."), "_.mp3");
    EXPECT_EQ(titled(".hidden"), "_hidden.mp3");
    EXPECT_EQ(titled("  .hidden"), "_hidden.mp3");
    EXPECT_EQ(titled("...And Justice"), "___And Justice.mp3");
    EXPECT_EQ(placed("{artist}/{title}", { { "artist", ".." }, { "title", "x" } }), "__/x.mp3");
    // Dots of the pattern are its writer's, but for what leads up.
    EXPECT_EQ(placed(".{artist}/{title}", { { "artist", "x" }, { "title", "y" } }), ".x/y.mp3");
    EXPECT_EQ(placed(".{artist}/{title}", { { "artist", "." }, { "title", "y" } }), "__/y.mp3");
    EXPECT_EQ(placed(" {title}", { { "title", ".x" } }), "_x.mp3");
    EXPECT_EQ(placed("{album|a/../b}/{title}", { { "title", "y" } }), "a/__/b/y.mp3");
}

TEST(FileName, LettersThatHarmBecomeLines)
{
    EXPECT_EQ(titled("a\nb\tc\x1b[2J\x7f"), "a_b_c_[2J_.mp3");
    EXPECT_EQ(titled(std::string("a\0b", 3)), "a_b.mp3");
    EXPECT_EQ(titled("a\u0085b\u2028c\u202egpj"), "a_b_c_gpj.mp3");
    EXPECT_EQ(titled("caf\xe9"), "caf\ufffd.mp3");
    EXPECT_EQ(titled("제목 Ä 👩‍🎤"), "제목 Ä 👩‍🎤.mp3");
    EXPECT_EQ(titled("  a  "), "a.mp3");
    EXPECT_EQ(titled("What? \"Now\": <1|2>*\\"), "What? \"Now\": <1|2>*\\.mp3");
    EXPECT_EQ(titled("What? \"Now\": <1|2>*\\", NameRules::Portable), "What_ _Now__ _1_2___.mp3");
}

TEST(FileName, NamesOfDevicesGetALine)
{
    for (const char* name : { "CON", "nul", "Com1", "lpt9", "aux.x" })
        EXPECT_EQ(titled(name), "_" + std::string(name) + ".mp3");
    for (const char* name : { "Conan", "COM0", "COM10", "NULL" })
        EXPECT_EQ(titled(name), std::string(name) + ".mp3");
}

TEST(FileName, FoldersOfOtherSystemsEndWithALetter)
{
    Values values { { "artist", "R.E.M." }, { "title", "x" } };
    EXPECT_EQ(placed("{artist}/{title}", values), "R.E.M./x.mp3");
    EXPECT_EQ(placed("{artist}/{title}", values, "mp3", NameRules::Portable), "R.E.M_/x.mp3");
}

TEST(FileName, IsCutBetweenCharacters)
{
    std::string korean;
    for (int i = 0; i < 200; ++i)
        korean += "한";
    std::string name = titled(korean);
    EXPECT_EQ(name.size(), 252u / 3 * 3 - 3 + 4); // 83 characters and the ending: 253 bytes
    EXPECT_TRUE(name.ends_with("한.mp3"));
    EXPECT_EQ(titled(std::string(300, 'x')).size(), MaxNameBytes);
    EXPECT_EQ(titled(std::string(250, 'x') + " " + std::string(9, 'y')), std::string(250, 'x') + ".mp3");
    EXPECT_EQ(placed("{artist}/x", { { "artist", std::string(300, 'x') } }).size(), MaxNameBytes + 6);
    std::string many = "{title}";
    for (int i = 0; i < 20; ++i)
        many += "/{title}";
    EXPECT_EQ(placed(many, { { "title", std::string(250, 'x') } }), "failed: would get a path that is too long");
}

TEST(FileName, NothingIsNoName)
{
    EXPECT_EQ(placed("{album|}", {}), "failed: would get a name, or a folder, without a character");
    EXPECT_EQ(placed("{album| }/x", {}), "failed: would get a name, or a folder, without a character");
}

TEST(FileName, EndingsAreShort)
{
    EXPECT_EQ(endingOf("a.mp3"), "mp3");
    EXPECT_EQ(endingOf("a.b.FLAC"), "FLAC");
    for (const char* none : { "a", ".hidden", "a.", "Mr. Smith goes", "a.of17lettersin_all" })
        EXPECT_EQ(endingOf(none), "") << none;
}

/// The steps' moves, and the refusals' first words, of moves among files that are there.
struct Outline {
    std::vector<std::vector<std::size_t>> steps;
    std::vector<std::string> refusals;
};

Outline outlineOf(const std::vector<FileMove>& moves, std::set<std::string> there = {})
{
    for (const FileMove& move : moves)
        there.insert(move.from);
    MoveOrder order = orderOf(moves, [&](std::size_t i) { return there.contains(moves[i].to); });
    return { order.steps, order.refusals };
}

TEST(FileMoves, OneThatIsInTheWayGoesFirst)
{
    auto chain = outlineOf({ { "/a", "/b" }, { "/b", "/c" }, { "/c", "/d" } });
    EXPECT_THAT(chain.steps, ElementsAre(ElementsAre(2), ElementsAre(1), ElementsAre(0)));
    auto other = outlineOf({ { "/c", "/d" }, { "/a", "/b" }, { "/b", "/c" } });
    EXPECT_THAT(other.steps, ElementsAre(ElementsAre(0), ElementsAre(2), ElementsAre(1)));
}

TEST(FileMoves, CirclesStandTogether)
{
    auto circle = outlineOf({ { "/a", "/b" }, { "/b", "/c" }, { "/c", "/a" }, { "/x", "/y" } });
    EXPECT_THAT(circle.steps, ElementsAre(ElementsAre(0, 1, 2), ElementsAre(3)));
}

TEST(FileMoves, NothingIsReplaced)
{
    auto two = outlineOf({ { "/a", "/x" }, { "/b", "/x" }, { "/c", "/y" } });
    EXPECT_THAT(two.steps, ElementsAre(ElementsAre(2)));
    EXPECT_THAT(
        two.refusals, ElementsAre("another file would get the same name", "another file would get the same name", ""));
    auto there = outlineOf({ { "/a", "/x" } }, { "/x" });
    EXPECT_TRUE(there.steps.empty());
    EXPECT_EQ(there.refusals[0], "there is a file of its new name already");
    // What is refused stays, and is then in the way of the next.
    auto behind = outlineOf({ { "/a", "/b" }, { "/b", "/x" } }, { "/x" });
    EXPECT_TRUE(behind.steps.empty());
    auto stays = outlineOf({ { "/a", "/b" }, { "/b", "/b" } });
    EXPECT_TRUE(stays.steps.empty());
    EXPECT_EQ(stays.refusals[1], "");
    EXPECT_EQ(outlineOf({ { "/a", "/b" }, { "/a", "/c" } }).refusals[1], "is named twice");
}

} // namespace
} // namespace mv::cli
