#include "facts/reading/TagTexts.h"
#include "facts/reading/Genres.h"
#include "facts/reading/LegacyText.h"
#include "tests/facts/reading/FactsText.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::string iso(std::string_view text) { return isoDateOf(text).value_or("none"); }

TEST(TagDates, AreAsPreciseAsTheyAre)
{
    EXPECT_EQ(iso("1999"), "1999");
    EXPECT_EQ(iso(" 1999 "), "1999");
    EXPECT_EQ(iso("2010-05"), "2010-05");
    EXPECT_EQ(iso("2010-05-04"), "2010-05-04");
    EXPECT_EQ(iso("20100504"), "2010-05-04");
    EXPECT_EQ(iso("2010/05/04"), "2010-05-04");
    EXPECT_EQ(iso("2010:05:04 10:11:12"), "2010-05-04T10:11:12");
    EXPECT_EQ(iso("2016-05-31T17:01:35+0200"), "2016-05-31T17:01:35+02:00");
    EXPECT_EQ(iso("2009-05-12T07:00:00Z"), "2009-05-12T07:00:00Z");
    EXPECT_EQ(iso("2009-05-12T07:00:00.000000Z"), "2009-05-12T07:00:00Z");
    EXPECT_EQ(iso("2009-05-12T07:00:00.250Z"), "2009-05-12T07:00:00.250Z");
    EXPECT_EQ(iso("2010-05-04T10:11"), "2010-05-04T10:11");
    EXPECT_EQ(iso("2010-05-04T17"), "2010-05-04T17");
    EXPECT_EQ(iso("4.5.2010"), "2010-05-04");
}

TEST(TagDates, PartsThatAreNoneEndThem)
{
    EXPECT_EQ(iso("1999-00-00"), "1999");
    EXPECT_EQ(iso("1999-13-01"), "1999");
    EXPECT_EQ(iso("1999-12-00"), "1999-12");
    EXPECT_EQ(iso("1999-12-24T25:00"), "1999-12-24");
    EXPECT_EQ(iso("0000:00:00 00:00:00"), "none");
    EXPECT_EQ(iso("    :  :     :  :  "), "none");
    EXPECT_EQ(iso("19995"), "none");
    EXPECT_EQ(iso("unknown"), "none");
    EXPECT_EQ(iso(""), "none");
}

TEST(Genres, OfContentTypes)
{
    using List = std::vector<std::string>;
    EXPECT_EQ(genresOfContentType("17"), List { "Rock" });
    EXPECT_EQ(genresOfContentType("(17)"), List { "Rock" });
    EXPECT_EQ(genresOfContentType("(51)(39)"), (List { "Techno-Industrial", "Noise" }));
    EXPECT_EQ(genresOfContentType("(4)Eurodisco"), List { "Eurodisco" });
    EXPECT_EQ(genresOfContentType("(51)(4)Eurodisco"), (List { "Techno-Industrial", "Eurodisco" }));
    EXPECT_EQ(genresOfContentType("((Foo)"), List { "(Foo)" });
    EXPECT_EQ(genresOfContentType("(RX)(CR)"), (List { "Remix", "Cover" }));
    EXPECT_EQ(genresOfContentType("(999)"), List { "(999)" });
    EXPECT_EQ(genresOfContentType("Hip-Hop/Rap"), List { "Hip-Hop/Rap" });
    EXPECT_EQ(genresOfContentType("191"), List { "Psybient" });
    EXPECT_EQ(genresOfContentType("192"), List { "192" });
    EXPECT_TRUE(genresOfContentType("").empty());
    EXPECT_EQ(genreOfNumber(141), "Christian Rock");
    EXPECT_EQ(genreOfNumber(255), "");
}

/// Bytes of another charset as they stand in a tag.
std::string guessed(std::string_view bytes)
{
    ByteView text = bytesOf(bytes);
    return utf8FromCharset(guessedCharset(text), text);
}

TEST(LegacyTexts, AreWhatTheyLookLike)
{
    EXPECT_EQ(guessed("plain"), "plain");
    EXPECT_EQ(guessed("Beyonc\xE9"), "Beyoncé");
    EXPECT_EQ(guessed("Mot\xF6rhead\nBj\xF6rk\n\xC1g\xE6tis byrjun"), "Motörhead\nBjörk\nÁgætis byrjun");
    EXPECT_EQ(guessed("It\x92s"), "It’s");
    EXPECT_EQ(guessed("\xEA\xB0\x80"), "가") << "UTF-8 that says nothing of it";
    EXPECT_EQ(guessed("\xB0\xA1\xB3\xAA\xB4\xD9"), "가나다");
    EXPECT_EQ(guessed("\x83\x54\x83\x93\x83\x76\x83\x8B"), "サンプル");
    EXPECT_EQ(guessed("\xCF\xF0\xE8\xE2\xE5\xF2 \xEC\xE8\xF0"), "Привет мир");
    EXPECT_EQ(guessed("\xD6\xD0\xB9\xFA\xC8\xCB\xC3\xF1\xD2\xF4\xC0\xD6"), "中国人民音乐");
    EXPECT_EQ(guessed("\xA7\xDA\xAA\xBA\xAD\xB5\xBC\xD6\xA5\x40\xAC\xC9"), "我的音樂世界");
}

// As pairs of bytes the two letters would be rare characters.
TEST(LegacyTexts, TwoLettersWithAccentsAreLatin)
{
    EXPECT_EQ(guessed("Sch\xF6ne Gr\xFC\xDF"
                      "e"),
        "Schöne Grüße");
    EXPECT_EQ(guessed("DJ\xE7\xF7"), "DJ琪") << "at the end of a word it may be anything";
    EXPECT_EQ(guessed("Cora\xE7\xE3o"), "Coração");
    EXPECT_EQ(guessed("F\xFCr Elise\nGr\xF6\xDFte"), "Für Elise\nGrößte");
    EXPECT_EQ(guessed("H\xE4\xE4t"), "Häät");
    EXPECT_EQ(guessed("C\x92\xE9tait"), "C’était");
    EXPECT_EQ(guessed("COR"
                      "A\xC7\xC3O"),
        "CORAÇÃO");
    EXPECT_EQ(guessed("CAN\xC7\xD5"
                      "ES"),
        "CANÇÕES");
    // Between letters a syllable stays one.
    EXPECT_EQ(guessed("A\xC7\xD1"
                      "B \xB0\xA1\xB3\xAA"),
        "A한B 가나");
}

TEST(LegacyTexts, AllTextsOfATagSpeakTogether)
{
    TagTexts texts;
    texts.beginTag();
    // Alone the title could be anything.
    texts.addLegacy(TagField::Title, bytesOf("\xC5\xEB"));
    texts.addLegacy(TagField::Artist, bytesOf("\xB0\xA1\xB3\xAA\xB4\xD9 \xB9\xEA\xB5\xE5"));
    Facts facts;
    texts.putInto(facts);
    EXPECT_EQ(textOf(facts, fact::Artist), "가나다 밴드");
    EXPECT_EQ(textOf(facts, fact::Title), "통");
}

TEST(TagTexts, TheFirstTagThatHasAFieldCounts)
{
    TagTexts texts;
    texts.beginTag();
    texts.add(TagField::Artist, "A");
    texts.add(TagField::Artist, "B");
    texts.beginTag();
    texts.add(TagField::Artist, "C");
    texts.add(TagField::Title, "T");
    texts.add(TagField::Title, "second");
    Facts facts;
    texts.putInto(facts);
    EXPECT_EQ(textOf(facts, fact::Artist), "A | B");
    EXPECT_EQ(textOf(facts, fact::Title), "T");
}

TEST(TagTexts, OfDatesThatAgreeTheMorePreciseCounts)
{
    auto dateOf = [](std::initializer_list<std::string_view> dates) {
        TagTexts texts;
        for (std::string_view date : dates)
            texts.add(TagField::Date, date);
        Facts facts;
        texts.putInto(facts);
        return textOf(facts, fact::ContentCreated);
    };
    EXPECT_EQ(dateOf({ "2010", "2010-05-04T10:11:12" }), "2010-05-04T10:11:12");
    EXPECT_EQ(dateOf({ "2010", "2011-05-04" }), "2010");
    EXPECT_EQ(dateOf({ "?", "2010-05", "2010" }), "2010-05");
}

TEST(TagTexts, AMarkInFrontIsNoText)
{
    TagTexts texts;
    texts.addUtf8OrLegacy(TagField::Title, bytesOf("\xEF\xBB\xBFTitle"));
    Facts facts;
    texts.putInto(facts);
    EXPECT_EQ(textOf(facts, fact::Title), "Title");
}

std::string place(std::string_view track, std::string_view total = {})
{
    TagTexts texts;
    texts.add(TagField::Track, track);
    texts.add(TagField::TrackTotal, total);
    Facts facts;
    texts.putInto(facts);
    return textOf(facts, fact::TrackNumber) + "/" + textOf(facts, fact::TrackTotal);
}

TEST(TagTexts, PlacesAndTotals)
{
    EXPECT_EQ(place("3"), "3/");
    EXPECT_EQ(place("03/12"), "3/12");
    EXPECT_EQ(place("3/12", "13"), "3/13");
    EXPECT_EQ(place("/12"), "/12");
    EXPECT_EQ(place("0/0"), "/");
    EXPECT_EQ(place("-1"), "/");
    EXPECT_EQ(place("A1"), "/");
    EXPECT_EQ(place("99999999999"), "/");
}

} // namespace
} // namespace mv::test
