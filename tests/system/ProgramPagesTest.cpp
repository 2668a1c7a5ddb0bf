#include "system/ProgramPages.h"

#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>

namespace mv {
namespace {

/// What is mapped of the mapping that an address lies in; KiB, or -1.
long residentAround(std::uintptr_t address)
{
    std::ifstream mappings("/proc/self/smaps");
    bool isIn = false;
    for (std::string line; std::getline(mappings, line);) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::istringstream words(line);
        if (words >> std::hex >> begin >> dash >> end && dash == '-')
            isIn = begin <= address && address < end;
        else if (isIn && line.starts_with("Rss:"))
            return std::stol(line.substr(4));
    }
    return -1;
}

/// Constants that nothing else reads.
constexpr std::size_t BlockKiB = 512;
const char Block[BlockKiB * 1024] = { 1 };

int sumOfBlock()
{
    const volatile char* bytes = Block; // as the compiler knows the sum
    return std::accumulate(bytes, bytes + sizeof(Block), 0);
}

TEST(ProgramPages, AreThereAgainWhenTheyAreUsed)
{
    const auto place = reinterpret_cast<std::uintptr_t>(&Block);
    ASSERT_EQ(sumOfBlock(), 1);
    const long before = residentAround(place);
    ASSERT_GE(before, static_cast<long>(BlockKiB));
    letGoOfProgramPages();
    EXPECT_LT(residentAround(place), before - static_cast<long>(BlockKiB) / 2);
    EXPECT_EQ(sumOfBlock(), 1);
    EXPECT_THROW(static_cast<void>(std::string("abc").at(5)), std::out_of_range);
}

} // namespace
} // namespace mv
