#pragma once

#include "cli/OrderedWork.h"
#include "client/Media1Client.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace mv::cli {

/// Work on items by calls of one connection, several items at once, on one thread; results are handed out in the order
/// of the items. At most a few dozen items are ahead of the one that is waited for.
class CallsInOrder {
public:
    using Finish = std::function<void(WorkResult)>;
    /// Begins the next item, whose end `finish` is told, now or while the connection is served. False where there is
    /// none; then nothing is begun any more.
    using Begin = std::function<bool(const Finish& finish)>;
    using Emit = std::function<void(const WorkResult&)>;

    CallsInOrder(Media1Client& media, std::size_t atOnce, Begin begin, Emit emit)
        : m_media(media)
        , m_atOnce(atOnce)
        , m_begin(std::move(begin))
        , m_emit(std::move(emit))
    {
    }

    /// Whether the next item can be begun, or the end be seen, without waiting; asked again and again meanwhile.
    void whenReady(std::function<bool()> isReady) { m_isReady = std::move(isReady); }
    /// Done again and again while results are waited for, after each signal that interrupts too.
    void whileWaiting(std::function<void()> look) { m_look = std::move(look); }

    /// Returns when every item that was begun has ended; the worst of their statuses.
    ExitStatus run();

private:
    void beginMore();
    void emitEnded();
    bool isFull() const;
    bool isReady() const { return !m_isReady || m_isReady(); }

    Media1Client& m_media;
    const std::size_t m_atOnce;
    const Begin m_begin;
    const Emit m_emit;
    std::function<void()> m_look = [] {};
    std::function<bool()> m_isReady; ///< none: always
    std::deque<std::shared_ptr<std::optional<WorkResult>>> m_items;
    std::size_t m_running = 0;
    bool m_isEnd = false;
    ExitStatus m_status = ExitStatus::Done;
};

/// Such work with a few items for each core, until Ctrl-C: then nothing is begun any more, what is under way ends, and
/// the status is Interrupted.
ExitStatus inOrder(Media1Client& media, const CallsInOrder::Begin& begin, const CallsInOrder::Emit& emit,
    const std::function<bool()>& isReady = {});

} // namespace mv::cli
