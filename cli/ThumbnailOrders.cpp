#include "cli/ThumbnailOrders.h"

#include <filesystem>
#include <sys/stat.h>

namespace mv::cli {

ThumbnailOrders::ThumbnailOrders(const Arguments& arguments, FileNames& names, const ThumbnailPattern& pattern)
    : m_names(names)
    , m_pattern(pattern)
    , m_knowsAll(!arguments.has("recursive") && !arguments.has("files-from"))
{
    for (const std::string& name : arguments.files())
        addInput(name);
}

std::optional<ThumbnailOrder> ThumbnailOrders::next()
{
    while (auto file = m_names.next()) {
        ThumbnailOrder order = orderFor(std::move(*file));
        bool mayBeInput = !m_knowsAll && !order.isInput && order.rival.empty() && idOf(order.output);
        if (!mayBeInput)
            return order;
        m_last.push_back(std::move(order));
    }
    if (m_last.empty())
        return std::nullopt;
    ThumbnailOrder order = std::move(m_last.front());
    m_last.pop_front();
    order.isInput = isInput(order.output);
    return order;
}

ThumbnailOrder ThumbnailOrders::orderFor(NamedFile file)
{
    ThumbnailOrder order { std::move(file) };
    if (order.file.failure)
        return order;
    addInput(order.file.name);
    std::error_code failure;
    order.output = std::filesystem::absolute(m_pattern.nameFor(order.file.name), failure).lexically_normal().native();
    auto [place, isNew] = m_taken.try_emplace(order.output, order.file.name);
    if (!isNew)
        order.rival = place->second;
    order.isInput = isInput(order.output);
    return order;
}

std::optional<ThumbnailOrders::FileId> ThumbnailOrders::idOf(const std::string& name)
{
    struct stat facts { };
    return stat(name.c_str(), &facts) == 0 ? std::optional(FileId(facts.st_dev, facts.st_ino)) : std::nullopt;
}

void ThumbnailOrders::addInput(const std::string& name)
{
    if (auto id = idOf(name))
        m_inputs.insert(*id);
}

bool ThumbnailOrders::isInput(const std::string& output) const
{
    auto id = idOf(output);
    return id && m_inputs.contains(*id);
}

} // namespace mv::cli
