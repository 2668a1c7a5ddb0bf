// Describes files through the real service over a private bus: files a second and latency, for one client that waits
// for each answer and for four at once. Prints "clients files/s p50us p99us".
// Usage: bench_mp3_through_bus FILE...

#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using namespace mv;
using namespace mv::test;
using Clock = std::chrono::steady_clock;

constexpr auto RunTime = std::chrono::seconds(3);
const std::string Parser(kServiceBusNames[1]);

/// One client until the time is up: the microseconds of every call.
std::vector<double> describeAll(const std::vector<std::string>& files, std::size_t first, Clock::time_point end)
{
    BusClient client;
    std::vector<double> times;
    for (std::size_t i = first; Clock::now() < end; ++i) {
        const std::string& file = files[i % files.size()];
        auto begin = Clock::now();
        auto answer = client.call(
            Parser, "/", "Mivo.MVMediaInfoBuilder", "build", [&](WireWriter& writer) { writer.string(file); });
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
        if (!answer.ok()) {
            std::fprintf(stderr, "%s: %s\n", file.c_str(), answer.text.c_str());
            std::exit(1);
        }
    }
    return times;
}

void run(const std::vector<std::string>& files, std::size_t clients)
{
    std::vector<double> times;
    std::mutex lock;
    std::vector<std::thread> threads;
    auto end = Clock::now() + RunTime;
    for (std::size_t i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            auto own = describeAll(files, i * files.size() / clients, end);
            std::lock_guard guard(lock);
            times.insert(times.end(), own.begin(), own.end());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::sort(times.begin(), times.end());
    double perSecond = static_cast<double>(times.size()) / std::chrono::duration<double>(RunTime).count();
    std::printf("%zu %.0f %.0f %.0f\n", clients, perSecond, times[times.size() / 2], times[times.size() * 99 / 100]);
}

} // namespace

int main(int count, char** arguments)
{
    std::vector<std::string> files(arguments + 1, arguments + count);
    if (files.empty())
        return 2;
    PrivateBus bus;
    ServiceProcess service;
    if (!service.waitUntilReady())
        return 1;
    for (std::size_t clients : { 1, 4 })
        run(files, clients);
}
