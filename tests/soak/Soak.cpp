// Long runs against the real service: every kind of job from many clients at once, and mutated files.
#include "tests/soak/Jobs.h"
#include "tests/soak/Mutator.h"
#include "tests/support/Corpus.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace {

using namespace mv;
using namespace mv::test;
using Clock = std::chrono::steady_clock;

constexpr const char* Usage = R"(mivo-soak mixed CLIENTS SECONDS      every kind of job from CLIENTS clients at once
mivo-soak calls CLIENTS COUNT        COUNT mixed calls; memory after each tenth of them
mivo-soak mutate SERVICE FOLDER COUNT [SEED]
                                     COUNT mutated files of a corpus folder described by a service ("MP3Parser")
Needs the corpus (../shared/corpus or $MIVO_CORPUS). Exit status 0 when the service answered everything and lives.
)";

/// A service that died answers nothing any more.
constexpr long TooManyLost = 100;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// Runs clients until `goOn` says no; the number of calls, and of calls without an answer. Every round calls
/// something else.
std::pair<long, long> runClients(int clients, int round, const std::function<bool(long calls)>& goOn)
{
    static const SoakFiles files = SoakFiles::ofCorpus();
    std::atomic<long> calls = 0;
    std::atomic<long> lost = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            SoakClient client(files, static_cast<std::uint64_t>(round * clients + i) + 1);
            while (goOn(calls++)) {
                if (!client.doOne() && ++lost > TooManyLost)
                    return;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    return { calls - clients, lost.load() };
}

/// Ends the service by its notification, so that sanitizers report at its exit.
int endService(ServiceProcess& service)
{
    BusClient client;
    sd_bus_emit_signal(
        client.bus(), "/", "Mivo.NSDistributedNotificationCenter", "notification", "ss", "MivoTerminitor", "Mivo");
    sd_bus_flush(client.bus());
    return service.waitForEnd();
}

int report(ServiceProcess& service, long calls, long lost, double seconds)
{
    bool alive = service.running();
    long resident = alive ? service.residentKiB() : -1;
    int status = endService(service);
    std::printf("%ld calls in %.1f s (%.0f a second), %ld not answered, service %s, %ld KiB resident, exit status %d\n",
        calls, seconds, static_cast<double>(calls) / seconds, lost, alive ? "alive" : "DEAD", resident, status);
    std::string log = service.log();
    for (const char* word :
        { "ERROR: AddressSanitizer", "runtime error:", "WARNING: ThreadSanitizer", "LeakSanitizer" }) {
        if (auto at = log.find(word); at != std::string::npos) {
            auto line = log.rfind('\n', at) + 1; // The place stands in front of the word.
            std::printf("%s\n", log.substr(line, 4000).c_str());
            return 1;
        }
    }
    return alive && lost == 0 && status == 0 ? 0 : 1;
}

int mixed(int clients, int seconds)
{
    ServiceProcess service;
    if (!service.waitUntilReady())
        return 1;
    auto start = Clock::now();
    auto [calls, lost] = runClients(clients, 0, [&](long) { return secondsSince(start) < seconds; });
    return report(service, calls, lost, secondsSince(start));
}

int countedCalls(int clients, long count)
{
    constexpr int Marks = 10;
    ServiceProcess service;
    if (!service.waitUntilReady())
        return 1;
    auto start = Clock::now();
    long calls = 0;
    long lost = 0;
    std::vector<long> resident;
    for (int mark = 0; mark < Marks; ++mark) {
        auto [more, lostHere] = runClients(clients, mark, [&](long done) { return done < count / Marks; });
        calls += more;
        lost += lostHere;
        resident.push_back(service.residentKiB());
        std::printf("after %ld calls: %ld KiB resident, %d threads\n", calls, resident.back(), service.threadCount());
        std::fflush(stdout);
    }
    std::printf("growth from the first mark to the last: %+ld KiB\n", resident.back() - resident.front());
    return report(service, calls, lost, secondsSince(start));
}

int mutate(const std::string& serviceName, const std::string& folder, long count, std::uint64_t seed)
{
    std::vector<Bytes> originals;
    std::vector<std::string> extensions;
    for (const std::string& name : corpusFiles(folder)) {
        originals.push_back(readFile(corpusFile(name)));
        auto dot = name.rfind('.');
        extensions.push_back(dot == std::string::npos ? "" : name.substr(dot));
    }
    ServiceProcess service;
    if (!service.waitUntilReady())
        return 1;
    pid_t process = service.pid();
    BusClient client;
    ScratchFolder scratch;
    std::mt19937_64 random(seed);
    auto start = Clock::now();
    long lost = 0;
    double slowest = 0;
    long peak = 0;
    for (long i = 0; i < count && service.running(); ++i) {
        std::size_t which = random() % originals.size();
        std::string path = scratch.write("file" + extensions[which], ByteView(mutated(originals[which], random)));
        auto before = Clock::now();
        Answer answer = client.call("Mivo" + serviceName + "_1._3._0._12062", "/", "Mivo.MVMediaInfoBuilder", "build",
            [&](WireWriter& out) { out.string(path); });
        double took = secondsSince(before);
        slowest = std::max(slowest, took);
        peak = std::max(peak, service.residentKiB());
        if (!answer.ok() && !answer.error.starts_with("Mivo.Exception.")) {
            ++lost;
            std::string kept = "/tmp/mivo-soak-" + std::to_string(seed) + "-" + std::to_string(i) + extensions[which];
            std::filesystem::copy_file(path, kept, std::filesystem::copy_options::overwrite_existing);
            std::printf("%s: %s (kept as %s)\n", answer.error.c_str(), answer.text.c_str(), kept.c_str());
        }
    }
    std::printf("slowest answer %.3f s, most resident %ld KiB, same process %s\n", slowest, peak,
        service.running() && service.pid() == process ? "yes" : "NO");
    return report(service, count, lost, secondsSince(start));
}

} // namespace

int main(int argumentCount, char** arguments)
{
    std::string mode = argumentCount > 1 ? arguments[1] : "";
    if (corpusFolder().empty() || argumentCount < 4) {
        std::fputs(Usage, stderr);
        return 2;
    }
    PrivateBus bus;
    if (mode == "mixed")
        return mixed(std::atoi(arguments[2]), std::atoi(arguments[3]));
    if (mode == "calls")
        return countedCalls(std::atoi(arguments[2]), std::atol(arguments[3]));
    if (mode == "mutate" && argumentCount >= 5)
        return mutate(arguments[2], arguments[3], std::atol(arguments[4]),
            argumentCount > 5 ? std::strtoull(arguments[5], nullptr, 10) : 1);
    std::fputs(Usage, stderr);
    return 2;
}
