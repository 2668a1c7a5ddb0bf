#include "system/ProgramPages.h"

#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>

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

TEST(ProgramPages, AreThereAgainWhenTheyAreUsed)
{
    // The C++ library's, of which far more is mapped by now than reading one file takes.
    auto libraryCode = reinterpret_cast<std::uintptr_t>(&std::__throw_out_of_range);
    const long before = residentAround(libraryCode);
    ASSERT_GT(before, 0);
    letGoOfProgramPages();
    EXPECT_LT(residentAround(libraryCode), before);
    EXPECT_THROW(static_cast<void>(std::string("abc").at(5)), std::out_of_range);
    letGoOfProgramPages();
    EXPECT_EQ(std::stod("2.5"), 2.5);
}

} // namespace
} // namespace mv
