#pragma once

#include "bus/BusTurn.h"
#include "bus/ServedObject.h"
#include "system/Activity.h"
#include "system/Mutex.h"

#include <deque>
#include <functional>
#include <map>
#include <thread>

namespace mv {

/// A service's bus connection and the one thread that serves it: one call at a time, in order of arrival. Calls that an
/// operation keeps open are answered in any order, by that thread too.
class ServiceLoop final : public ObjectHost {
public:
    /// Serves `root` at its path under `busName`; fails with a sentence when there is no bus or the name is taken.
    /// Nothing is answered before start(). Calls, and what is kept for clients, are told to `activity`, where there is
    /// one, which outlives the loop.
    static Result<std::unique_ptr<ServiceLoop>> publish(
        const std::string& busName, std::unique_ptr<ServedObject> root, Activity* activity = nullptr);
    ~ServiceLoop() override;

    /// Starts the serving thread. `onBusDeath` is called on it when the bus goes away.
    void start(std::function<void()> onBusDeath);
    /// Gives the name up, also while a call is in progress; what has arrived is still answered. Where the connection is
    /// not to be had, because a client's delegate lets it wait, it is cut: then the call is lost, but the name is free.
    /// Not from the serving thread.
    void giveNameUp();
    /// Gives the name up, answers what has already arrived, and ends the thread. A call in progress is finished
    /// first, and one that is kept open answered. Not from the serving thread.
    void stop();

    sd_bus* bus() const override { return m_bus.get(); }
    std::string serveForClient(std::unique_ptr<ServedObject> object, const std::string& client) override;
    void withdraw(ServedObject& object) override;
    void keepForClient(std::string_view what, const std::string& client) override;
    ServedObject* objectAt(const std::string& path) const override;
    CallNumber keepOpen(sd_bus_message* request, std::function<void()> dropped) override;
    void answer(CallNumber call, PackAnswer pack) override MV_EXCLUDES(m_lock);
    void post(std::function<void()> work) override MV_EXCLUDES(m_lock);

private:
    struct ClientObject {
        std::unique_ptr<ServedObject> object;
        std::vector<BusSlot> slots;
        std::string client;
        Activity::Hold hold;
    };
    struct ClientWatch {
        ClientWatch(ServiceLoop& servingLoop, std::string clientName)
            : loop(servingLoop)
            , client(std::move(clientName))
        {
        }
        ServiceLoop& loop;
        const std::string client;
        BusSlot changes;
        BusSlot question; // whether it is there
    };
    struct Kept {
        std::string client;
        Activity::Hold hold;
    };

    ServiceLoop(BusHandle bus, std::string busName, std::unique_ptr<ServedObject> root, Activity* activity);

    Activity::Hold begin(Activity::Kind kind) const { return m_activity ? m_activity->begin(kind) : nullptr; }

    void run();
    /// False when the bus is gone.
    bool processPending();
    void releaseName();
    bool wait();
    /// The same as long as calls are open.
    bool finishOpenCalls();
    void runPosted() MV_EXCLUDES(m_lock);
    bool watchClient(const std::string& client);
    void clientLeft(const std::string& client);
    void removeObject(const std::string& path);
    bool isServedForClient(const std::string& client) const;
    static int watchBegun(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int ownerTold(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);

    BusHandle m_bus;
    std::string m_busName;
    Activity* const m_activity;
    BusTurn m_turn;
    bool m_hasName = true; // whose turn it is
    UniqueFd m_wake;
    std::function<void()> m_onBusDeath;
    std::thread m_thread;

    // Serving thread only, once it runs.
    std::unique_ptr<ServedObject> m_root;
    std::vector<BusSlot> m_rootSlots;
    std::map<std::string, ClientObject> m_clientObjects; // by path
    std::map<std::string, std::unique_ptr<ClientWatch>> m_clientWatches; // by unique name
    OpenCalls m_openCalls;
    std::map<std::string_view, Kept> m_keptForClients; // by what it is
    std::uint64_t m_nextObject = 1;
    bool m_stopping = false;

    Mutex m_lock;
    std::deque<std::function<void()>> m_posted MV_GUARDED_BY(m_lock);
};

} // namespace mv
