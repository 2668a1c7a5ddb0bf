#include "tests/sandbox/ClosedChild.h"

#include "tests/support/Instrumented.h"
#include "tests/support/Scratch.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

// What a closed process may do, and what keeps it from being closed.

namespace mv {
namespace {

constexpr int Good = 0;
constexpr int Bad = 1;

class Sandbox : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_CLOSED_PROCESSES(); }
    static void expectGood(const std::function<int()>& work, const Limits& limits = test::WideLimits)
    {
        test::ChildEnd end = test::inClosedChild(test::Locks::All, work, limits);
        EXPECT_EQ(end.signal, 0);
        EXPECT_EQ(end.exitCode, Good);
    }

    test::ScratchFolder folder;
};

TEST_F(Sandbox, ReadsWhatIsOpen)
{
    int input = open(folder.write("a", "12345").c_str(), O_RDONLY | O_CLOEXEC);
    expectGood([&] {
        std::array<char, 8> text {};
        struct stat facts { };
        // Not fstat(), which is a call that may take a name.
        return pread(input, text.data(), text.size(), 1) == 4 && std::strcmp(text.data(), "2345") == 0
                && syscall(SYS_fstat, input, &facts) == 0 && facts.st_size == 5
            ? Good
            : Bad;
    });
    close(input);
}

TEST_F(Sandbox, WritesIntoWhatIsOpenUpToTheLimit)
{
    std::string path = folder.file("out");
    int output = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    Limits limits = test::WideLimits;
    limits.fileBytes = 4096;
    expectGood(
        [&] {
            std::vector<char> block(4096, 'x');
            bool fits = pwrite(output, block.data(), block.size(), 0) == 4096;
            bool tooMuch = pwrite(output, block.data(), 1, 4096) < 0 && errno == EFBIG;
            return fits && tooMuch ? Good : Bad;
        },
        limits);
    close(output);
    EXPECT_EQ(test::readFile(path).size(), 4096u);
}

TEST_F(Sandbox, RunsThreadsOfItsOwn)
{
    expectGood([] {
        int sum = 0;
        std::thread one([&] { sum = 41; });
        one.join();
        std::thread two([&] { ++sum; });
        two.join();
        return sum == 42 ? Good : Bad;
    });
}

TEST_F(Sandbox, ThrowsAndCatches)
{
    expectGood([] {
        try {
            throw std::runtime_error("thrown");
        } catch (const std::exception&) {
            return Good;
        }
        return Bad;
    });
}

TEST_F(Sandbox, ALimitThatWasThereBeforeAndIsLowerStays)
{
    test::ChildEnd end = test::inChild([] {
        constexpr rlim_t Lower = 512u << 20;
        constexpr uid_t NobodyInParticular = 65534;
        const rlimit given { Lower, Lower };
        rlimit now {};
        bool isClosed = setrlimit(RLIMIT_DATA, &given) == 0 && (getuid() != 0 || setuid(NobodyInParticular) == 0)
            && applyLimits(test::WideLimits).ok();
        return isClosed && getrlimit(RLIMIT_DATA, &now) == 0 && now.rlim_max == Lower ? Good : Bad;
    });
    EXPECT_EQ(end.exitCode, Good);
}

TEST_F(Sandbox, MemoryEndsAtTheLimit)
{
    Limits limits = test::WideLimits;
    limits.memoryBytes = 64 << 20;
    expectGood(
        [] {
            std::unique_ptr<void, decltype(&free)> some(malloc(16 << 20), free);
            std::unique_ptr<void, decltype(&free)> tooMuch(malloc(64 << 20), free);
            return some && !tooMuch ? Good : Bad;
        },
        limits);
}

TEST_F(Sandbox, TimeEndsAtTheLimit)
{
    Limits limits = test::WideLimits;
    limits.cpuSeconds = 1;
    test::ChildEnd end = test::inClosedChild(
        test::Locks::All,
        [] {
            for (std::atomic<unsigned> turns = 0;; ++turns) { }
            return Bad;
        },
        limits);
    EXPECT_EQ(end.signal, SIGXCPU);
}

TEST_F(Sandbox, DescriptorsEndAtTheLimit)
{
    Limits limits = test::WideLimits;
    limits.descriptors = 16;
    expectGood(
        [] {
            int count = 0;
            while (dup(0) >= 0 && count < 100)
                ++count;
            return count < 16 ? Good : Bad;
        },
        limits);
}

TEST_F(Sandbox, UnknownCallsAreMissing)
{
    expectGood([] { return syscall(SYS_sync) < 0 && errno == ENOSYS ? Good : Bad; });
}

TEST_F(Sandbox, UnknownCallsEndAProcessThatIsToFindThem)
{
    test::ChildEnd end = test::inChild([] {
        if (!closeSandbox(test::WideLimits, UnknownCall::Trapped))
            return test::CouldNotClose;
        syscall(SYS_sync);
        return Bad;
    });
    EXPECT_EQ(end.signal, SIGSYS);
}

TEST_F(Sandbox, AttackersCallsEndTheProcess)
{
    test::ChildEnd end = test::inClosedChild(test::Locks::All, [] {
        execl("/bin/true", "true", static_cast<char*>(nullptr));
        return Bad;
    });
    EXPECT_EQ(end.signal, SIGSYS);
}

TEST_F(Sandbox, IsRefusedWhereAThreadRunsAlready)
{
    test::ChildEnd end = test::inChild([] {
        std::thread([] { pause(); }).detach();
        auto closed = closeSandbox(test::WideLimits);
        return !closed && closed.error().text.find("2 threads") != std::string::npos ? Good : Bad;
    });
    EXPECT_EQ(end.exitCode, Good);
}

TEST_F(Sandbox, IsRefusedWhereALockCannotBeClosed)
{
    // Behind a filter no other can be loaded, as in a kernel without filters.
    test::ChildEnd end
        = test::inClosedChild(test::Locks::FilterAlone, [] { return closeBySyscallFilter().ok() ? Bad : Good; });
    EXPECT_EQ(end.exitCode, Good);
}

} // namespace
} // namespace mv
