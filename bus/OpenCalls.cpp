#include "bus/OpenCalls.h"

#include "Base/Core/NSLog.h"
#include "bus/ServedObject.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace mv {

namespace {

void sendAnswer(sd_bus_message* request, const PackAnswer& pack)
{
    BusErrorHolder failure;
    int code = answerGuarded(failure.get(), [&] {
        BusMessage reply = newReply(request);
        WireWriter writer(reply.get());
        pack(writer);
        return sd_bus_send(nullptr, reply.get(), nullptr);
    });
    if (sd_bus_error_is_set(failure.get()))
        code = sd_bus_reply_method_error(request, failure.get());
    if (code < 0)
        NSLog("cannot answer %s: %s", sd_bus_message_get_member(request), std::strerror(-code));
}

} // namespace

CallNumber OpenCalls::add(sd_bus_message* request, std::function<void()> dropped)
{
    const char* client = sd_bus_message_get_sender(request);
    m_calls[++m_last] = { BusMessage(sd_bus_message_ref(request)), client ? client : "", std::move(dropped) };
    return m_last;
}

void OpenCalls::answer(CallNumber number, const PackAnswer& pack)
{
    auto call = m_calls.extract(number);
    if (!call.empty())
        sendAnswer(call.mapped().request.get(), pack);
}

void OpenCalls::drop(const std::string& client)
{
    std::vector<OpenCall> given;
    for (auto entry = m_calls.begin(); entry != m_calls.end();) {
        auto next = std::next(entry);
        if (entry->second.client == client)
            given.push_back(std::move(m_calls.extract(entry).mapped()));
        entry = next;
    }
    for (const OpenCall& call : given)
        call.dropped();
}

void OpenCalls::dropAll()
{
    auto given = std::exchange(m_calls, {});
    for (const auto& [number, call] : given)
        call.dropped();
}

bool OpenCalls::has(const std::string& client) const
{
    return std::ranges::any_of(m_calls, [&](const auto& entry) { return entry.second.client == client; });
}

} // namespace mv
