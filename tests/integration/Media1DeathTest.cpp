#include "tests/integration/Attempt.h"
#include "tests/integration/FaultyService.h"
#include "tests/integration/Media1Client.h"
#include "tests/integration/Operations.h"
#include "tests/support/ProcessTree.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <thread>

// Mivo.Media1 where workers crash, lie and hang, and where clients leave.

namespace mv {
namespace {

using test::Media1Answer;
using test::Media1Client;

class Media1Death : public test::FaultyService {
protected:
    std::string song(const std::string& name) { return m_folder.write(name, test::song()); }
    void expectNothingLeft()
    {
        // The spare, and what waits for this client's next call.
        EXPECT_TRUE(test::eventually([&] {
            auto children = test::childrenOf(m_service.pid());
            return children.size() <= 3 && std::ranges::none_of(children, test::isZombie);
        }));
    }

    test::ScratchFolder m_folder;
    Media1Client m_media { m_client };
};

class Media1DeathBy : public Media1Death, public testing::WithParamInterface<const char*> { };

TEST_P(Media1DeathBy, CostsItsOwnFile)
{
    std::string bad = song(std::string(GetParam()) + "-at-job.mp3");
    Media1Answer answer = m_media.describe(bad);
    EXPECT_EQ(answer.error, "Crashed");
    EXPECT_EQ(answer.text.find(m_folder.path()), std::string::npos) << answer.text;
    EXPECT_TRUE(m_media.describe(song("good.mp3")).ok());
    EXPECT_EQ(m_media.thumbnail(song(std::string(GetParam()) + "-at-job-too.mp3"), 100).error, "Crashed");
    expectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Every, Media1DeathBy,
    testing::Values("crash", "abort", "trap", "leave", "garbage", "lie", "turn", "kind", "length", "half"),
    [](const auto& row) { return std::string(row.param); });

// Neither interface blames a file for what one before it did to the worker.
TEST_F(Media1Death, WhatAnotherFileDidIsNotBlamedOnThisOne)
{
    std::string spoiling = song("spoil-at-job.mp3");
    std::string good = song("good.mp3");
    test::Operation classic = test::operationOf("mp3");
    auto describe = [&](const std::string& path) {
        auto answer = m_client.call(classic.service, "/", classic.interface, classic.member,
            [&](WireWriter& out) { classic.arguments(out, path, {}); });
        return answer.ok() ? classic.value(answer.reader()) : answer.error;
    };
    EXPECT_EQ(describe(spoiling).substr(0, 8), "a record");
    EXPECT_EQ(describe(good).substr(0, 8), "a record");
    EXPECT_TRUE(m_media.describe(spoiling).ok());
    EXPECT_TRUE(m_media.describe(good).ok());
    EXPECT_EQ(m_service.log().find("was lost"), std::string::npos) << m_service.log();
}

class Media1TagDeathBy : public Media1Death, public testing::WithParamInterface<const char*> { };

TEST_P(Media1TagDeathBy, LeavesTheOldFileAndNothingBesideIt)
{
    const test::Media1Options tags { test::textOption("xesam:title", "new") };
    std::string bad = song(std::string(GetParam()) + ".mp3");
    for (int i = 0; i < 2; ++i) {
        Media1Answer answer = m_media.setTags(bad, tags);
        EXPECT_EQ(answer.error, "Crashed") << answer.text;
        EXPECT_EQ(answer.text.find(m_folder.path()), std::string::npos) << answer.text;
    }
    EXPECT_EQ(m_media.describe(bad).fact("xesam:title"), m_media.describe(song("good.mp3")).fact("xesam:title"));
    EXPECT_EQ(m_media.setTags(song("good.mp3"), tags).fact("xesam:title"), "s new");
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.path()))
        files += entry.is_regular_file();
    EXPECT_EQ(files, 2u);
    expectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Every, Media1TagDeathBy,
    testing::Values("crash-at-plan", "crash-at-check", "garbage-at-plan", "leave-at-check", "turn-at-plan"),
    [](const auto& row) {
        std::string name = row.param;
        std::erase(name, '-');
        return name;
    });

std::size_t linesWith(const std::string& log, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = log.find(part); at != std::string::npos; at = log.find(part, at + 1))
        ++count;
    return count;
}

TEST_F(Media1Death, OfManyTheCulpritAloneIsBlamed)
{
    std::vector<std::string> paths;
    for (int i = 0; i < 100; ++i)
        paths.push_back(song((i % 25 == 7 ? "crash-at-job-" : "good-") + std::to_string(i) + ".mp3"));
    Media1Answer answer = m_media.describeMany(paths);
    ASSERT_EQ(answer.files.size(), paths.size()) << answer.error << answer.text;
    for (std::size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(answer.fact("mivo:error", i), i % 25 == 7 ? "s Mivo.Media1.Error.Crashed" : "") << i;
    EXPECT_EQ(linesWith(m_service.log(), "was lost"), 4u) << m_service.log();

    // The second scan of the folder costs no worker.
    EXPECT_EQ(m_media.describeMany(paths).fact("mivo:error", 7), "s Mivo.Media1.Error.Crashed");
    EXPECT_EQ(m_media.describe(paths[7]).error, "Crashed");
    EXPECT_EQ(linesWith(m_service.log(), "was lost"), 4u) << m_service.log();
    expectNothingLeft();
}

TEST_F(Media1Death, WithoutMemoryACallFailsAndTheNextOneDoesNot)
{
    std::string error = m_media.describe(song("memory-at-job.mp3")).error;
    EXPECT_TRUE(error == "TooLarge" || error == "Crashed") << error;
    EXPECT_TRUE(m_media.describe(song("good.mp3")).ok());
}

/// Workers that are at their jobs.
std::size_t workersOf(pid_t service) { return test::childrenOf(service).size(); }

TEST_F(Media1Death, AClientThatLeavesTakesItsWorkWithIt)
{
    ASSERT_TRUE(m_media.describe(song("good.mp3")).ok());
    std::vector<std::string> paths;
    for (int i = 0; i < 200; ++i)
        paths.push_back(song("silence-at-job-" + std::to_string(i) + ".mp3"));
    std::vector<pid_t> before = test::childrenOf(m_service.pid());
    {
        test::BusClient leaves;
        Media1Client::send(leaves, paths);
        ASSERT_TRUE(test::eventually([&] {
            auto now = test::childrenOf(m_service.pid());
            return std::ranges::any_of(now, [&](pid_t p) { return std::ranges::find(before, p) == before.end(); });
        }));
    }
    // None waits for its 22 seconds: nothing is heard of them, and nothing of theirs stays.
    auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(test::eventually([&] { return workersOf(m_service.pid()) <= 3; }));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15)) << "long before a deadline";
    EXPECT_EQ(m_service.log().find("was lost"), std::string::npos) << "nobody is to blame: " << m_service.log();
    EXPECT_TRUE(m_media.describe(song("next.mp3")).ok());
}

TEST_F(Media1Death, AClientWhoseFilesHangKeepsNobodyWaiting)
{
    std::vector<std::string> paths;
    for (int i = 0; i < 64; ++i)
        paths.push_back(song("silence-at-job-" + std::to_string(i) + ".mp3"));
    test::BusClient slow;
    Media1Client::send(slow, paths);
    // Every core's share of it hangs now; another client is served all the same, and the classic services are.
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(m_media.describe(song("good.mp3")).ok());
        EXPECT_TRUE(m_client.build("MivoMP3Parser_1._3._0._12062", song("good.mp3")).has_value());
    }
}

int noteRefusal(sd_bus_message* reply, void* userdata, sd_bus_error*)
{
    *static_cast<int*>(userdata)
        += sd_bus_message_is_method_error(reply, "org.freedesktop.DBus.Error.LimitsExceeded") > 0;
    return 1;
}

/// For this process and those that it starts, as long as it lives.
class FewDescriptors {
protected:
    static constexpr rlim_t Count = 512;

    FewDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit few { std::min(Count, m_before.rlim_max), m_before.rlim_max };
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before {};
};

class Media1OfFewDescriptors : private FewDescriptors, public Media1Death {
protected:
    using FewDescriptors::Count;
};

TEST_F(Media1OfFewDescriptors, HandlesWithoutEndLeaveTheOtherServicesSome)
{
    UniqueFd file(open(song("any.mp3").c_str(), O_RDONLY));
    test::BusClient floods;
    int refused = 0;
    for (rlim_t i = 0; i < Count; ++i) {
        ASSERT_GE(sd_bus_call_method_async(floods.bus(), nullptr, std::string(Media1Service).c_str(), Media1Path,
                      wire::Media1::Interface, wire::Media1::DescribeFile, noteRefusal, &refused, "hsa{sv}", file.get(),
                      "silence-at-job.mp3", 0),
            0);
        sd_bus_flush(floods.bus());
    }
    floods.serveUntil([&] { return refused > 0; });
    EXPECT_GT(refused, 0);
    EXPECT_TRUE(m_client.build("MivoMP3Parser_1._3._0._12062", song("good.mp3")).has_value());
    EXPECT_TRUE(m_media.describe(song("good.mp3")).ok());
}

TEST_F(Media1Death, QuittingWaitsForNoHangingFileLong)
{
    test::BusClient slow;
    Media1Client::send(slow, { song("silence-at-job.mp3") });
    ASSERT_TRUE(m_media.describe(song("good.mp3")).ok());
    ASSERT_TRUE(quit());
    EXPECT_EQ(m_service.waitForEnd(), 0);
}

} // namespace
} // namespace mv
