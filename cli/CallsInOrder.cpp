#include "cli/CallsInOrder.h"

#include "cli/Interruption.h"
#include "cli/Terminal.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace mv::cli {

namespace {

constexpr std::size_t MaxAhead = 64;
constexpr std::size_t CallsACore = 2;
constexpr std::chrono::milliseconds AskEvery { 50 }; ///< whoever writes what is to be begun next

} // namespace

ExitStatus CallsInOrder::run()
{
    while (true) {
        beginMore();
        emitEnded();
        if (m_items.empty() && m_isEnd)
            return m_status;
        if (m_items.empty() && isReady())
            continue;
        std::size_t running = m_running;
        auto isOver = [&] {
            m_look();
            return m_running < running;
        };
        using Clock = std::chrono::steady_clock;
        const bool mustAsk = m_isReady && !m_isEnd && !isFull();
        auto served = m_media.serveUntil(isOver, mustAsk ? Clock::now() + AskEvery : Clock::time_point::max());
        // With the bus every call has ended, and was told so.
        if (!served && m_running == running)
            return worse(m_status, statusFor(served.error()));
    }
}

bool CallsInOrder::isFull() const { return m_running >= m_atOnce || m_items.size() >= MaxAhead; }

void CallsInOrder::beginMore()
{
    while (!m_isEnd && !isFull() && isReady()) {
        auto item = std::make_shared<std::optional<WorkResult>>();
        m_items.push_back(item);
        ++m_running;
        bool isBegun = m_begin([this, item](WorkResult result) {
            *item = std::move(result);
            --m_running;
        });
        if (isBegun)
            continue;
        m_items.pop_back();
        --m_running;
        m_isEnd = true;
    }
}

void CallsInOrder::emitEnded()
{
    while (!m_items.empty() && *m_items.front()) {
        m_emit(**m_items.front());
        m_status = worse(m_status, (*m_items.front())->status);
        m_items.pop_front();
    }
}

ExitStatus inOrder(Media1Client& media, const CallsInOrder::Begin& begin, const CallsInOrder::Emit& emit,
    const std::function<bool()>& isReady)
{
    Interruption interruption;
    auto beginUnlessAsked = [&](const CallsInOrder::Finish& finish) { return !interruption.asked() && begin(finish); };
    std::size_t atOnce = CallsACore * std::max(1u, std::thread::hardware_concurrency());
    CallsInOrder calls(media, atOnce, beginUnlessAsked, emit);
    if (isReady)
        calls.whenReady([&] { return interruption.asked() || isReady(); });
    ExitStatus status = calls.run();
    return interruption.asked() ? ExitStatus::Interrupted : status;
}

} // namespace mv::cli
