#include "arguments/Arguments.h"
#include "arguments/Suggestion.h"

#include <array>
#include <gmock/gmock.h>

namespace mv {
namespace {

constexpr std::array Options {
    Option { "json", nullptr, "" },
    Option { "size", "WxH", "" },
    Option { "clear", "FIELD", "" },
};

TEST(Arguments, SortsOptionsFromFiles)
{
    auto arguments = Arguments::parse(Options, { "a", "--size", "3x4", "--json", "b", "-" });
    ASSERT_TRUE(arguments.ok());
    EXPECT_THAT(arguments->files(), testing::ElementsAre("a", "b", "-"));
    EXPECT_TRUE(arguments->has("json"));
    EXPECT_EQ(arguments->value("size"), "3x4");
    EXPECT_FALSE(arguments->has("clear"));
    EXPECT_EQ(arguments->value("clear", "none"), "none");
}

TEST(Arguments, TakesValuesBehindAnEqualsSignAndTheLastOneWins)
{
    auto arguments = Arguments::parse(Options, { "--size=1x1", "--size=2x=2", "--clear=a", "--clear", "b" });
    ASSERT_TRUE(arguments.ok());
    EXPECT_EQ(arguments->value("size"), "2x=2");
    EXPECT_THAT(arguments->values("clear"), testing::ElementsAre("a", "b"));
}

TEST(Arguments, AnOptionMayHaveALetter)
{
    constexpr std::array WithLetter { Option { "help", nullptr, "", 'h' }, Option { "log", nullptr, "" } };
    auto arguments = Arguments::parse(WithLetter, { "-h" });
    ASSERT_TRUE(arguments.ok());
    EXPECT_TRUE(arguments->has("help"));
    EXPECT_FALSE(Arguments::parse(WithLetter, { "-l" }).ok());
    EXPECT_FALSE(Arguments::parse(WithLetter, { "-hh" }).ok());
}

TEST(Suggestion, TheNearestWordWithinReason)
{
    const std::vector<std::string> kKnown { "describe", "dump", "encode", "export" };
    EXPECT_EQ(nearestWord("discribe", kKnown), "describe");
    EXPECT_EQ(nearestWord("DESC", kKnown), "describe");
    EXPECT_EQ(nearestWord("ecnode", kKnown), "encode");
    EXPECT_EQ(nearestWord("exprot", kKnown), "export");
    for (const char* strange : { "", "d", "play", "xxxxxxxx", "remove" })
        EXPECT_EQ(nearestWord(strange, kKnown), "") << strange;
    EXPECT_EQ(nearestWord(std::string(100'000, 'x'), kKnown), "");
    EXPECT_EQ(didYouMean("dmup", kKnown, "\""), "; did you mean \"dump\"?");
    EXPECT_EQ(didYouMean("play", kKnown), "");
}

TEST(Arguments, TwoDashesEndTheOptions)
{
    auto arguments = Arguments::parse(Options, { "--json", "--", "--size", "--" });
    ASSERT_TRUE(arguments.ok());
    EXPECT_THAT(arguments->files(), testing::ElementsAre("--size", "--"));
}

struct Misuse {
    std::vector<std::string> words;
    const char* text;
};

TEST(Arguments, SaysWhatIsWrong)
{
    const Misuse Rows[] = {
        { { "--nothing" }, "there is no option --nothing" },
        { { "-j" }, "there is no option -j" },
        { { "--jso" }, "there is no option --jso; did you mean --json?" },
        { { "--clera" }, "there is no option --clera; did you mean --clear?" },
        { { "-json" }, "there is no option -json; did you mean --json?" },
        { { "--size" }, "the option --size needs a value: WxH" },
        { { "--json=1" }, "the option --json takes no value" },
    };
    for (const Misuse& row : Rows) {
        auto arguments = Arguments::parse(Options, row.words);
        ASSERT_FALSE(arguments.ok()) << row.text;
        EXPECT_EQ(arguments.error().text, row.text);
    }
}

TEST(Arguments, ValuesAreCheckedByTheirKind)
{
    static constexpr std::array Modes { "mono", "stereo", "joint" };
    constexpr std::array WithKinds {
        Option { "bitrate", "KBITS", "", 0, numberFrom(8, 320) },
        Option { "mode", "MODE", "", 'm', oneOf(Modes) },
        Option { "to", "FOLDER", "", 0, aFolder() },
    };
    auto arguments
        = Arguments::parse(WithKinds, { "--bitrate", "9", "--bitrate=128", "-m", "joint", "--to", "no/such" });
    ASSERT_TRUE(arguments.ok());
    EXPECT_EQ(arguments->number("bitrate", 192), 128);
    EXPECT_EQ(arguments->choice("mode", Modes, "stereo"), 2u);
    EXPECT_EQ(arguments->value("to"), "no/such");
    auto without = Arguments::parse(WithKinds, {});
    EXPECT_EQ(without->number("bitrate", 192), 192);
    EXPECT_EQ(without->choice("mode", Modes, "stereo"), 1u);
    EXPECT_EQ(Arguments::parse(WithKinds, { "--bitrate=9999" }).error().text,
        "--bitrate takes a whole number from 8 to 320, not \"9999\"");
    EXPECT_EQ(Arguments::parse(WithKinds, { "--mode", "setreo" }).error().text,
        "--mode is one of: mono, stereo, joint; did you mean stereo?");
    EXPECT_FALSE(Arguments::parse(WithKinds, { "--mode=" }).ok());
}

TEST(Arguments, NumbersAreWholeAndInRange)
{
    EXPECT_EQ(*numberIn("track", "7", 1, 255), 7);
    for (const char* text : { "0", "256", "", "7x", " 7", "7.0", "99999999999" }) {
        auto number = numberIn("track", text, 1, 255);
        ASSERT_FALSE(number.ok()) << text;
        EXPECT_EQ(number.error().text, std::string("--track takes a whole number from 1 to 255, not \"") + text + "\"");
    }
}

} // namespace
} // namespace mv
