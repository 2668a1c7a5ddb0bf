#include "cli/TagChange.h"

#include "cli/PictureFile.h"
#include "cli/TagJson.h"
#include "cli/TagState.h"
#include "png/PngFile.h"
#include "tests/cli/WorkerOfTheTool.h"
#include "tests/support/Scratch.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

std::vector<Option> options()
{
    std::vector<Option> all { { "clear", "FIELD", "", 0, oneOf(TagFieldNames), true },
        { "remove", "FIELD", "", 0, oneOf(TagFieldNames), true } };
    for (const char* name : TagFieldNames)
        all.push_back({ name, "VALUE", "", 0, {}, true });
    return all;
}

Result<std::vector<TagChange>> changesOf(const std::vector<std::string>& words)
{
    MV_TRY(arguments, Arguments::parse(options(), words));
    return tagChanges(arguments);
}

/// Tags as text: "key=value", lists with bars between, "key-" for one that goes.
std::vector<std::string> texts(const MediaTags& tags)
{
    std::vector<std::string> all;
    for (const auto& [key, value] : tags) {
        std::string text;
        if (const auto* one = std::get_if<std::string>(&value))
            text = *one;
        else if (const auto* number = std::get_if<std::int32_t>(&value))
            text = std::to_string(*number);
        else if (const auto* list = std::get_if<std::vector<std::string>>(&value)) {
            for (const std::string& each : *list)
                text += (text.empty() ? "" : "|") + each;
        }
        all.push_back(key + (std::holds_alternative<std::monostate>(value) ? "-" : "=" + text));
    }
    return all;
}

std::vector<std::string> tagsOf(const std::vector<std::string>& words, const Facts& present = {})
{
    auto changes = changesOf(words);
    return changes ? texts(tagsFor(*changes, present)) : std::vector<std::string> { changes.error().text };
}

Facts song()
{
    Facts facts;
    facts.set(fact::Title, "T");
    facts.set(fact::Artist, std::vector<std::string> { "A", "B" });
    facts.set(fact::TrackNumber, std::int32_t { 3 });
    facts.set(fact::TrackTotal, std::int32_t { 12 });
    return facts;
}

TEST(TagChange, OptionsThatComeAgainAreSeveralValues)
{
    EXPECT_THAT(tagsOf({ "--title", "X", "--title", "Y", "--artist", "A/C", "--artist", "B" }),
        ElementsAre("xesam:title=Y", "xesam:artist=A/C|B"));
    EXPECT_THAT(tagsOf({ "--genre=Rock", "--genre=", "--date", "2019-05" }),
        ElementsAre("xesam:genre=Rock", "xesam:contentCreated=2019-05"));
    EXPECT_THAT(tagsOf({ "--title", "", "--artist", "" }), ElementsAre("xesam:title-", "xesam:artist-"));
}

TEST(TagChange, FieldsAreRemovedByTwoNames)
{
    EXPECT_THAT(tagsOf({ "--remove", "title", "--clear", "art", "--clear=disc" }),
        ElementsAre("xesam:title-", "xesam:discNumber-", "mivo:frontCover-"));
    EXPECT_THAT(tagsOf({ "--remove", "track" }, song()), ElementsAre("xesam:trackNumber-", "mivo:trackTotal-"));
}

TEST(TagChange, TotalsAreTheWishedOnesOrThoseThatStillFit)
{
    EXPECT_THAT(tagsOf({ "--track", "4/9" }, song()), ElementsAre("xesam:trackNumber=4", "mivo:trackTotal=9"));
    EXPECT_THAT(tagsOf({ "--track", "12" }, song()), ElementsAre("xesam:trackNumber=12"));
    EXPECT_THAT(tagsOf({ "--track", "13" }, song()), ElementsAre("xesam:trackNumber=13", "mivo:trackTotal-"));
    EXPECT_THAT(tagsOf({ "--disc", "2/3" }, song()), ElementsAre("xesam:discNumber=2", "mivo:discTotal=3"));
}

TEST(TagChange, RefusesMisuse)
{
    EXPECT_THAT(changesOf({ "--clear", "titel" }).error().text, HasSubstr("did you mean title?"));
    EXPECT_EQ(
        changesOf({ "--clear", "title", "--title", "x" }).error().text, "the title cannot be set and cleared at once");
    EXPECT_EQ(
        changesOf({ "--track", "65536" }).error().text, "--track takes a whole number from 1 to 65535, not \"65536\"");
    for (const char* place : { "3/", "/3", "3/x", "3/0", "3/2", "1/2/3", "3 / 12", "0" })
        EXPECT_FALSE(changesOf({ "--track", place }).ok()) << place;
    for (const char* date : { "19", "May 2019", "2019-13", "2019-5-1" })
        EXPECT_THAT(changesOf({ "--date", date }).error().text, HasSubstr("a date is YYYY")) << date;
    EXPECT_EQ(changesOf({ "--title", "caf\xe9" }).error().text, "the title is not UTF-8");
    EXPECT_EQ(changesOf({ "--art", "/no/such.jpg" }).error().text, "/no/such.jpg: there is no such file");
    EXPECT_EQ(changesOf({ "--art", "a", "--cover", "b" }).error().text, "--cover and --art are two names of one field");
}

TEST(TagChange, CoversAreJpegOrPng)
{
    test::WorkerOfTheTool worker;
    test::ScratchFolder folder;
    Bitmap red { 4, 4, {} };
    for (int i = 0; i < 16; ++i)
        red.pixels.insert(red.pixels.end(), { 255, 0, 0, 255 });
    auto coverOf = [](const char* option, const std::string& file) {
        auto changes = changesOf({ option, file });
        return changes ? std::get<Bytes>((*changes)[0].value) : Bytes();
    };
    Bytes png = pngOf(red);
    std::string pngFile = folder.write("a.png", png);
    EXPECT_EQ(coverOf("--cover", pngFile), png);
    Bytes converted = coverOf("--art", pngFile);
    ASSERT_GT(converted.size(), 3u);
    EXPECT_EQ(Bytes(converted.begin(), converted.begin() + 3), (Bytes { 0xff, 0xd8, 0xff }));
    // A JPEG stays as it is, byte for byte.
    Bytes jpeg = *jpegOf(red);
    EXPECT_EQ(coverOf("--art", folder.write("a.jpg", jpeg)), jpeg);
    EXPECT_EQ(coverOf("--cover", folder.write("b.jpg", jpeg)), jpeg);
    EXPECT_FALSE(changesOf({ "--cover", folder.write("a.txt", std::string_view("text")) }).ok());
}

TEST(TagChange, ATotalGoesWithANewNumberThatIsLarger)
{
    auto left = [](std::int32_t number) {
        MediaTags tags { { std::string(fact::TrackNumber), number } };
        removeSmallerTotals(tags, song()); // 3/12
        return texts(tags).size();
    };
    EXPECT_EQ(left(12), 1u);
    EXPECT_EQ(left(13), 2u);
    Facts odd = song();
    odd.set(fact::TrackNumber, std::int32_t { 20 });
    MediaTags same { { std::string(fact::TrackNumber), std::int32_t { 20 } } };
    removeSmallerTotals(same, odd);
    EXPECT_EQ(same.size(), 1u) << "what a file says already changes nothing";
}

TEST(TagState, IsWhatIsPlanned)
{
    auto changes = changesOf({ "--title", "New", "--clear", "artist", "--track", "13" });
    TagState before { song(), "picture, 1 kB" };
    TagState after = stateWith(before, tagsFor(*changes, before.facts), "");
    EXPECT_EQ(tagRows(before, after),
        "  title        T                              -> New\n"
        "  artist       A; B                           -> -\n"
        "  track        3/12                           -> 13\n"
        "  cover        picture, 1 kB                     picture, 1 kB\n");
    EXPECT_EQ(missingTags(tagsFor(*changes, before.facts), after.facts), "");
    EXPECT_EQ(missingTags(tagsFor(*changes, before.facts), before.facts), "title, artist, track, track total");
}

TEST(TagState, DatesMayBeShorterThanAskedFor)
{
    MediaTags date { { std::string(fact::ContentCreated), std::string("2019-05-01T10:20:30Z") } };
    Facts shorter;
    shorter.set(fact::ContentCreated, "2019-05-01T10:20");
    EXPECT_EQ(missingTags(date, shorter), "");
    shorter.set(fact::ContentCreated, "2018");
    EXPECT_EQ(missingTags(date, shorter), "date");
}

TEST(TagState, KnowsWhatDiffers)
{
    auto differing = [](const std::vector<std::string>& words) {
        return texts(differingTags(tagsFor(*changesOf(words), song()), { song(), "" }));
    };
    EXPECT_THAT(differing({ "--title", " T ", "--artist", "A", "--artist", "B", "--track", "3/12", "--clear=album" }),
        IsEmpty());
    EXPECT_THAT(differing({ "--title", "t", "--artist", "A", "--clear", "cover" }),
        ElementsAre("xesam:title=t", "xesam:artist=A"));
}

/// The file and its tags, or why not.
std::string ofJson(std::string_view line)
{
    auto tags = jsonTagsOf(line);
    if (!tags)
        return "refused: " + tags.error().text;
    std::string all = tags->file;
    for (const std::string& text : texts(tags->tags))
        all += " " + text;
    return all;
}

TEST(TagJson, TakesWhatDescribeWrites)
{
    EXPECT_EQ(ofJson(R"({"path":"a.mp3","mivo:kind":"audio","xesam:title":"T","xesam:artist":["A","B"],)"
                     R"("xesam:trackNumber":3,"mivo:bitrate":128000,"xesam:asText":"La"})"),
        "a.mp3 xesam:artist=A|B xesam:title=T xesam:trackNumber=3");
    EXPECT_EQ(
        ofJson(R"({"xesam:url":"file:///music/a%20b.mp3","xesam:title":"앨범"})"), "/music/a b.mp3 xesam:title=앨범");
    // Names that are not UTF-8 are whole in the URI.
    EXPECT_EQ(ofJson("{\"path\":\"n\uFFFDm.mp3\",\"xesam:url\":\"file:///m/n%E4m.mp3\"}"), "/m/n\xe4m.mp3");
    EXPECT_EQ(ofJson("{\"path\":\"n\uFFFDm.mp3\"}"), "n\uFFFDm.mp3");
    EXPECT_EQ(ofJson(R"({"path":"a.mp3","xesam:url":"file:///m/b.mp3"})"), "a.mp3");
    EXPECT_EQ(ofJson(R"({"path":"a","xesam:title":null,"mivo:discTotal":null,"mivo:frontCover":null})"),
        "a mivo:discTotal- mivo:frontCover- xesam:title-");
    EXPECT_EQ(ofJson(R"({"path":"a","xesam:genre":"Rock"})"), "a xesam:genre=Rock");
    EXPECT_EQ(ofJson(R"({"path":"a","error":"is no media","title":"x"})"), "a");
}

TEST(TagJson, RefusesWhatItCannotMean)
{
    for (const char* line : { "", "{", "[]", "null", "\"a\"", "{\"path\":\"a\"} x", "{\"path\":\"caf\xe9\"}" })
        EXPECT_EQ(ofJson(line), "refused: is no JSON object") << line;
    EXPECT_EQ(ofJson("{}"), "refused: names no file: it has neither \"path\" nor \"xesam:url\"");
    EXPECT_EQ(ofJson(R"({"path":7})"), "refused: names no file: it has neither \"path\" nor \"xesam:url\"");
    EXPECT_THAT(ofJson(R"({"xesam:url":"https://example.org/a.mp3"})"), HasSubstr("refused: "));
    EXPECT_EQ(ofJson(R"({"path":"a","xesam:title":7})"), "refused: \"xesam:title\" takes a text, or null");
    EXPECT_EQ(ofJson(R"({"path":"a","xesam:title":["x"]})"), "refused: \"xesam:title\" takes a text, or null");
    EXPECT_EQ(
        ofJson(R"({"path":"a","xesam:artist":["x",7]})"), "refused: \"xesam:artist\" takes a list of texts, or null");
    for (const char* number : { "-1", "65536", "3.5", "\"3\"", "18446744073709551615", "-9223372036854775808", "1e99" })
        EXPECT_EQ(ofJson(std::string(R"({"path":"a","xesam:trackNumber":)") + number + "}"),
            "refused: \"xesam:trackNumber\" takes a whole number from 0 to 65535, or null")
            << number;
    EXPECT_THAT(ofJson(R"({"path":"a","xesam:contentCreated":"May"})"), HasSubstr("takes a date"));
    EXPECT_THAT(ofJson(R"({"path":"a","xesam:title":"a\u0000b"})"), HasSubstr("takes a text"));
    EXPECT_THAT(ofJson(R"({"path":"a","mivo:frontCover":"/x.jpg"})"), HasSubstr("nothing but null"));
    EXPECT_THAT(ofJson(std::string(100000, '[')), HasSubstr("is no JSON object"));
}

} // namespace
} // namespace mv::cli
