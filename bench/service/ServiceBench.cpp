// The process itself: time from start to nine names, what it holds and how often it wakes while idle, and the
// latency of a call that does nothing.
#include "tests/support/BusClient.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ProcessTree.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <thread>
#include <vector>

namespace {

using namespace mv;
using namespace mv::test;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double percentile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<std::size_t>(share * static_cast<double>(values.size())))];
}

/// From fork to the ninth name, as the bus tells it.
double timeToReady()
{
    PrivateBus bus;
    BusClient client;
    bool ready = false;
    sd_bus_slot* slot = nullptr;
    std::string rule = "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='"
        + std::string(kServiceBusNames[8]) + "'";
    auto noted = [](sd_bus_message*, void* userdata, sd_bus_error*) {
        *static_cast<bool*>(userdata) = true;
        return 0;
    };
    sd_bus_add_match(client.bus(), &slot, rule.c_str(), noted, &ready);
    BusSlot match(slot);
    auto start = Clock::now();
    ServiceProcess service;
    client.serveUntil([&] { return ready; });
    return millisecondsSince(start);
}

/// The service and its workers.
std::vector<pid_t> processesOf(const ServiceProcess& service)
{
    std::vector<pid_t> all = childrenOf(service.pid());
    all.push_back(service.pid());
    return all;
}

template <class Number> long sumOver(const std::vector<pid_t>& processes, Number numberOf)
{
    return std::accumulate(
        processes.begin(), processes.end(), 0L, [&](long sum, pid_t process) { return sum + numberOf(process); });
}

/// Without a call so far, and some time after calls that needed FFmpeg.
void printIdle(const char* when, bool isUsed)
{
    constexpr int Seconds = 30;
    constexpr int UntilAllRetired = 12;
    PrivateBus bus;
    ServiceProcess service;
    service.waitUntilReady();
    ScratchFolder folder;
    if (isUsed)
        BusClient().build(std::string(kServiceBusNames[0]), folder.write("song.m4a", makeMp4({}).bytes));
    std::this_thread::sleep_for(std::chrono::seconds(isUsed ? UntilAllRetired : 1));
    std::vector<pid_t> processes = processesOf(service);
    long before = sumOver(processes, voluntarySwitches);
    std::this_thread::sleep_for(std::chrono::seconds(Seconds));
    std::printf("idle, %-14s %zu processes, %.1f MB Pss, %ld wake-ups in %d s, %d threads\n", when, processes.size(),
        static_cast<double>(sumOver(processes, proportionalKiB)) / 1000, sumOver(processes, voluntarySwitches) - before,
        Seconds, service.threadCount());
}

void printLatency()
{
    PrivateBus bus;
    ServiceProcess service;
    service.waitUntilReady();
    BusClient client;
    std::vector<double> micros;
    for (int i = 0; i < 20'000; ++i) {
        auto start = Clock::now();
        client.call(std::string(kServiceBusNames[1]), "/", "org.freedesktop.DBus.Peer", "Ping");
        micros.push_back(millisecondsSince(start) * 1000);
    }
    std::printf("ping          p50 %.0f us, p99 %.0f us\n", percentile(micros, 0.5), percentile(micros, 0.99));
}

} // namespace

int main()
{
    std::vector<double> starts;
    for (int i = 0; i < 30; ++i)
        starts.push_back(timeToReady());
    std::printf("start to nine names   p50 %.1f ms, worst of %zu %.1f ms\n", percentile(starts, 0.5), starts.size(),
        percentile(starts, 1.0));
    printIdle("before a call", false);
    printIdle("after movies", true);
    printLatency();
}
