#include "service/isolated/WorkerPool.h"

#include "Base/Core/NSLog.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace mv {

namespace {

// Clients that come and go leave their workers behind for MaxIdle; so many of them at most.
constexpr std::size_t MaxIdleWorkers = 16;

bool isAlive(const std::unique_ptr<WorkerProcess>& worker) { return worker && !worker->program().end(); }

} // namespace

WorkerPool::~WorkerPool()
{
    {
        MutexLock hold(m_lock);
        m_ends = true;
        m_changed.notify_all();
    }
    if (m_housekeeper.joinable())
        m_housekeeper.join();
}

Result<WorkerPool::Loan> WorkerPool::forReading(WorkerKind kind, const std::string& client)
{
    {
        MutexLock hold(m_lock);
        if (auto idle = takeIdle(kind, client))
            return std::move(*idle);
    }
    MV_TRY(loan, fresh(kind));
    loan.client = client;
    return loan;
}

Result<WorkerPool::Loan> WorkerPool::fresh(WorkerKind kind)
{
    std::unique_ptr<WorkerProcess> worker;
    {
        MutexLock hold(m_lock);
        MV_TRY(spare, takeSpare(kind));
        worker = std::move(spare);
    }
    if (!worker) {
        MV_TRY(born, WorkerProcess::start(m_program, kind, m_birthPatience));
        worker = std::move(born);
        noteBirth(kind);
    }
    return Loan { std::move(worker), {}, Clock::now(), 0 };
}

void WorkerPool::giveBack(Loan loan)
{
    Clock::time_point now = Clock::now();
    ++loan.calls;
    MutexLock hold(m_lock);
    if (loan.calls >= MaxCalls || now - loan.born >= MaxAge) {
        m_retired.push_back(std::move(loan.worker));
        wakeHousekeeper();
        return;
    }
    m_idle.push_back({ std::move(loan), now });
    if (m_idle.size() > MaxIdleWorkers) {
        m_retired.push_back(std::move(m_idle.front().loan.worker));
        m_idle.erase(m_idle.begin());
        wakeHousekeeper();
    } else if (m_sleepsForGood) {
        wakeHousekeeper();
    }
}

void WorkerPool::keepSpares()
{
    MutexLock hold(m_lock);
    m_keepsSpares = true;
    spareOf(WorkerKind::Light).isWanted = true;
    wakeHousekeeper();
}

std::optional<WorkerPool::Loan> WorkerPool::takeIdle(WorkerKind kind, const std::string& client)
{
    spareOf(kind).lastUse = Clock::now();
    // The last one that was given back is the warmest.
    for (std::size_t i = m_idle.size(); i-- > 0;) {
        if (m_idle[i].loan.worker->kind() != kind || m_idle[i].loan.client != client)
            continue;
        Loan loan = std::move(m_idle[i].loan);
        m_idle.erase(m_idle.begin() + static_cast<std::ptrdiff_t>(i));
        // One that somebody has ended meanwhile.
        if (isAlive(loan.worker))
            return loan;
        m_retired.push_back(std::move(loan.worker));
    }
    return std::nullopt;
}

/// Nothing where none waits. An error where one was waited for in vain: who began another one could wait so long again,
/// and the bus gives a call up before. What fails at once may be tried again.
Result<std::unique_ptr<WorkerProcess>> WorkerPool::takeSpare(WorkerKind kind)
{
    Spare& spare = spareOf(kind);
    spare.lastUse = Clock::now();
    spare.isWanted |= m_keepsSpares && kind == WorkerKind::Media;
    if (spare.isBeingBorn) {
        awaitBirth(spare);
        if (spare.failure && spare.failure->code == ETIMEDOUT)
            return *spare.failure;
    }
    auto worker = std::exchange(spare.worker, nullptr);
    wakeHousekeeper();
    if (worker && !isAlive(worker))
        m_retired.push_back(std::exchange(worker, nullptr));
    return worker;
}

/// What is on its way is there sooner than what would be started now. Another call may have taken it by then.
void WorkerPool::awaitBirth(const Spare& spare)
{
    const int births = spare.births;
    while (spare.births == births && !m_ends)
        m_changed.wait(m_lock);
}

/// Workers can be had, whatever has failed before.
void WorkerPool::noteBirth(WorkerKind kind)
{
    MutexLock hold(m_lock);
    if (std::exchange(spareOf(kind).failure, std::nullopt))
        wakeHousekeeper();
}

void WorkerPool::wakeHousekeeper()
{
    m_hasNews = true;
    if (m_housekeeper.joinable()) {
        m_changed.notify_all();
        return;
    }
    try {
        m_housekeeper = std::thread([this] { keepHouse(); });
    } catch (const std::system_error& problem) {
        // The next one tries again; until then workers are born when they are needed.
        NSLogAt(LogPriority::Warning, "no thread keeps the workers: %s", problem.what());
    }
}

void WorkerPool::keepHouse()
{
    while (true) {
        std::vector<std::unique_ptr<WorkerProcess>> retired;
        std::optional<WorkerKind> wanted;
        {
            MutexLock hold(m_lock);
            if (m_ends)
                return;
            m_hasNews = false;
            retireOld(Clock::now());
            retired.swap(m_retired);
            wanted = missingSpare();
            if (retired.empty() && !wanted)
                sleep();
        }
        if (wanted)
            bearSpare(*wanted);
        // The others end here, outside the lock: that takes the system a while.
    }
}

void WorkerPool::sleep()
{
    Clock::time_point until = nextRetirement();
    m_sleepsForGood = until == Clock::time_point::max();
    while (!m_hasNews && !m_ends && Clock::now() < until) {
        if (m_sleepsForGood)
            m_changed.wait(m_lock);
        else
            m_changed.wait_until(m_lock, until);
    }
    m_sleepsForGood = false;
}

void WorkerPool::retireOld(Clock::time_point now)
{
    auto isOld = [&](Idle& idle) MV_REQUIRES(m_lock) {
        if (now - idle.since < MaxIdle && now - idle.loan.born < MaxAge)
            return false;
        m_retired.push_back(std::move(idle.loan.worker));
        return true;
    };
    std::erase_if(m_idle, isOld);
    Spare& media = spareOf(WorkerKind::Media);
    if (media.isWanted && now - media.lastUse >= MaxIdle) {
        media.isWanted = false;
        if (media.worker)
            m_retired.push_back(std::exchange(media.worker, nullptr));
    }
}

std::optional<WorkerKind> WorkerPool::missingSpare()
{
    for (WorkerKind kind : { WorkerKind::Light, WorkerKind::Media }) {
        Spare& spare = spareOf(kind);
        if (spare.isWanted && !spare.worker && !spare.failure) {
            spare.isBeingBorn = true;
            return kind;
        }
    }
    return std::nullopt;
}

WorkerPool::Clock::time_point WorkerPool::nextRetirement()
{
    Clock::time_point next = Clock::time_point::max();
    for (const Idle& idle : m_idle)
        next = std::min({ next, idle.since + MaxIdle, idle.loan.born + MaxAge });
    Spare& media = spareOf(WorkerKind::Media);
    return media.isWanted ? std::min(next, media.lastUse + MaxIdle) : next;
}

void WorkerPool::bearSpare(WorkerKind kind)
{
    auto born = WorkerProcess::start(m_program, kind, m_birthPatience);
    // Every call tries again, and says to its client what is the matter.
    if (!born)
        NSLogAt(LogPriority::Warning, "no worker waits for calls: %s", born.error().text.c_str());
    MutexLock hold(m_lock);
    Spare& spare = spareOf(kind);
    spare.isBeingBorn = false;
    ++spare.births;
    if (born)
        spare.worker = std::move(*born);
    else
        spare.failure = born.error();
    m_changed.notify_all();
}

} // namespace mv
