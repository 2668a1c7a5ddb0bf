// The process itself: time from start to nine names, what it holds and how often it wakes while idle, and the
// latency of a call that does nothing.
#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

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

long contextSwitches(pid_t process)
{
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:"))
                sum += std::atol(line.c_str() + 24);
        }
    }
    return sum;
}

void printIdle()
{
    PrivateBus bus;
    ServiceProcess service;
    service.waitUntilReady();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    long before = contextSwitches(service.pid());
    constexpr int Seconds = 10;
    std::this_thread::sleep_for(std::chrono::seconds(Seconds));
    std::printf("idle          %.1f MB resident, %ld wake-ups in %d s, %d threads\n",
        static_cast<double>(service.residentKiB()) / 1000, contextSwitches(service.pid()) - before, Seconds,
        service.threadCount());
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
    printIdle();
    printLatency();
}
