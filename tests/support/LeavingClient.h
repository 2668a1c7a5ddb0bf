#pragma once

#include "tests/support/BusClient.h"

#include <string>

namespace mv::test {

/// A client whose delegate never answers: whoever has asked it waits until the client leaves the bus, which it does at
/// the end of the scope.
class LeavingClient {
public:
    /// Serves the delegate, which takes every message of the interface.
    LeavingClient(const std::string& path, std::string interface);

    sd_bus* bus() const { return m_client.bus(); }
    /// Sends a call and waits until the delegate is asked; false when that does not happen.
    bool sendUntilAsked(sd_bus_message* call);
    /// True when the call has been answered by now, though the delegate has not.
    bool isAnswered();

private:
    static int asked(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int answered(sd_bus_message* message, void* userdata, sd_bus_error* error);

    BusClient m_client;
    std::string m_interface;
    BusSlot m_delegate;
    BusSlot m_call;
    bool m_asked = false;
    bool m_answered = false;
};

} // namespace mv::test
