#include "service/job/WorkerWords.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

WorkerSetup through(const WorkerSetup& setup)
{
    const std::vector<std::string> words = wordsOf("/program", setup);
    const char* const pointers[] = { words[0].c_str(), words[1].c_str(), words[2].c_str() };
    return setupOf(pointers);
}

TEST(WorkerWords, CarryTheSetup)
{
    for (WorkerKind kind : { WorkerKind::Light, WorkerKind::Media }) {
        for (const char* zone : { "KST-9", ":/usr/share/zoneinfo/Asia/Seoul", "" }) {
            WorkerSetup setup = through({ kind, zone });
            EXPECT_EQ(setup.kind, kind);
            EXPECT_EQ(setup.zone, zone);
        }
    }
}

TEST(WorkerWords, WithoutThemAWorkerIsLightAndHasTheSystemsZone)
{
    const char* const odd[] = { "/program", "heavy" };
    for (std::span<const char* const> words : { std::span<const char* const>(), std::span<const char* const>(odd) }) {
        EXPECT_EQ(setupOf(words).kind, WorkerKind::Light);
        EXPECT_EQ(setupOf(words).zone, ":/etc/localtime");
    }
}

} // namespace
} // namespace mv
