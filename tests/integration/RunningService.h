#pragma once

#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <gtest/gtest.h>

namespace mv::test {

/// The service, ready on a bus of its own.
class RunningService : public testing::Test {
protected:
    /// Runs `executable`, or the build's mivo-mediad.
    explicit RunningService(const std::string& executable = {})
        : m_service(executable)
    {
        m_ready = m_service.waitUntilReady();
    }
    void SetUp() override { ASSERT_TRUE(m_ready) << m_service.log(); }

    bool quit()
    {
        return sd_bus_emit_signal(m_client.bus(), "/", "Mivo.NSDistributedNotificationCenter", "notification", "ss",
                   "MivoTerminitor", "Mivo")
            >= 0
            && sd_bus_flush(m_client.bus()) >= 0;
    }

    PrivateBus m_bus;
    ServiceProcess m_service;
    BusClient m_client;

private:
    bool m_ready = false;
};

} // namespace mv::test
