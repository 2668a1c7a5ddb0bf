#pragma once

#include "application/NSConnection.h"
#include "tests/support/BusClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

namespace mv::test {

/// Adaptors over fake root objects, served on a bus of the test's own.
class AdaptorTest : public testing::Test {
protected:
    static constexpr const char* BusName = "MivoFake_1._0";

    void serve(std::unique_ptr<ServedObject> adaptor)
    {
        m_connection = NSConnection::serviceConnectionWithName("MivoFake_1.0", std::move(adaptor));
        ASSERT_NE(m_connection, nullptr);
        m_connection->runInNewThread();
    }
    Answer call(
        const char* interface, const char* member, const BusClient::Encode& arguments = {}, const char* path = "/")
    {
        return m_client.call(BusName, path, interface, member, arguments);
    }
    /// Serves an object of the client's for as long as the test.
    void exportDelegate(const char* path, const char* interface, const sd_bus_vtable* members, void* userdata)
    {
        sd_bus_slot* slot = nullptr;
        ASSERT_GE(sd_bus_add_object_vtable(m_client.bus(), &slot, path, interface, members, userdata), 0);
        m_slots.emplace_back(slot);
    }

    LogCapture m_log;
    PrivateBus m_bus;
    BusClient m_client;
    std::vector<BusSlot> m_slots;
    std::unique_ptr<NSConnection> m_connection;
};

} // namespace mv::test
