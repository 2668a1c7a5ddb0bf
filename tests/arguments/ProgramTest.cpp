#include "arguments/Program.h"

#include <array>
#include <gmock/gmock.h>

namespace mv {
namespace {

constexpr std::array Options {
    Option { "size", "PIXELS", "the longer side", 's' },
    Option { "version", nullptr, "show the version", 'V' },
    Option { "a-name-beyond-its-column", nullptr, "still apart" },
};
constexpr std::array Statuses { StatusMeaning { 0, "done" }, StatusMeaning { 130, "interrupted" } };

TEST(Program, HelpShowsWhatItTakesSortedByName)
{
    Program program { "mivo-sample", "[OPTION...] FILE", "Try things", "Nothing is kept.", Options, {}, Statuses };
    EXPECT_EQ(helpText(program),
        "Usage: mivo-sample [OPTION...] FILE\n\nTry things.\n\nNothing is kept.\n\nOptions:\n"
        "  --a-name-beyond-its-column still apart\n"
        "  -s, --size PIXELS      the longer side\n"
        "  -V, --version          show the version\n"
        "\nExit status:\n  0     done\n  130   interrupted\n");
}

TEST(Program, HelpLeavesOutWhatThereIsNot)
{
    Program program { "mivo-sample", "", "Try things", "", Options, {}, {} };
    EXPECT_THAT(helpText(program), testing::StartsWith("Usage: mivo-sample \n\nTry things.\n\nOptions:\n"));
    EXPECT_THAT(helpText(program), testing::Not(testing::HasSubstr("Exit status")));
}

} // namespace
} // namespace mv
