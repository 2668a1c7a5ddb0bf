#pragma once

#include "libmivo/ClientOptionsContent.h"
#include "libmivo/MediaLine.h"
#include "libmivo/OpenCall.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mivo/Client.h>
#include <set>
#include <thread>
#include <vector>

namespace mivo {

/// The connections and calls of a MediaClient, and who is to be told of what.
class MediaContent final : public std::enable_shared_from_this<MediaContent> {
public:
    using Clock = std::chrono::steady_clock;

    /// That time from now; never where it is too long to be told.
    static Clock::time_point after(std::chrono::milliseconds longest);

    /// Raises Error where there is no bus.
    static std::shared_ptr<MediaContent> open(const ClientOptions& options);

    /// The time of one operation of the client's; raises Error where another thread is in one. Operations may be
    /// within operations, of callbacks.
    class Turn {
    public:
        explicit Turn(MediaContent& client);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        MediaContent& m_client;
        bool m_isInner = false;
    };

    /// Sends a call and gives what it will give.
    template <class T> Pending<T> begin(OpenCall::Kind kind, typename PendingContent<T>::Send send)
    {
        auto call = std::make_shared<PendingContent<T>>(weak_from_this(), kind, std::move(send));
        begin(call);
        return Pending<T>(std::move(call));
    }

    /// Waits until that is so; false when the time has come before.
    bool serveUntil(const std::function<bool()>& done, Clock::time_point until = Clock::time_point::max());
    /// Takes what has come, and calls back.
    void dispatch();

    /// Called back before what dispatches or waits returns; what it throws comes out of that.
    void callBack(std::function<void()> callback);
    /// A call that is ready, or is to be sent again because nobody has the service's name.
    void noteReady(OpenCall& call);
    bool isToBeSentAgain(const OpenCall& call, const mv::Error& error) const;
    void sendAgain(std::shared_ptr<OpenCall> call);
    /// Nobody wants the call any more.
    void cancel(OpenCall& call);

    /// Ends everything; the client has ended.
    void close() noexcept;
    bool isClosed() const { return m_isClosed; }

    int fd() const { return m_poll.get(); }
    std::size_t underWay() const { return m_open.size(); }
    bool isIdle() const { return m_open.empty() && m_callbacks.empty(); }

private:
    explicit MediaContent(const ClientOptions& options);

    using Line = std::shared_ptr<MediaLine>;

    void begin(const std::shared_ptr<OpenCall>& call);
    void send(OpenCall& call);
    Line lineFor(OpenCall::Kind kind);
    Line newLine();
    void drop(const Line& line);
    void lose(const Line& line);
    void dropUnwanted();
    void leave(OpenCall& call);
    void serveLines();
    void sendWhatIsToBeSentAgain();
    void runCallbacks();
    void serveOnce();
    void watch();
    void wait(Clock::time_point until);

    ClientOptionsContent m_options;
    mv::UniqueFd m_poll;
    mv::UniqueFd m_more; // readable when something is to be done that no connection tells
    std::vector<Line> m_lines;
    Line m_answers; // by which new calls go
    Line m_jobs;
    std::set<std::shared_ptr<OpenCall>> m_open;
    std::vector<std::shared_ptr<OpenCall>> m_again;
    std::deque<std::function<void()>> m_callbacks;
    std::uint64_t m_starts = 0;
    bool m_isClosed = false;
    std::atomic<std::thread::id> m_thread;
};

} // namespace mivo
