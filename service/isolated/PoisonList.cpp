#include "service/isolated/PoisonList.h"

#include <functional>
#include <iterator>

namespace mv {

namespace {

constexpr int EnoughWeight = 2;

} // namespace

FileDeed deedOf(const OpenedFile& file, int operation)
{
    if (!file.exists())
        return {};
    return { file.attributes()->identity, file.attributes()->size, file.attributes()->modificationDate, operation };
}

std::size_t PoisonList::DeedHash::operator()(const FileDeed& deed) const
{
    constexpr std::size_t Factor = 1'000'003;
    // A file that was written again is another one, so the inode and the time tell nearly all apart.
    std::size_t hash = std::hash<ino_t> {}(deed.file.inode);
    hash = hash * Factor ^ std::hash<std::int64_t> {}(deed.modified.microseconds);
    return hash * Factor ^ static_cast<std::size_t>(deed.operation);
}

void PoisonList::forgetOldest()
{
    m_places.erase(m_entries.front().deed);
    m_entries.pop_front();
}

void PoisonList::forgetOld(Clock::time_point now)
{
    while (!m_entries.empty() && now - m_entries.front().at >= Memory)
        forgetOldest();
}

void PoisonList::remember(const FileDeed& deed, Death death, Clock::time_point now)
{
    MutexLock hold(m_lock);
    forgetOld(now);
    int weight = death == Death::Crash ? EnoughWeight : 1;
    if (auto known = m_places.find(deed); known != m_places.end()) {
        Entries::iterator entry = known->second;
        entry->at = now;
        entry->weight += weight;
        m_entries.splice(m_entries.end(), m_entries, entry);
        return;
    }
    if (m_entries.size() == MaxEntries)
        forgetOldest();
    m_entries.push_back({ deed, now, weight });
    m_places.emplace(deed, std::prev(m_entries.end()));
}

bool PoisonList::isPoison(const FileDeed& deed, Clock::time_point now) const
{
    MutexLock hold(m_lock);
    auto known = m_places.find(deed);
    return known != m_places.end() && now - known->second->at < Memory && known->second->weight >= EnoughWeight;
}

std::size_t PoisonList::size() const
{
    MutexLock hold(m_lock);
    return m_entries.size();
}

} // namespace mv
