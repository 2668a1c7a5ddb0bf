#pragma once

#include "client/Media1Client.h"

#include <memory>
#include <set>

namespace mivo {

class OpenCall;

/// A connection of a MediaClient to the bus, with the calls that are under way by it. It leaves with its last owner,
/// and the service stops what is under way by it.
class MediaLine {
public:
    explicit MediaLine(std::unique_ptr<mv::ServiceBus> bus)
        : m_bus(std::move(bus))
    {
    }

    mv::Media1Client& client() { return m_client; }
    sd_bus* bus() const { return m_bus->bus(); }
    /// Takes what has come, up to a bound; false when the bus is gone, and everything by it has been told so.
    bool serve();
    /// True when what has come is not all taken.
    bool hasMore() const;

    /// Calls whose answers are wanted.
    std::set<OpenCall*> calls;
    /// No new calls go by it.
    bool isRetired = false;
    /// What the poll of the client watches it for.
    std::uint32_t watched = 0;

private:
    std::unique_ptr<mv::ServiceBus> m_bus;
    mv::Media1Client m_client { *m_bus };
};

} // namespace mivo
