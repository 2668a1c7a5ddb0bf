#pragma once

#include "client/ServiceBus.h"
#include "libmivo/ClientOptionsContent.h"
#include "libmivo/Conversion.h"

#include <atomic>
#include <memory>
#include <mivo/Client.h>
#include <sys/types.h>

namespace mivo {

/// The connection of a Client, and the one call that it may be in.
class ClientContent {
public:
    /// Raises Error where there is no bus.
    explicit ClientContent(const ClientOptions& options);

    mv::ServiceBus& bus() { return *m_bus; }

    /// The time of one operation; raises Error when another one is under way.
    class Turn {
    public:
        explicit Turn(ClientContent& client);
        ~Turn() { m_client.m_isBusy = false; }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        ClientContent& m_client;
    };

    /// Runs a call of the services as an operation of its own, and raises Error where it fails.
    template <class Call> auto call(const Call& call)
    {
        Turn turn(*this);
        return within(turn, call);
    }
    /// The same as one of several calls of an operation.
    template <class Call> auto within(const Turn& turn, const Call& call)
    {
        return attempt(turn, [&] { return mv::resultOf(call); });
    }
    /// The same of what gives a Result. Where nobody has the service's name the service is started, and it is tried
    /// again: the first call has reached nobody.
    template <class Attempt> auto attempt(const Turn&, const Attempt& attempt)
    {
        auto result = attempt();
        if (!result.ok() && isMissingService(result.error())) {
            startService(result.error());
            result = attempt();
        }
        if (!result.ok())
            throw errorFrom(result.error());
        if constexpr (!std::is_same_v<decltype(result), mv::Result<void>>)
            return std::move(result).value();
    }

private:
    static bool isMissingService(const mv::Error& error);
    void startService(const mv::Error& reason);

    ClientOptionsContent m_options;
    std::unique_ptr<mv::ServiceBus> m_bus;
    std::atomic<bool> m_isBusy = false;
};

/// Starts the service's program, and waits until it is there; raises Error.
void startService(const ClientOptionsContent& options);
/// A new connection to the session bus; raises Error where there is none.
std::unique_ptr<mv::ServiceBus> openServiceBus();

} // namespace mivo
