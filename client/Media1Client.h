#pragma once

#include "client/CallbackGuard.h"
#include "client/MediaAnswers.h"
#include "client/MediaJob.h"
#include "client/MediaRequests.h"
#include "client/ServiceBus.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>

namespace mv {

class MediaJobs;

/// Told what a call has given; on the thread that serves the connection, in any order.
template <class T> using MediaCallback = std::function<void(Result<T>)>;
/// A call that is under way; 0 is none. Numbers are not used again.
using MediaCallNumber = std::uint64_t;

/// Mivo.Media1 by a connection, on its thread. A call waits for its answer; or many are on their way and each has a
/// callback, which is called while the connection is served: by serveUntil, or while another call waits. Callbacks may
/// begin further calls, wait for some, forget some, but not end this client. What they throw comes out of what serves
/// the connection.
///
/// Why a call failed is an Error: `name` is the D-Bus error's whole name, `text` a sentence for people, and
/// mediaErrorKind tells the interface's own kinds. A service that leaves with a call fails it (Error::Kind::Io), and so
/// does a bus that goes away. No call has a time limit of this side.
class Media1Client {
public:
    /// The bus outlives the client.
    explicit Media1Client(ServiceBus& bus);
    /// What is under way is forgotten.
    ~Media1Client();
    Media1Client(const Media1Client&) = delete;
    Media1Client& operator=(const Media1Client&) = delete;

    /// Waits for the answer.
    template <class T> Result<T> call(const MediaRequest<T>& request)
    {
        auto result = mediaResultOf([&] {
            std::optional<T> given;
            m_service.call(request.member, CallWithoutTimeout, request.arguments,
                [&](WireReader& in) { given.emplace(request.read(in)); });
            return std::move(*given);
        });
        m_guard.rethrow();
        return result;
    }
    /// Sends the call. One that cannot be sent is told by its callback too, before this returns with 0.
    template <class T> MediaCallNumber begin(const MediaRequest<T>& request, MediaCallback<T> callback)
    {
        auto sent = mediaResultOf([&] {
            return send(request.member, request.arguments, [read = request.read, callback](const CallAnswer& answer) {
                callback(mediaResultOf([&] {
                    WireReader in = answer.results();
                    return read(in);
                }));
            });
        });
        if (sent)
            return *sent;
        callback(sent.error());
        return 0;
    }

    /// The callback will not be called. The service works on: it stops calls only when their connection leaves.
    void forget(MediaCallNumber call);
    /// Calls that have neither been answered nor forgotten.
    std::size_t underWay() const { return m_calls.size(); }

    /// Has a file encoded. The job's changes are told while the connection is served.
    Result<std::unique_ptr<MediaJob>> encode(
        const std::string& source, const std::string& destination, const MediaEncoding& encoding = {});
    /// A job that nobody waits for any more when it begins is released.
    MediaCallNumber beginEncode(const std::string& source, const std::string& destination,
        const MediaEncoding& encoding, MediaCallback<std::unique_ptr<MediaJob>> callback);

    /// Serves the connection until `done` says so, which is asked after each message and each signal that interrupts;
    /// false when the time has come before that. Fails when the bus has gone: all calls and jobs have been told then.
    Result<bool> serveUntil(const std::function<bool()>& done,
        std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max());

    ServiceBus& bus() { return m_bus; }

private:
    /// A call under way, and what forgetting it means beside dropping it; nothing for most.
    struct Call {
        BusSlot slot;
        std::function<void()> orphan;
    };

    MediaCallNumber send(const char* member, const RemoteObject::Encode& arguments, RemoteObject::Answered answered);

    ServiceBus& m_bus;
    RemoteObject m_service;
    CallbackGuard m_guard;
    std::unique_ptr<MediaJobs> m_jobs;
    std::map<MediaCallNumber, Call> m_calls;
    std::map<MediaCallNumber, BusSlot> m_orphans;
    MediaCallNumber m_last = 0;
};

} // namespace mv
