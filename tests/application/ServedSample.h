#pragma once

#include "application/NSConnection.h"

#include "Base/Core/NSException.h"
#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace mv::test {

/// An object with one operation of each shape that matters to the transport.
class Sample final : public ServedObject {
public:
    Sample() { ++alive; }
    ~Sample() override { --alive; }
    std::span<const ServedInterface> interfaces() const override;

    void echo(Call& call) { call.reply().string(call.arguments().string()); }
    void raise(Call&) { throw NSException("NSInvalidArgumentException", "no such thing"); }
    void fail(Call&) { throw std::runtime_error("broken"); }
    void throwOddly(Call&) { throw 7; }
    void large(Call& call) { call.reply().record({ { "d", Bytes((32u << 20) + 1) } }); }
    void thread(Call& call)
    {
        std::ostringstream text;
        text << std::this_thread::get_id();
        call.reply().string(text.str());
    }
    void caller(Call& call) { call.reply().string(callingClient()); }
    void slow(Call&)
    {
        EXPECT_EQ(++m_inside, 1) << "one call at a time";
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        --m_inside;
    }
    void callBack(Call& call)
    {
        RemoteObject client(call.sender(), call.arguments().objectPath(), "Mivo.TestDelegate");
        int sum = 0;
        for (int i = 0; i < 100; ++i) {
            client.call(
                "progress", 5'000'000, [&](WireWriter& out) { out.integer(i); },
                [&](WireReader& in) { sum += in.integer(); });
        }
        call.reply().integer(sum);
    }
    void give(Call& call)
    {
        call.reply().objectPath(call.host().serveForClient(std::make_unique<Sample>(), call.sender()));
    }
    void release(Call& call) { call.host().withdraw(*this); }

    static inline std::atomic<int> alive = 0;

private:
    std::atomic<int> m_inside = 0;
};

inline constexpr const char* SampleService = "MivoTest_1.0";
inline constexpr const char* SampleBusName = "MivoTest_1._0";

/// A Sample that is served on a bus of its own.
class ServedSample : public testing::Test {
protected:
    ServedSample()
        : m_connection(NSConnection::serviceConnectionWithName(SampleService, std::make_unique<Sample>()))
    {
        m_connection->runInNewThread([this] { m_busDied = true; });
    }
    ~ServedSample() override { m_connection.reset(); }

    static Answer call(
        BusClient& client, const char* member, const BusClient::Encode& arguments = {}, const std::string& path = "/")
    {
        return client.call(SampleBusName, path, "Mivo.Test", member, arguments);
    }

    std::atomic<bool> m_busDied = false;
    PrivateBus m_bus;
    std::unique_ptr<NSConnection> m_connection;
};

} // namespace mv::test
