#include "Base/Core/WorkSign.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

namespace mv {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t Never = std::numeric_limits<std::int64_t>::max();

std::mutex s_sinkLock;
WorkSignSink s_sink; // guarded by s_sinkLock
std::atomic<std::int64_t> s_period = 0; // in nanoseconds, as the next one
std::atomic<std::int64_t> s_next = Never;

std::int64_t now() { return std::chrono::nanoseconds(Clock::now().time_since_epoch()).count(); }

} // namespace

void showThatWorkGoesOn()
{
    std::int64_t next = s_next;
    if (next == Never)
        return;
    const std::int64_t moment = now();
    if (moment < next || !s_next.compare_exchange_strong(next, moment + s_period))
        return;
    std::lock_guard guard(s_sinkLock);
    if (s_sink)
        s_sink();
}

void setWorkSignSink(WorkSignSink sink, std::chrono::nanoseconds period)
{
    std::lock_guard guard(s_sinkLock);
    s_period = period.count();
    s_next = sink ? now() + period.count() : Never;
    s_sink = std::move(sink);
}

} // namespace mv
