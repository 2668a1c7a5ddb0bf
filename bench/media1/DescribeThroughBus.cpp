// Describes files by Mivo.Media1 over a private bus: one Describe after the other, 16 of them on their way, and
// DescribeMany by the thousand, one call after the other and two at once. Prints what was measured, files a second,
// and for single calls median and 99th percentile in microseconds.
// Usage: bench_media1 FILE...

#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"
#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using namespace mv;
using namespace mv::test;
using Clock = std::chrono::steady_clock;
using Files = std::vector<std::string>;

constexpr auto RunTime = std::chrono::seconds(3);
constexpr std::size_t ManyFiles = 1000;
const std::string Name(Media1Service);

void check(const Answer& answer)
{
    if (answer.ok())
        return;
    std::fprintf(stderr, "%s: %s\n", answer.error.c_str(), answer.text.c_str());
    std::exit(1);
}

void describeMany(BusClient& client, const Files& files)
{
    check(client.call(Name, Media1Path, wire::Media1::Interface, wire::Media1::DescribeMany, [&](WireWriter& out) {
        out.list("s", [&] {
            for (std::size_t i = 0; i < ManyFiles; ++i)
                out.string(files[i % files.size()]);
        });
        out.list("{sv}", [] {});
    }));
}

void runMany(const Files& files, std::size_t clients)
{
    constexpr int Calls = 10;
    auto begin = Clock::now();
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < clients; ++i) {
        threads.emplace_back([&] {
            BusClient client;
            for (int call = 0; call < Calls; ++call)
                describeMany(client, files);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::printf(
        "many, %zu at once: %.0f files/s\n", clients, static_cast<double>(clients * Calls * ManyFiles) / seconds);
}

/// Single calls of one client, so many of them on their way.
class Singles {
public:
    Singles(const Files& files, std::size_t window)
        : m_files(files)
        , m_window(window)
    {
    }
    void run()
    {
        m_end = Clock::now() + RunTime;
        for (std::size_t i = 0; i < m_window; ++i)
            send();
        m_client.serveUntil([this] { return m_open == 0; }, 2 * RunTime);
        std::sort(m_times.begin(), m_times.end());
        double perSecond = static_cast<double>(m_times.size()) / std::chrono::duration<double>(RunTime).count();
        std::printf("single, %zu on their way: %.0f files/s, median %.0f us, p99 %.0f us\n", m_window, perSecond,
            m_times[m_times.size() / 2], m_times[m_times.size() * 99 / 100]);
    }

private:
    struct Sent {
        Singles* owner;
        Clock::time_point at;
    };

    void send()
    {
        sd_bus_message* made = nullptr;
        if (sd_bus_message_new_method_call(
                m_client.bus(), &made, Name.c_str(), Media1Path, wire::Media1::Interface, wire::Media1::Describe)
            < 0)
            std::exit(1);
        BusMessage message(made);
        WireWriter(made).string(m_files[m_next++ % m_files.size()]).list("{sv}", [] {});
        ++m_open;
        auto* sent = new Sent { this, Clock::now() };
        if (sd_bus_call_async(m_client.bus(), nullptr, made, answered, sent, 0) < 0)
            std::exit(1);
    }
    static int answered(sd_bus_message* reply, void* userdata, sd_bus_error*)
    {
        std::unique_ptr<Sent> sent(static_cast<Sent*>(userdata));
        if (sd_bus_message_is_method_error(reply, nullptr))
            std::exit(1);
        sent->owner->m_times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - sent->at).count());
        --sent->owner->m_open;
        if (Clock::now() < sent->owner->m_end)
            sent->owner->send();
        return 1;
    }

    const Files& m_files;
    const std::size_t m_window;
    BusClient m_client;
    Clock::time_point m_end;
    std::size_t m_next = 0;
    std::size_t m_open = 0;
    std::vector<double> m_times;
};

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
    for (std::size_t window : { 1, 16 })
        Singles(files, window).run();
    for (std::size_t clients : { 1, 2 })
        runMany(files, clients);
}
