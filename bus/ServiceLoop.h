#pragma once

#include "bus/ServedObject.h"
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
    /// Nothing is answered before start().
    static Result<std::unique_ptr<ServiceLoop>> publish(const std::string& busName, std::unique_ptr<ServedObject> root);
    ~ServiceLoop() override;

    /// Starts the serving thread. `onBusDeath` is called on it when the bus goes away.
    void start(std::function<void()> onBusDeath);
    /// Gives the name up, answers what has already arrived, and ends the thread. A call in progress is finished
    /// first, and one that is kept open answered. Not from the serving thread.
    void stop();

    sd_bus* bus() const override { return m_bus.get(); }
    std::string serveForClient(std::unique_ptr<ServedObject> object, const std::string& client) override;
    void withdraw(ServedObject& object) override;
    ServedObject* objectAt(const std::string& path) const override;
    CallNumber keepOpen(sd_bus_message* request, std::function<void()> dropped) override;
    void answer(CallNumber call, PackAnswer pack) override MV_EXCLUDES(m_lock);

private:
    struct ClientObject {
        std::unique_ptr<ServedObject> object;
        std::vector<BusSlot> slots;
        std::string client;
    };

    ServiceLoop(BusHandle bus, std::string busName, std::unique_ptr<ServedObject> root);

    void run();
    /// False when the bus is gone.
    bool processPending();
    bool wait();
    /// The same as long as calls are open.
    bool finishOpenCalls();
    void runPosted() MV_EXCLUDES(m_lock);
    void post(std::function<void()> work) MV_EXCLUDES(m_lock);
    bool watchClient(const std::string& client);
    void clientLeft(const std::string& client);
    void removeObject(const std::string& path);
    static int ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);

    BusHandle m_bus;
    std::string m_busName;
    UniqueFd m_wake;
    std::function<void()> m_onBusDeath;
    std::thread m_thread;

    // Serving thread only, once it runs.
    std::unique_ptr<ServedObject> m_root;
    std::vector<BusSlot> m_rootSlots;
    std::map<std::string, ClientObject> m_clientObjects; // by path
    std::map<std::string, BusSlot> m_clientWatches; // by unique name
    OpenCalls m_openCalls;
    std::uint64_t m_nextObject = 1;
    bool m_stopping = false;

    Mutex m_lock;
    std::deque<std::function<void()>> m_posted MV_GUARDED_BY(m_lock);
};

} // namespace mv
