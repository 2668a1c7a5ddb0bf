#pragma once

#include "bus/BusHandle.h"
#include "bus/OpenCalls.h"
#include "bus/Wire.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace mv {

class ServedObject;
class ObjectHost;

/// One call of an operation: its arguments, its caller, and the answer to be.
class Call {
public:
    Call(sd_bus_message* request, ObjectHost& host);

    WireReader& arguments() { return m_arguments; }
    /// The answer; an operation that puts nothing into it answers with nothing.
    WireWriter& reply() { return m_writer; }
    /// The caller's unique bus name.
    std::string sender() const;
    /// The host of the object that was called.
    ObjectHost& host() { return m_host; }

    /// The answer comes after the operation has ended, by ObjectHost::answer. `dropped` is called on the serving thread
    /// when the client leaves the bus before that. 0 when it has left already, and nobody wants an answer any more.
    CallNumber keepOpen(std::function<void()> dropped);
    bool isKeptOpen() const { return m_isKeptOpen; }

    void send();

private:
    sd_bus_message* m_request;
    bool m_isKeptOpen = false;
    ObjectHost& m_host;
    WireReader m_arguments;
    BusMessage m_reply;
    WireWriter m_writer;
};

/// The unique name of the client whose call this thread answers at the moment; empty where it answers none.
std::string callingClient();

/// An interface of a served object: its name and its members (methods made by servedMethod).
struct ServedInterface {
    const char* name;
    const sd_bus_vtable* members;
};

/// An adaptor: unpacks the arguments of calls, calls the object behind it, packs the answers. Entered on the serving
/// thread only.
class ServedObject {
public:
    virtual ~ServedObject() = default;
    virtual std::span<const ServedInterface> interfaces() const = 0;
    /// Where a service serves it when it is the root object.
    virtual const char* rootPath() const { return "/"; }
    /// Where it is served when it is handed out to a client; a number is put behind that.
    virtual const char* clientFolder() const { return "/info"; }

    /// Where the object is served; set by the host while it is.
    ObjectHost* host = nullptr;
};

/// A place where objects are served: a connection. Only a service's outlives a call, so the others hand nothing out.
class ObjectHost {
public:
    virtual ~ObjectHost() = default;
    virtual sd_bus* bus() const = 0;
    /// Serves an object for one client and returns its path; it is destroyed, never inside one of its own calls,
    /// once it is withdrawn or the client has left the bus. "/" when the client has left already.
    virtual std::string serveForClient(std::unique_ptr<ServedObject>, const std::string& /*client*/) { return "/"; }
    virtual void withdraw(ServedObject&) { }
    /// What the object has under that name is a client's now, for as long as that lives, and nobody's else; with an
    /// empty client there is no such thing any more. `what` is a literal.
    virtual void keepForClient(std::string_view /*what*/, const std::string& /*client*/) { }
    /// The object that is served for clients at a path, or null.
    virtual ServedObject* objectAt(const std::string& /*path*/) const { return nullptr; }
    /// Keeps a request for a later answer: see Call::keepOpen.
    virtual CallNumber keepOpen(sd_bus_message* request, std::function<void()> dropped);
    /// Answers a call that was kept open; nothing where its client has left. From any thread: `pack` runs on the
    /// serving thread.
    virtual void answer(CallNumber /*call*/, PackAnswer /*pack*/) { }
    /// Has `work` done on the serving thread, soon. From any thread.
    virtual void post(std::function<void()> /*work*/) { }
};

/// Serves the object's interfaces at a path of the host's connection for as long as the slots live. Zero, or a negative
/// error number.
int serveAt(ObjectHost& host, const char* path, ServedObject& object, std::vector<BusSlot>& slots);

/// An answer to the call, without anything in it. Throws BusError.
BusMessage newReply(sd_bus_message* request);

/// To be called while an exception is handled, of whatever kind: makes it the error that answers a call. Returns
/// sd-bus's handler result.
int answerWithCurrentException(sd_bus_error* error) noexcept;

/// The edge of every handler that the bus library calls: runs `body` and returns its result; whatever leaves it becomes
/// the error answer.
template <class Body> int answerGuarded(sd_bus_error* error, const Body& body) noexcept
{
    try {
        return body();
    } catch (...) {
        return answerWithCurrentException(error);
    }
}

/// Runs an operation and sends its answer. Returns sd-bus's handler result.
int answerCall(sd_bus_message* request, ServedObject& object, sd_bus_error* error,
    void (*operation)(ServedObject&, Call&)) noexcept;

/// Answers a call that names no interface, which the bus allows and sd-bus's tables do not find: the first of the
/// object's methods of that name does it. `userdata` is the ServedObject. For sd_bus_add_object.
int answerWithoutInterface(sd_bus_message* request, void* userdata, sd_bus_error* error);

/// The handler of a method of an adaptor class, for sd-bus's tables.
template <class Adaptor, void (Adaptor::*Method)(Call&)>
int servedMethod(sd_bus_message* request, void* userdata, sd_bus_error* error)
{
    return answerCall(request, *static_cast<ServedObject*>(userdata), error,
        [](ServedObject& object, Call& call) { (static_cast<Adaptor&>(object).*Method)(call); });
}

} // namespace mv
