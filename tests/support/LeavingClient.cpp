#include "tests/support/LeavingClient.h"

#include <stdexcept>

namespace mv::test {

LeavingClient::LeavingClient(const std::string& path, std::string interface)
    : m_interface(std::move(interface))
{
    sd_bus_slot* slot = nullptr;
    if (sd_bus_add_object(bus(), &slot, path.c_str(), asked, this) < 0)
        throw std::runtime_error("cannot serve " + path);
    m_delegate.reset(slot);
}

bool LeavingClient::sendUntilAsked(sd_bus_message* call)
{
    sd_bus_slot* slot = nullptr;
    if (sd_bus_call_async(bus(), &slot, call, answered, this, UINT64_MAX) < 0)
        return false;
    m_call.reset(slot);
    m_client.serveUntil([this] { return m_asked; });
    return m_asked;
}

int LeavingClient::asked(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    auto* self = static_cast<LeavingClient*>(userdata);
    const char* interface = sd_bus_message_get_interface(message);
    self->m_asked = self->m_asked || (interface && self->m_interface == interface);
    return 1; // taken, and never answered
}

int LeavingClient::answered(sd_bus_message*, void* userdata, sd_bus_error*)
{
    static_cast<LeavingClient*>(userdata)->m_answered = true;
    return 1;
}

bool LeavingClient::isAnswered()
{
    m_client.serveWhatCame();
    return m_answered;
}

} // namespace mv::test
