#include "service/isolated/PoisonList.h"

#include <algorithm>

namespace mv {

namespace {

constexpr int EnoughWeight = 2;

} // namespace

const PoisonList::Entry* PoisonList::find(const FileDeed& deed, Clock::time_point now) const
{
    auto entry = std::ranges::find_if(
        m_entries, [&](const Entry& each) { return each.deed == deed && now - each.at < Memory; });
    return entry == m_entries.end() ? nullptr : &*entry;
}

void PoisonList::remember(const FileDeed& deed, Death death, Clock::time_point now)
{
    MutexLock hold(m_lock);
    int weight = death == Death::Crash ? EnoughWeight : 1;
    if (const Entry* known = find(deed, now)) {
        Entry& entry = m_entries[static_cast<std::size_t>(known - m_entries.data())];
        entry = { deed, now, entry.weight + weight };
        return;
    }
    if (m_entries.size() < MaxEntries)
        return m_entries.push_back({ deed, now, weight });
    m_entries[m_next] = { deed, now, weight };
    m_next = (m_next + 1) % MaxEntries;
}

bool PoisonList::isPoison(const FileDeed& deed, Clock::time_point now) const
{
    MutexLock hold(m_lock);
    const Entry* entry = find(deed, now);
    return entry && entry->weight >= EnoughWeight;
}

} // namespace mv
