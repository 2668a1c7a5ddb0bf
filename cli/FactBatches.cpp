#include "cli/FactBatches.h"

#include <algorithm>
#include <thread>

namespace mv::cli {

std::optional<FileBatch> FactBatches::next()
{
    FileBatch batch;
    while (batch.size() < m_most && (batch.empty() || m_names.isReady())) {
        auto file = m_names.next();
        if (!file)
            break;
        batch.push_back(std::move(*file));
    }
    m_most = std::min(m_most * 2, MostFiles);
    return batch.empty() ? std::nullopt : std::optional(std::move(batch));
}

std::size_t usualJobs() { return std::clamp(std::thread::hardware_concurrency() + 1, 2U, unsigned { MaxJobs }); }

} // namespace mv::cli
