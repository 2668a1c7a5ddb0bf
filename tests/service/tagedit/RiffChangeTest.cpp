#include "service/tagedit/RiffChange.h"
#include "tests/service/tagedit/EditedBytes.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::edited;
using test::id3Frame;
using test::id3Tag;
using test::littleEndian;
using test::titleChange;

std::string chunk(const std::string& id, const std::string& content)
{
    return id + littleEndian(static_cast<std::uint32_t>(content.size())) + content + std::string(content.size() % 2, 0);
}

std::string bigEndian(std::uint32_t value)
{
    std::string bytes = littleEndian(value);
    return { bytes.rbegin(), bytes.rend() };
}

std::string wave(const std::string& chunks)
{
    return "RIFF" + littleEndian(static_cast<std::uint32_t>(chunks.size() + 4)) + "WAVE" + chunks;
}

const std::string Format = chunk("fmt ", std::string("\1\0\1\0\x44\xac\0\0\x44\xac\0\0\1\0\x8\0", 16));

/// What the file says of its own size fits.
void expectWholeForm(const std::string& file)
{
    EXPECT_EQ(file.substr(4, 4), littleEndian(static_cast<std::uint32_t>(file.size() - 8)));
}

TEST(RiffChange, OtherChunksStay)
{
    std::string other = chunk("bext", "odd") + chunk("data", "samples") + chunk("LIST", "adtlabcd");
    std::string made = edited(wave(Format + other), titleChange("New"));
    EXPECT_EQ(made.find(Format + other), 12u) << made;
    EXPECT_NE(made.find(chunk("LIST", "INFO" + chunk("INAM", std::string("New\0", 4)))), std::string::npos);
    EXPECT_NE(made.find("id3 "), std::string::npos);
    expectWholeForm(made);
    EXPECT_EQ(edited(made, titleChange("")), wave(Format + other));
}

// An ID3v1 tag, or whatever else somebody wrote behind the form: as a chunk it would be longer than the file.
TEST(RiffChange, BytesBehindTheFormStayBehindIt)
{
    const std::string form = wave(Format + chunk("data", "samples"));
    for (const char* title : { "", "A", "AB", "Very foreign" }) {
        std::string foreign = std::string("TAG") + title;
        foreign.resize(128, '\0');
        std::string made = edited(form + foreign, titleChange("New"));
        ASSERT_TRUE(made.ends_with(foreign)) << title;
        expectWholeForm(made.substr(0, made.size() - foreign.size()));
        EXPECT_EQ(edited(made, titleChange("")), form + foreign) << title;
    }
    const std::string longer = "noise" + std::string(40, '\x7f');
    EXPECT_TRUE(edited(form + longer, titleChange("New")).ends_with(longer));
}

// There are readers of AIFF that do not know of the byte behind an odd chunk.
TEST(RiffChange, ANewTagHasAnEvenSize)
{
    for (const char* title : { "New", "Four" }) {
        std::string made = edited(wave(Format + chunk("data", "samples")), titleChange(title));
        std::size_t place = made.find("id3 ");
        ASSERT_NE(place, std::string::npos);
        EXPECT_EQ(made[place + 4] % 2, 0) << title;
    }
}

TEST(RiffChange, TextsOfTheListThatAreNotNamedStay)
{
    std::string list = "INFO" + chunk("ISFT", "program\xff") + chunk("INAM", "Old") + chunk("IART", "Who");
    std::string made = edited(wave(Format + chunk("LIST", list) + chunk("data", "12")), titleChange("New"));
    std::string changed
        = "INFO" + chunk("ISFT", "program\xff") + chunk("INAM", std::string("New\0", 4)) + chunk("IART", "Who");
    EXPECT_NE(made.find(chunk("LIST", changed)), std::string::npos);
    expectWholeForm(made);
}

// FFmpeg shows nothing of a tag beside a list.
TEST(RiffChange, BesideATagNoListIsMade)
{
    std::string tag = id3Tag(4, id3Frame(4, "TIT2", "\3Old") + id3Frame(4, "TPE1", "\3Who"));
    std::string made = edited(wave(Format + chunk("data", "12") + chunk("id3 ", tag)), titleChange("New"));
    EXPECT_EQ(made.find("INFO"), std::string::npos);
    EXPECT_NE(made.find("New"), std::string::npos);
    EXPECT_NE(made.find("Who"), std::string::npos);
    expectWholeForm(made);
}

// Who believes the tag does not look at the list.
TEST(RiffChange, ANewTagHasWhatTheListSays)
{
    std::string list = "INFO" + chunk("INAM", "Old") + chunk("IART", "Who") + chunk("ICRD", "2001")
        + chunk("ITRK", "05/12") + chunk("IPRT", "6") + chunk("IPRD", "\xB0\xA1\xB3\xAA\xB4\xD9")
        + chunk("IFRM", "many") + chunk("ISFT", "x");
    std::string made = edited(wave(Format + chunk("LIST", list) + chunk("data", "12")), titleChange("New"));
    std::string tag = made.substr(made.find("id3 "));
    for (const char* text : { "TIT2", "New", "TPE1", "Who", "TDRC", "2001", "TRCK", "5/12", "TALB", "가나다" })
        EXPECT_NE(tag.find(text), std::string::npos) << text;
    EXPECT_EQ(tag.find("many"), std::string::npos);
    // What goes makes no tag.
    EXPECT_EQ(edited(wave(Format + chunk("LIST", list) + chunk("data", "12")), titleChange("")).find("id3 "),
        std::string::npos);
}

TEST(RiffChange, APlaceKeepsItsOtherHalf)
{
    std::string list = "INFO" + chunk("ITRK", test::zeroed("3/12\0"));
    auto listAfter = [&](TagKey key, std::uint16_t number) {
        TagChanges changes;
        changes[key] = number == 0 ? TagChanges::Values() : TagChanges::Values { std::to_string(number) };
        std::string made = edited(wave(Format + chunk("LIST", list) + chunk("data", "12")), changes);
        return made.substr(made.find("LIST"), made.find("data") - made.find("LIST"));
    };
    EXPECT_EQ(listAfter(TagKey::TrackTotal, 0), chunk("LIST", "INFO" + chunk("ITRK", test::zeroed("3\0"))));
    EXPECT_EQ(listAfter(TagKey::TrackTotal, 20), chunk("LIST", "INFO" + chunk("ITRK", test::zeroed("3/20\0"))));
    EXPECT_EQ(listAfter(TagKey::Track, 8), chunk("LIST", "INFO" + chunk("ITRK", test::zeroed("8/12\0"))));
}

TEST(RiffChange, ANewTagHasWhatTextsOfAiffSay)
{
    std::string sound = "AIFFSSND" + bigEndian(10) + std::string(10, '\0');
    std::string texts = "NAME" + bigEndian(4) + "Old!" + "AUTH" + bigEndian(4) + "Who!";
    std::string body = sound + texts;
    std::string made = edited("FORM" + bigEndian(static_cast<std::uint32_t>(body.size())) + body, titleChange("New!"));
    std::string tag = made.substr(made.find("ID3 "));
    for (const char* text : { "TIT2", "New!", "TPE1", "Who!" })
        EXPECT_NE(tag.find(text), std::string::npos) << text;
}

TEST(RiffChange, AnOddLastChunkWithoutItsEvenByteGetsIt)
{
    std::string file = wave(Format + chunk("data", "odd"));
    file.pop_back();
    std::string made = edited(file, titleChange("New"));
    EXPECT_EQ(made.find(chunk("data", "odd") + "LIST"), 12 + Format.size());
    expectWholeForm(made);
}

TEST(RiffChange, AnOddLastTagWithoutItsEvenByteIsReplaced)
{
    // A list whose last text lacks its even byte, too; texts of AIFF.
    std::string list = "LIST" + littleEndian(17) + "INFOINAM" + littleEndian(5) + "abcde";
    std::string made = edited(wave(Format + chunk("data", "12") + list), titleChange("New"));
    std::string changed = chunk("LIST", "INFO" + chunk("INAM", std::string("New\0", 4)));
    EXPECT_EQ(made.find(changed + "id3 "), 12 + Format.size() + chunk("data", "12").size()) << made;
    expectWholeForm(made);
    std::string sound = "AIFFSSND" + bigEndian(10) + std::string(10, '\0');
    std::string aiff = "FORM" + bigEndian(100) + sound + "NAME" + bigEndian(3) + "Old";
    std::string named = "NAME" + bigEndian(5) + "Newer" + '\0' + "ID3 ";
    EXPECT_NE(edited(aiff, titleChange("Newer")).find(named), std::string::npos);
}

TEST(RiffChange, TagsGoBeforeSoundThatIsCutOff)
{
    std::string sound = "data" + littleEndian(1000) + "a few";
    std::string made = edited(wave(Format + sound), titleChange("New"));
    EXPECT_TRUE(made.ends_with(sound));
    EXPECT_NE(made.find("id3 "), std::string::npos);
    expectWholeForm(made);
}

TEST(RiffChange, SoundWhoseSizeWasNeverWrittenStays)
{
    // Samples where the next chunk would be: silence, such that look like a chunk of theirs, and hardly any.
    const std::string likeChunk = std::string("\1\0\2\0\4\0\0\0", 8) + "abcd";
    const std::string many[] { std::string(100, '\0'), std::string(100, 'z'), likeChunk, "abcd" };
    for (const std::string& samples : many) {
        std::string made = edited(wave(Format + chunk("data", "") + samples), titleChange("New"));
        EXPECT_TRUE(made.starts_with("error")) << made;
    }
    std::string aiff = "FORM" + bigEndian(100) + "AIFF" + "SSND" + bigEndian(8) + std::string(8, '\0') + likeChunk;
    EXPECT_TRUE(edited(aiff, titleChange("New")).starts_with("error"));
}

TEST(RiffChange, RecordingsOfNothingAreWritten)
{
    std::string file = wave(Format + chunk("data", "") + chunk("LIST", "adtlabcd"));
    std::string made = edited(file, titleChange("New"));
    EXPECT_EQ(made.find(file.substr(12)), 12u) << made;
    expectWholeForm(made);
}

TEST(RiffChange, PartsThatDoNotLeadToTheSoundStay)
{
    // Programs that write no even byte behind an odd list.
    std::string list = "LIST" + littleEndian(17) + "INFOINAM" + littleEndian(5) + "abcde";
    EXPECT_TRUE(edited(wave(Format + list + chunk("data", "samples")), titleChange("New")).starts_with("error"));
    EXPECT_TRUE(edited(wave(Format), titleChange("New")).starts_with("error"));
}

TEST(RiffChange, WideFormsAreNotWritten)
{
    std::string file = wave(Format + chunk("data", "12"));
    file.replace(0, 4, "RF64");
    EXPECT_TRUE(edited(file, titleChange("New")).starts_with("error"));
}

} // namespace
} // namespace mv
