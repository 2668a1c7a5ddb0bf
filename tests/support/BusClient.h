#pragma once

#include "bus/BusHandle.h"
#include "bus/Wire.h"
#include "tests/support/Eventually.h"

#include <functional>
#include <optional>
#include <string>

namespace mv::test {

/// What a call was answered with: a message, or the error's name and text.
struct Answer {
    BusMessage message;
    std::string error;
    std::string text;

    bool ok() const { return error.empty(); }
    WireReader reader() const { return WireReader(message.get()); }
};

/// A client of its own on the session bus. One thread at a time.
class BusClient {
public:
    using Encode = std::function<void(WireWriter&)>;

    BusClient();

    sd_bus* bus() const { return m_bus.get(); }
    std::string uniqueName() const;

    /// Calls and waits; nothing else on this connection is answered meanwhile. An empty interface is left out.
    Answer call(const std::string& destination, const std::string& path, const std::string& interface,
        const std::string& member, const Encode& arguments = {});
    /// The same, while objects that this client serves are answered; for calls that come back to a delegate.
    Answer callAndServe(const std::string& destination, const std::string& path, const std::string& interface,
        const std::string& member, const Encode& arguments = {});
    /// Answers what comes until `done` says so, or never does.
    void serveUntil(const std::function<bool()>& done, std::chrono::milliseconds patience = Patience);
    /// Answers everything that the bus had for this client before it was asked for it here.
    void serveWhatCame();

    bool hasOwner(const std::string& name) { return busNameHasOwner(bus(), name.c_str()); }
    std::string ownerOf(const std::string& name);
    bool waitForOwner(const std::string& name, bool owned = true)
    {
        return eventually([&] { return hasOwner(name) == owned; });
    }

    /// `build` of a describing service: the outer nothing is an error answer.
    std::optional<std::optional<Record>> build(const std::string& busName, const std::string& path);

private:
    BusMessage request(const std::string& destination, const std::string& path, const std::string& interface,
        const std::string& member, const Encode& arguments);

    BusHandle m_bus;
};

} // namespace mv::test
