#include "bus/ServedObject.h"

#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "bus/RemoteObject.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

namespace mv {

namespace {

/// Null when the object has no method of that name.
const sd_bus_vtable* findMethod(const ServedObject& object, std::string_view name)
{
    for (const ServedInterface& interface : object.interfaces()) {
        for (const sd_bus_vtable* entry = interface.members; entry->type != _SD_BUS_VTABLE_END; ++entry) {
            if (entry->type == _SD_BUS_VTABLE_METHOD && name == entry->x.method.member)
                return entry;
        }
    }
    return nullptr;
}

int fail(sd_bus_error* error, const std::string& name, const std::string& message)
{
    return sd_bus_error_set(error, name.c_str(), message.c_str());
}

} // namespace

BusMessage newReply(sd_bus_message* request)
{
    sd_bus_message* reply = nullptr;
    if (int code = sd_bus_message_new_method_return(request, &reply); code < 0)
        throw BusError(BusErrorFailed, std::strerror(-code));
    return BusMessage(reply);
}

Call::Call(sd_bus_message* request, ObjectHost& host)
    : m_request(request)
    , m_host(host)
    , m_arguments(request)
    , m_reply(newReply(request))
    , m_writer(m_reply.get())
{
}

std::string Call::sender() const
{
    const char* name = sd_bus_message_get_sender(m_request);
    return name ? name : "";
}

void Call::send()
{
    if (int code = sd_bus_send(nullptr, m_reply.get(), nullptr); code < 0)
        NSLog("cannot answer %s: %s", sd_bus_message_get_member(m_request), std::strerror(-code));
}

CallNumber Call::keepOpen(std::function<void()> dropped)
{
    m_isKeptOpen = true;
    return m_host.keepOpen(m_request, std::move(dropped));
}

CallNumber ObjectHost::keepOpen(sd_bus_message*, std::function<void()>)
{
    throw BusError(BusErrorNotSupported, "nothing is answered later here");
}

int serveAt(ObjectHost& host, const char* path, ServedObject& object, std::vector<BusSlot>& slots)
{
    object.host = &host;
    sd_bus_slot* anyCall = nullptr;
    if (int code = sd_bus_add_object(host.bus(), &anyCall, path, answerWithoutInterface, &object); code < 0)
        return code;
    slots.emplace_back(anyCall);
    for (const ServedInterface& interface : object.interfaces()) {
        sd_bus_slot* slot = nullptr;
        int code = sd_bus_add_object_vtable(host.bus(), &slot, path, interface.name, interface.members, &object);
        if (code < 0)
            return code;
        slots.emplace_back(slot);
    }
    return 0;
}

int answerWithoutInterface(sd_bus_message* request, void* userdata, sd_bus_error* error)
{
    return answerGuarded(error, [&] {
        const char* name = sd_bus_message_get_member(request);
        if (!name || sd_bus_message_get_interface(request))
            return 0;
        auto* object = static_cast<ServedObject*>(userdata);
        const sd_bus_vtable* method = findMethod(*object, name);
        if (!method)
            return 0;
        if (!sd_bus_message_has_signature(request, method->x.method.signature))
            return fail(error, BusErrorInvalidArgs, std::string("expected arguments: ") + method->x.method.signature);
        return method->x.method.handler(request, object, error);
    });
}

namespace {

int answerFailure(sd_bus_error* error)
{
    try {
        throw;
    } catch (const BusError& failure) {
        return fail(error, failure.name(), cleanedUtf8(failure.message()));
    } catch (const NSException& exception) {
        return fail(error, BusErrorExceptionPrefix + exception.name(), cleanedUtf8(exception.reason()));
    } catch (const std::bad_alloc&) {
        return sd_bus_error_set_const(error, BusErrorNoMemory, "out of memory");
    } catch (const std::length_error& exception) {
        return fail(error, BusErrorLimitsExceeded, cleanedUtf8(exception.what()));
    } catch (const std::exception& exception) {
        return fail(error, BusErrorFailed, cleanedUtf8(exception.what()));
    } catch (...) {
        return sd_bus_error_set_const(error, BusErrorFailed, "unknown failure");
    }
}

} // namespace

int answerWithCurrentException(sd_bus_error* error) noexcept
{
    try {
        return answerFailure(error);
    } catch (...) {
        // No room even for the text.
        return sd_bus_error_set_const(error, BusErrorNoMemory, "out of memory");
    }
}

namespace {

thread_local const Call* t_call = nullptr;

/// The call that the thread answers; what it asks of a client meanwhile may bring it another one in between.
class CallOfThread {
public:
    explicit CallOfThread(const Call& call)
        : m_before(std::exchange(t_call, &call))
    {
    }
    ~CallOfThread() { t_call = m_before; }
    CallOfThread(const CallOfThread&) = delete;
    CallOfThread& operator=(const CallOfThread&) = delete;

private:
    const Call* m_before;
};

} // namespace

std::string callingClient() { return t_call ? t_call->sender() : std::string(); }

int answerCall(sd_bus_message* request, ServedObject& object, sd_bus_error* error,
    void (*operation)(ServedObject&, Call&)) noexcept
{
    return answerGuarded(error, [&] {
        Call call(request, *object.host);
        CallOfThread current(call);
        {
            TurnGiven others(threadBusTurn());
            operation(object, call);
        }
        if (!call.isKeptOpen())
            call.send();
        return 1;
    });
}

} // namespace mv
