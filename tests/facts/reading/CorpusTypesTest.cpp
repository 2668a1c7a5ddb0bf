// Types by content, beside what the desktop's own programs say of the files.
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

namespace mv::test {
namespace {

/// Where the desktop goes by the name and the content says something else.
const std::map<std::string, std::string> ByName {
    { "audio/sample_wb.amr", "audio/AMR-WB" }, // the wide band's own mark
    { "mp4/sample.mp4", "audio/mp4" }, // the brand is M4A
    { "video/sample_twos_pcm.mp4", "video/quicktime" }, // the brand is QuickTime
};

std::string typeOf(const std::string& line)
{
    constexpr std::string_view Mark = "content-type: ";
    auto at = line.find(Mark);
    return at == std::string::npos ? std::string() : line.substr(at + Mark.size());
}

std::string desktopsType(const std::string& name)
{
    std::istringstream lines(outputOf("gio info -a standard::content-type " + corpusQuoted(name)));
    std::string line;
    while (std::getline(lines, line)) {
        if (auto type = typeOf(line); !type.empty())
            return type;
    }
    return {};
}

TEST(CorpusTypes, AreTheDesktops)
{
    MV_NEEDS_CORPUS();
    if (!haveProgram("gio"))
        GTEST_SKIP() << "gio is not here (libglib2.0-bin)";
    int all = 0;
    for (const std::string& name : allCorpusFiles()) {
        auto facts = describedCorpusFile(name);
        if (!facts)
            continue;
        ++all;
        auto explained = ByName.find(name);
        std::string wanted = explained != ByName.end() ? explained->second : desktopsType(name);
        EXPECT_EQ(textOf(*facts, fact::MimeType), wanted) << name;
    }
    EXPECT_GT(all, 290);
}

TEST(CorpusTypes, WhatIsRefusedIsNoMedia)
{
    MV_NEEDS_CORPUS();
    // Of MIDI files there is no sound; the others are tags alone, empty, text, or broken.
    constexpr std::string_view Refused[] = { "audio/Twinkle.mid", "audio/format-0.mid", "audio/sample.mid",
        "bad/06 - missing streaminfo metadata block.flac", "bad/1024_incrementing_bytes.mp3", "bad/64bit.mp4",
        "bad/badwidth.bmp", "bad/broken.png", "bad/emptyfile.mp3", "bad/notanmp3.mp3",
        "bad/sample_malformed_free_box.mp4", "bad/tagged-mid-corrupted.wav", "bad/zero_width.gif",
        "mp3/github-issue-86a.id3", "mp3/github-issue-91.id3", "mp3/id3v24_extended_header.id3",
        "mp3/picard-2.12.3-id3v23-utf16.id3", "mp3/picard-2.12.3-id3v24-utf8.id3", "mp3/utf16-apic" };
    for (const std::string& name : allCorpusFiles()) {
        auto facts = describedCorpusFile(name);
        bool isRefused = std::find(std::begin(Refused), std::end(Refused), name) != std::end(Refused);
        EXPECT_EQ(facts.ok(), !isRefused) << name;
        if (!facts) {
            EXPECT_EQ(facts.error().kind, Error::Kind::Format) << name;
        }
    }
}

} // namespace
} // namespace mv::test
