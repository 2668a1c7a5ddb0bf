#pragma once

#include "client/CallbackGuard.h"
#include "client/MediaJob.h"
#include "client/MediaRequests.h"

#include <map>
#include <vector>

namespace mv {

/// What a job was told of last.
struct MediaJobStatus {
    MediaJob::State state = MediaJob::State::Running;
    double progress = 0;
    std::optional<Error> error;

    /// What has changed; nothing changes after the end. Throws BusError where that is of no form that changes have.
    void take(WireReader& changes);
};

/// One job as it was told last.
class MediaJobContent {
public:
    MediaJobContent(ServiceBus& bus, MediaJobPlace place);

    /// Its end where the service tells none.
    void fail(Error error);
    /// Tells the listener; also where the listener drops the job.
    static void tell(std::shared_ptr<MediaJobContent> content);

    const MediaJobPlace place;
    const RemoteObject object;
    MediaJobStatus status;
    std::function<void()> listener;
};

/// The jobs of a connection: hears of their changes, and of a service that leaves with them.
class MediaJobs {
public:
    /// Both outlive it.
    MediaJobs(ServiceBus& bus, CallbackGuard& guard)
        : m_bus(bus)
        , m_guard(guard)
    {
    }

    /// Hears of changes from now on. Before a job begins.
    void watch();
    /// A job that has begun.
    std::unique_ptr<MediaJob> add(MediaJobPlace place);
    /// Ends all that run.
    void fail(const Error& error);

private:
    void noteChange(sd_bus_message* message);
    void watchOwner(const std::string& owner);
    void noteGone(const std::string& owner);
    template <class Matches> void failWhere(const Error& error, const Matches& matches);

    struct OwnerWatch {
        BusSlot leaving;
        BusSlot asking; // whether it had left before
    };

    ServiceBus& m_bus;
    CallbackGuard& m_guard;
    BusSlot m_changes;
    std::map<std::string, OwnerWatch> m_owners;
    std::vector<std::weak_ptr<MediaJobContent>> m_jobs;
};

} // namespace mv
