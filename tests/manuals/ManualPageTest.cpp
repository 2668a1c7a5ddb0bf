#include "manuals/Completion.h"
#include "manuals/Roff.h"

#include <array>
#include <gmock/gmock.h>

namespace mv::manuals {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::vector<std::string> kValues { "FILE", "SIZE" };

TEST(Roff, WhatTypesettingWouldChangeStaysItself)
{
    EXPECT_EQ(roffText("it's a \"C:\\x\" ~^`"), "it\\(aqs a \\(dqC:\\ex\\(dq \\(ti\\(ha\\(ga");
    EXPECT_EQ(roffText("well-kept"), "well-kept");
    EXPECT_EQ(roffLiteral("--no-tags"), "\\-\\-no\\-tags");
}

TEST(Roff, OptionsAndValuesHaveTheirFonts)
{
    EXPECT_EQ(roffProse("with --json: FILE, (--size SIZE) and well-known FILES", kValues),
        "with \\fB\\-\\-json\\fR: \\fIFILE\\fR, (\\fB\\-\\-size\\fR \\fISIZE\\fR) and well-known\nFILES\n");
    EXPECT_EQ(roffProse("- is standard input", kValues), "- is standard input\n");
}

TEST(Roff, NoLineBeginsWithARequest)
{
    EXPECT_EQ(roffProse(".mp3 and 'x'", {}), "\\&.mp3 and \\(aqx\\(aq\n");
    for (std::size_t width = 60; width < 90; ++width)
        EXPECT_THAT(roffProse(std::string(width, 'x') + " .mp3", {}), Not(HasSubstr("\n.")));
}

TEST(Roff, ExamplesStandAsTheyAre)
{
    EXPECT_EQ(roffParagraphs("One thing.\n\nAnother:\n  a -b | c", {}),
        "One thing.\n.PP\nAnother:\n.PP\n.RS 4\n.EX\na \\-b | c\n.EE\n.RE\n");
}

TEST(Roff, EachFormOfASynopsisHasItsLine)
{
    EXPECT_EQ(roffSynopsis("mivo encode", "[OPTION...] FILE OUT.mp3 | --to FOLDER FILE..."),
        "\\fBmivo encode\\fR [\\fIOPTION\\fR...] \\fIFILE\\fR \\fIOUT\\fR.mp3\n.br\n"
        "\\fBmivo encode\\fR \\fB\\-\\-to\\fR \\fIFOLDER\\fR \\fIFILE\\fR...\n");
}

constexpr std::array Modes { "mono", "joint" };
constexpr std::array Options {
    Option { "mode", "MODE", "mono (default) or joint", 'm', oneOf(Modes) },
    Option { "quiet", nullptr, "say 'nothing' [at all]" },
};
constexpr std::array Files { aFolder(), aFile("mp3 m4a") };
constexpr std::array Statuses { StatusMeaning { 0, "done" } };
const Program kProgram { "mivo-sample", "[OPTION...] FOLDER FILE", "Try things", "", Options, Files, Statuses };

TEST(ManualPage, HasTheUsualSections)
{
    const std::vector<std::string> seeAlso { "mivo" };
    std::string page = manualPage(kProgram, {}, "More.\n.SH FILES\nNone.\n", seeAlso, { "1.2", "2026-01-02" });
    const char* sections[] = { "\n.TH MIVO\\-SAMPLE 1 2026-01-02 \"mivo 1.2\"",
        "\n.SH NAME\nmivo\\-sample \\- try things\n", "\n.SH SYNOPSIS\n", "\n.SH DESCRIPTION\nTry things.\nMore.\n",
        "\n.SH OPTIONS\n", "\\fB\\-m\\fR, \\fB\\-\\-mode\\fR \\fIMODE\\fR\nmono (default) or joint.\n",
        "\nSay \\(aqnothing\\(aq [at all].\n", "\n.SH FILES\nNone.\n", "\n.SH EXIT STATUS\n.TP\n\\fB0\\fR\nDone.\n",
        "\n.SH SEE ALSO\n.BR mivo (1)\n" };
    std::size_t at = 0;
    for (const char* section : sections) {
        auto found = page.find(section, at);
        ASSERT_NE(found, std::string::npos) << section << "\n" << page;
        at = found;
    }
}

TEST(Completion, AProgramWithoutCommandsHasItsOptions)
{
    Tool tool { kProgram, {}, {} };
    EXPECT_THAT(bashCompletion(tool), HasSubstr("-m|--mode) COMPREPLY=($(compgen -W 'mono joint'"));
    EXPECT_THAT(bashCompletion(tool), HasSubstr("1) _filedir '@(mp3|m4a)' ;;"));
    EXPECT_THAT(bashCompletion(tool), HasSubstr("complete -F _mivo-sample mivo-sample"));
    EXPECT_THAT(
        zshCompletion(tool), HasSubstr("'(-m --mode)'{-m+,--mode=}'[mono (default) or joint]:MODE:(mono joint)'"));
    EXPECT_THAT(zshCompletion(tool), HasSubstr("'--quiet[say '\\''nothing'\\'' \\[at all\\]]'"));
    EXPECT_THAT(fishCompletion(tool), HasSubstr("complete -c mivo-sample -l quiet -d 'say \\'nothing\\' [at all]'"));
}

} // namespace
} // namespace mv::manuals
