#include "platform/ipc/ServedObject.h"

#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "platform/ipc/BusError.h"

#include <cstring>
#include <new>

namespace mv {

namespace {

BusMessage newReply(sd_bus_message* request)
{
    sd_bus_message* reply = nullptr;
    if (int code = sd_bus_message_new_method_return(request, &reply); code < 0)
        throw BusError(BusErrorFailed, std::strerror(-code));
    return BusMessage(reply);
}

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

int answerWithoutInterface(sd_bus_message* request, void* userdata, sd_bus_error* error)
{
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
}

int answerCall(
    sd_bus_message* request, ServedObject& object, sd_bus_error* error, void (*operation)(ServedObject&, Call&))
{
    try {
        Call call(request, *object.host);
        operation(object, call);
        call.send();
        return 1;
    } catch (const BusError& failure) {
        return fail(error, failure.name(), cleanedUtf8(failure.message()));
    } catch (const NSException& exception) {
        std::string name = BusErrorExceptionPrefix + exception.name();
        return fail(error, name, cleanedUtf8(exception.reason()));
    } catch (const std::bad_alloc&) {
        return fail(error, BusErrorNoMemory, "out of memory");
    } catch (const std::exception& exception) {
        return fail(error, BusErrorFailed, cleanedUtf8(exception.what()));
    } catch (...) {
        return fail(error, BusErrorFailed, "unknown failure");
    }
}

} // namespace mv
