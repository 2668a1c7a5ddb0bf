#pragma once

#include "bus/BusHandle.h"
#include "bus/Wire.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace mv {

/// A call that is answered after its operation has ended; 0 is none.
using CallNumber = std::uint64_t;
/// Puts an answer into its message. What it throws becomes the error that answers the call.
using PackAnswer = std::function<void(WireWriter&)>;

/// The calls of a connection that wait for their answers. Serving thread only: messages belong to their connection.
class OpenCalls {
public:
    /// Keeps the request. `dropped` is called when the call is given up because its client has left.
    CallNumber add(sd_bus_message* request, std::function<void()> dropped);
    /// Sends the answer; nothing for a call that was given up.
    void answer(CallNumber number, const PackAnswer& pack);
    /// Gives up what the client has called.
    void drop(const std::string& client);
    /// Gives up everything.
    void dropAll();

    bool isEmpty() const { return m_calls.empty(); }
    bool has(const std::string& client) const;

private:
    struct OpenCall {
        BusMessage request;
        std::string client;
        std::function<void()> dropped;
    };

    std::map<CallNumber, OpenCall> m_calls;
    CallNumber m_last = 0;
};

} // namespace mv
