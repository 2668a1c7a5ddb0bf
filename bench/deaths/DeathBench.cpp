// What a crash of a worker costs: how soon the call is answered, how soon the next one, and what another client has of
// it. Rounds with crashes and without take turns.
#include "tests/support/BusClient.h"
#include "tests/support/FaultyPrograms.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using namespace mv;
using namespace mv::test;
using Clock = std::chrono::steady_clock;

constexpr int Rounds = 10;
constexpr int CallsOfARound = 400;
constexpr int Crashes = 200;
constexpr int CrashesNowAndThen = 50;
constexpr auto UntilTheNextSpareWaits = std::chrono::milliseconds(800);

std::string song() { return id3Tag(3, id3Frame(3, "TIT2", std::string(1, '\0') + "Tone")) + mpegFrames(40); }

struct Times {
    std::vector<double> milliseconds;

    double at(double share)
    {
        std::sort(milliseconds.begin(), milliseconds.end());
        std::size_t place = static_cast<std::size_t>(share * static_cast<double>(milliseconds.size()));
        return milliseconds[std::min(milliseconds.size() - 1, place)];
    }
    void print(const char* name)
    {
        std::printf("%-46s p50 %6.2f  p99 %6.2f  worst %6.2f ms\n", name, at(0.5), at(0.99), at(1));
    }
};

/// A description, timed; ends the program when it is not as expected.
void describe(BusClient& client, const std::string& service, const std::string& path, bool isThere, Times& times)
{
    auto start = Clock::now();
    auto record = client.build(service, path);
    times.milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    if (!record || record->has_value() != isThere) {
        std::printf("%s was answered otherwise\n", path.c_str());
        std::exit(1);
    }
}

/// Nine names: MP3 is the second, basic audio the ninth.
const std::string& mp3() { return kServiceBusNames[1]; }
const std::string& audio() { return kServiceBusNames[8]; }

/// Ends one worker after the other in another service, until the end of the scope.
class Saboteur {
public:
    explicit Saboteur(const ScratchFolder& folder)
        : m_folder(folder)
        , m_thread([this] { run(); })
    {
    }
    ~Saboteur()
    {
        m_ends = true;
        m_thread.join();
    }

private:
    void run()
    {
        BusClient client;
        Times unused;
        while (!m_ends) {
            std::string name = "crash-at-job " + std::to_string(s_count++) + ".ogg";
            describe(client, audio(), m_folder.write(name, song()), false, unused);
        }
    }

    static inline int s_count = 0;
    const ScratchFolder& m_folder;
    std::atomic<bool> m_ends = false;
    std::thread m_thread;
};

void printOneClient(
    const ScratchFolder& folder, const std::string& good, const char* when, int count, std::chrono::milliseconds rest)
{
    BusClient client;
    Times usual, crashes, next;
    for (int i = 0; i < count; ++i) {
        std::string harmful = folder.write("crash-at-job " + std::string(when) + std::to_string(i) + ".mp3", song());
        describe(client, mp3(), good, true, usual);
        describe(client, mp3(), harmful, false, crashes);
        describe(client, mp3(), good, true, next);
        std::this_thread::sleep_for(rest);
    }
    std::printf("crashes %s\n", when);
    usual.print("  a call");
    crashes.print("  one whose worker crashes");
    next.print("  the next one");
}

void printOtherClient(const ScratchFolder& folder, const std::string& good)
{
    BusClient client;
    Times undisturbed, disturbed;
    for (int round = 0; round < Rounds; ++round) {
        for (int i = 0; i < CallsOfARound; ++i)
            describe(client, mp3(), good, true, undisturbed);
        Saboteur saboteur(folder);
        for (int i = 0; i < CallsOfARound; ++i)
            describe(client, mp3(), good, true, disturbed);
    }
    undisturbed.print("another client, undisturbed");
    disturbed.print("another client, while workers crash");
}

} // namespace

int main()
{
    PrivateBus bus;
    FaultyPrograms programs;
    ServiceProcess service(programs.service());
    if (!service.waitUntilReady())
        return 1;
    ScratchFolder folder;
    std::string good = folder.write("good.mp3", song());
    printOneClient(folder, good, "now and then", CrashesNowAndThen, UntilTheNextSpareWaits);
    printOneClient(folder, good, "one after the other", Crashes, {});
    printOtherClient(folder, good);
}
