#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

#include <memory>
#include <string>
#include <systemd/sd-bus.h>

namespace mv {

/// A bus connection; flushed and closed at the end. One thread at a time.
using BusHandle = std::unique_ptr<sd_bus, CloseWith<sd_bus_flush_close_unref>>;
using BusMessage = std::unique_ptr<sd_bus_message, CloseWith<sd_bus_message_unref>>;
using BusSlot = std::unique_ptr<sd_bus_slot, CloseWith<sd_bus_slot_unref>>;

/// A new connection to the session bus, private to the caller.
Result<BusHandle> openSessionBus();

/// True when somebody owns the bus name.
bool busNameHasOwner(sd_bus* bus, const char* name);

/// The process that has a bus name, for people to read.
std::string busNameOwner(sd_bus* bus, const std::string& name);

/// Holds a D-Bus error and frees it.
class BusErrorHolder {
public:
    BusErrorHolder() = default;
    ~BusErrorHolder() { sd_bus_error_free(&m_error); }
    BusErrorHolder(const BusErrorHolder&) = delete;
    BusErrorHolder& operator=(const BusErrorHolder&) = delete;

    sd_bus_error* get() { return &m_error; }
    const char* name() const { return m_error.name ? m_error.name : "org.freedesktop.DBus.Error.Failed"; }
    const char* message() const { return m_error.message ? m_error.message : ""; }

private:
    sd_bus_error m_error { nullptr, nullptr, 0 };
};

} // namespace mv
