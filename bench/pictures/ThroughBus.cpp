// Describes and shrinks pictures in this process and through the real service over a private bus, with the same code:
// what the bus adds. Prints, for each file, the best of many as "FILE operation in-process-ms through-bus-ms added-ms".
//   bench_pictures_through_bus FILE...
// Or describes every file once through the service: files, seconds, CPU seconds and peak memory of the service.
//   bench_pictures_through_bus --batch FILE...

#include "service/image/UnifiedImageInfoBuider.h"
#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

using namespace mv;
using namespace mv::test;
using Clock = std::chrono::steady_clock;

constexpr int Repeats = 60;
const std::string Builder(kServiceBusNames[2]);

double bestMilliseconds(const std::function<void()>& work)
{
    double best = 1e9;
    for (int i = 0; i < Repeats; ++i) {
        auto start = Clock::now();
        work();
        best = std::min(best, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    return best;
}

void print(const std::string& file, const char* operation, double inProcess, double throughBus)
{
    std::printf("%s %s %.3f %.3f %.3f\n", file.c_str(), operation, inProcess, throughBus, throughBus - inProcess);
}

void compare(BusClient& client, const std::string& file)
{
    constexpr double Side = 200;
    UnifiedImageInfoBuilder builder;
    auto call = [&](const char* interface, const char* member, const BusClient::Encode& encode) {
        Answer answer = client.call(Builder, "/", interface, member, encode);
        if (!answer.ok())
            std::fprintf(stderr, "%s: %s\n", file.c_str(), answer.text.c_str());
    };
    print(file, "build", bestMilliseconds([&] { (void)builder.build(OpenedFile::at(file)); }), bestMilliseconds([&] {
        call("Mivo.MVMediaInfoBuilder", "build", [&](WireWriter& out) { out.string(file); });
    }));
    print(file, "thumbnail", bestMilliseconds([&] {
        (void)builder.makeThumbnailWithMaxSize(OpenedFile::at(file), { Side, Side });
    }),
        bestMilliseconds([&] {
            call("Mivo.MVImageInfoBuilder", "makeThumbnailWithMaxSize",
                [&](WireWriter& out) { out.string(file).realPair(Side, Side); });
        }));
}

/// User and system seconds, and the most memory that was resident, in megabytes.
std::pair<double, long> usageOf(pid_t process)
{
    std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
    std::string skipped;
    for (int i = 0; i < 13; ++i)
        stat >> skipped;
    long user = 0;
    long system = 0;
    stat >> user >> system;
    long peak = 0;
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            peak = std::atol(line.c_str() + 6) / 1024;
    }
    return { static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK)), peak };
}

void batch(BusClient& client, const ServiceProcess& service, const std::vector<std::string>& files)
{
    auto start = Clock::now();
    std::size_t records = 0;
    for (const std::string& file : files) {
        auto record = client.build(Builder, file);
        records += record && *record ? 1 : 0;
    }
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    auto [cpu, peak] = usageOf(service.pid());
    std::printf(
        "%zu files, %zu records: %.2f s, service CPU %.2f s, peak %ld MB\n", files.size(), records, seconds, cpu, peak);
}

} // namespace

int main(int count, char** arguments)
{
    std::vector<std::string> files(arguments + 1, arguments + count);
    bool inBatch = !files.empty() && files.front() == "--batch";
    if (inBatch)
        files.erase(files.begin());
    if (files.empty()) {
        std::fprintf(stderr, "usage: bench_pictures_through_bus [--batch] FILE...\n");
        return 2;
    }
    PrivateBus bus;
    ServiceProcess service;
    if (!service.waitUntilReady())
        return 1;
    BusClient client;
    if (inBatch) {
        batch(client, service, files);
        return 0;
    }
    for (const std::string& file : files)
        compare(client, file);
}
