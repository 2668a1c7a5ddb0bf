// How many MPEG-4 files are described in a second, and what reading one costs.
// Usage: bench_mp4 bus|overlapping|direct SECONDS FILE...   prints records and records a second
//        bench_mp4 structure FILE                           prints bytes read, reads, microseconds
#include "mp4/mp4.h"
#include "service/parsers/MP4Parser.h"
#include "system/InputFile.h"
#include "tests/support/BusClient.h"
#include "tests/support/CountingSource.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace mv {
namespace {

using Clock = std::chrono::steady_clock;
using Files = std::vector<std::string>;

constexpr const char* Service = "MivoMP4Parser_1._3._0._12062";

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

void print(std::size_t records, Clock::time_point start)
{
    std::printf("%zu %.0f\n", records, static_cast<double>(records) / secondsSince(start));
}

/// Describes one file after another for that long.
void benchInTurn(const Files& files, double seconds, const std::function<bool(const std::string&)>& describe)
{
    std::size_t done = 0;
    auto start = Clock::now();
    while (secondsSince(start) < seconds) {
        for (const std::string& file : files) {
            if (!describe(file)) {
                std::fprintf(stderr, "not described: %s\n", file.c_str());
                std::exit(1);
            }
            ++done;
        }
    }
    print(done, start);
}

/// Calls with several always on their way, as a client that imports a folder makes them.
void benchOverlapping(test::BusClient& client, const Files& files, double seconds)
{
    constexpr int Outstanding = 16;
    struct State {
        int inFlight = 0;
        std::size_t done = 0;
        bool failed = false;
    } state;
    auto answered = [](sd_bus_message* message, void* userdata, sd_bus_error*) {
        auto& shared = *static_cast<State*>(userdata);
        --shared.inFlight;
        ++shared.done;
        shared.failed = shared.failed || sd_bus_message_is_method_error(message, nullptr) != 0;
        return 0;
    };
    std::size_t next = 0;
    auto start = Clock::now();
    while (secondsSince(start) < seconds || state.inFlight > 0) {
        while (state.inFlight < Outstanding && secondsSince(start) < seconds) {
            sd_bus_call_method_async(client.bus(), nullptr, Service, "/", "Mivo.MVMediaInfoBuilder", "build", answered,
                &state, "s", files[next++ % files.size()].c_str());
            ++state.inFlight;
        }
        if (sd_bus_process(client.bus(), nullptr) == 0)
            sd_bus_wait(client.bus(), UINT64_MAX);
    }
    if (state.failed)
        std::exit(1);
    print(state.done, start);
}

void benchBus(const Files& files, double seconds, bool overlapping)
{
    test::PrivateBus bus;
    test::ServiceProcess service;
    service.waitUntilReady();
    test::BusClient client;
    auto describe = [&](const std::string& file) {
        auto answer = client.build(Service, file);
        return answer && *answer;
    };
    if (!describe(files[0]))
        std::exit(1);
    if (overlapping)
        benchOverlapping(client, files, seconds);
    else
        benchInTurn(files, seconds, describe);
}

void benchStructure(const std::string& path)
{
    auto start = Clock::now();
    auto input = InputFile::open(path);
    if (!input.ok())
        std::exit(1);
    test::CountingSource source(*input);
    auto file = Mp4File::open(StructureReader::borrowing(source));
    if (!file.ok())
        std::exit(1);
    MP4Tags tags;
    MP4TagsFetch(tags, *file);
    MP4GetTrackBitRate(*file, MP4FindTrackId(*file, 0, "soun", 0));
    double seconds = secondsSince(start);
    std::printf("%llu %llu %.0f\n", static_cast<unsigned long long>(source.bytesRead),
        static_cast<unsigned long long>(source.reads), seconds * 1e6);
}

} // namespace
} // namespace mv

int main(int count, char** arguments)
{
    if (count < 3)
        return 2;
    std::string mode = arguments[1];
    if (mode == "structure") {
        mv::benchStructure(arguments[2]);
        return 0;
    }
    mv::Files files(arguments + 3, arguments + count);
    double seconds = std::atof(arguments[2]);
    if (files.empty() || seconds <= 0)
        return 2;
    if (mode == "bus" || mode == "overlapping")
        mv::benchBus(files, seconds, mode == "overlapping");
    else
        mv::benchInTurn(files, seconds,
            [](const std::string& file) { return mv::MP4Parser {}.build(mv::OpenedFile::at(file)).has_value(); });
    return 0;
}
