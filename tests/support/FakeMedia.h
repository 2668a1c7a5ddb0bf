#pragma once

#include "bus/BusHandle.h"
#include "bus/Wire.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mv::test {

/// A call that a FakeMedia is asked. On the fake's thread.
class FakeCall {
public:
    explicit FakeCall(sd_bus_message* message)
        : m_message(sd_bus_message_ref(message))
    {
    }
    std::string member() const { return sd_bus_message_get_member(m_message.get()); }
    std::string path() const { return sd_bus_message_get_path(m_message.get()); }
    std::string sender() const { return sd_bus_message_get_sender(m_message.get()); }
    /// The arguments, from the first.
    WireReader arguments() const;

    void answer(const std::function<void(WireWriter&)>& fill) const;
    void fail(const std::string& error, const std::string& text) const;

private:
    BusMessage m_message;
};

/// Has the name Mivo.Media1 and answers as a test says, rightly or wrongly. On a thread and a connection of its own.
class FakeMedia {
public:
    /// Calls that the function does not answer wait; it may keep them.
    using Answering = std::function<void(FakeCall)>;

    explicit FakeMedia(Answering answering);
    /// Leaves the bus.
    ~FakeMedia();
    FakeMedia(const FakeMedia&) = delete;
    FakeMedia& operator=(const FakeMedia&) = delete;

    /// Does it on the fake's thread, and waits for that.
    void run(const std::function<void()>& task);
    /// Tells changes of a job's properties; on any thread.
    void tellChange(const std::string& job, const std::function<void(WireWriter&)>& fill);
    /// How many calls of that name there were.
    int calls(const std::string& member) const;
    /// True when the connection is on the bus no more; on any thread.
    bool hasLeft(const std::string& connection);

private:
    void serve();
    static int asked(sd_bus_message* message, void* userdata, sd_bus_error* error);

    Answering m_answering;
    BusHandle m_bus;
    BusSlot m_filter;
    mutable std::mutex m_lock;
    std::map<std::string, int> m_calls;
    std::vector<std::function<void()>> m_tasks;
    UniqueFd m_wake;
    std::atomic<bool> m_ends = false;
    std::thread m_thread;
};

} // namespace mv::test
