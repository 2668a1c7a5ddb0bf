#include "cli/CoreShares.h"

#include <gtest/gtest.h>

namespace mv::cli {
namespace {

struct Row {
    std::vector<std::string> words;
    std::size_t files;
    unsigned machine;
    CoreShares expected;
};

constexpr std::array Options { Option { "jobs", "N", "", 0, numberFrom(1, 64) },
    Option { "cores", "N", "", 0, numberFrom(1, 16) } };

TEST(CoreShares, AreNeverMoreThanThereAre)
{
    const Row rows[] {
        // One file: what is free, or what was asked for.
        { {}, 1, 8, { 1, 0 } },
        { { "--cores", "3" }, 1, 8, { 1, 3 } },
        { { "--cores", "1", "--jobs", "4" }, 1, 8, { 1, 1 } },
        { {}, 1, 0, { 1, 0 } },
        // Several at once share them.
        { {}, 100, 8, { 8, 1 } },
        { {}, 3, 8, { 3, 2 } },
        { {}, 2, 1, { 1, 0 } },
        { {}, 2, 64, { 2, 16 } },
        { { "--jobs", "2" }, 100, 8, { 2, 4 } },
        { { "--jobs", "1" }, 100, 8, { 1, 0 } },
        { { "--jobs", "64" }, 100, 8, { 64, 1 } },
        { { "--cores", "4" }, 100, 8, { 2, 4 } },
        { { "--cores", "16" }, 100, 8, { 1, 16 } },
        { { "--cores", "3" }, 100, 8, { 2, 3 } },
        { { "--cores", "1" }, 100, 8, { 8, 1 } },
        { { "--cores", "4", "--jobs", "8" }, 100, 8, { 8, 1 } },
        { { "--cores", "4", "--jobs", "8" }, 3, 8, { 3, 2 } },
        { { "--cores", "2", "--jobs", "2" }, 100, 8, { 2, 2 } },
    };
    for (const Row& row : rows) {
        auto arguments = Arguments::parse(Options, row.words);
        ASSERT_TRUE(arguments.ok());
        CoreShares shares = coreShares(*arguments, row.files, row.machine);
        EXPECT_EQ(shares, row.expected) << testing::PrintToString(row.words) << row.files << " files on " << row.machine
                                        << ": " << shares.jobs << " x " << shares.cores;
    }
}

} // namespace
} // namespace mv::cli
