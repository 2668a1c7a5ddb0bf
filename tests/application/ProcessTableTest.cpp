#include "application/ProcessTable.h"

#include "Base/Core/Bytes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace mv {
namespace {

TEST(ProcessTable, HoldsThisProcessWithItsCommandName)
{
    prctl(PR_SET_NAME, "MivoTableReader");
    std::size_t size = 0;
    ASSERT_EQ(sysctlProcessTable(nullptr, &size), 0);
    Bytes table(10 * size); // whatever starts meanwhile
    size = table.size();
    ASSERT_EQ(sysctlProcessTable(table.data(), &size), 0);
    ASSERT_EQ(size % 492, 0u);
    std::map<std::int32_t, std::string> names;
    for (std::size_t at = 0; at < size; at += 492) {
        std::int32_t pid = 0;
        std::memcpy(&pid, &table[at + 24], sizeof pid);
        names[pid] = reinterpret_cast<const char*>(&table[at + 163]);
    }
    EXPECT_EQ(names[getpid()], "MivoTableReader");
    for (const auto& [pid, name] : names)
        EXPECT_LE(name.size(), 16u) << pid;
}

TEST(ProcessTable, ATooSmallBufferIsRefused)
{
    Bytes table(492);
    std::size_t size = 10;
    EXPECT_EQ(sysctlProcessTable(table.data(), &size), -1);
    EXPECT_EQ(errno, ENOMEM);
}

} // namespace
} // namespace mv
