#include "cli/collection/IndexMerge.h"

namespace mv::cli {

using Kind = IndexStep::Kind;

IndexMerge::IndexMerge(Sources sources, Way way, std::function<bool(const std::string&)> leavesOut)
    : m_way(way)
    , m_leavesOut(std::move(leavesOut))
    , m_walk(std::move(sources.folder))
    , m_index(std::move(sources.index))
    , m_read(std::move(sources.read))
{
    takeFound();
}

void IndexMerge::takeFound()
{
    do {
        m_found = m_walk.next();
    } while (m_found && !m_found->failure && m_leavesOut(m_found->path));
}

std::optional<IndexStep> IndexMerge::next()
{
    while (m_found || m_index.entry()) {
        if (m_found && m_found->failure)
            return unreadable();
        const IndexEntry* entry = m_index.entry();
        if (entry && (!m_found || precedes(entry->path, m_found->path)))
            return passIndex();
        if (!entry || precedes(m_found->path, entry->path)) {
            if (auto step = addBehind(); !step.path.empty())
                return step;
        } else if (auto step = compare(); !step.path.empty()) {
            return step;
        }
    }
    return std::nullopt;
}

/// A line of the index that no file was found for.
IndexStep IndexMerge::passIndex()
{
    if (m_way == Way::Add || isBelowUnreadable(m_index.entry()->path))
        return keep();
    IndexStep step { Kind::Removed, m_index.entry()->path };
    step.wasThere = true;
    m_isFront = false;
    m_index.next();
    return step;
}

bool IndexMerge::isBelowUnreadable(const std::string& path) const
{
    return !m_unreadable.empty() && path.starts_with(m_unreadable);
}

/// A file that the index has no line for. Without a path where it is gone meanwhile.
IndexStep IndexMerge::addBehind()
{
    IndexStep step { Kind::Read, std::move(m_found->path) };
    takeFound();
    if (m_way == Way::Add && m_index.entry()) {
        step.kind = Kind::Missed;
        return step;
    }
    auto stamp = FileStamp::of(step.path);
    if (!stamp)
        return {};
    step.stamp = *stamp;
    return change(std::move(step));
}

/// A file and its line. Without a path where the file is gone meanwhile, and its line is left to passIndex.
IndexStep IndexMerge::compare()
{
    const IndexEntry& entry = *m_index.entry();
    std::string path = std::move(m_found->path);
    takeFound();
    if (m_way == Way::Add)
        return keep();
    auto stamp = FileStamp::of(path);
    if (!stamp)
        return {};
    if (*stamp == entry.stamp && !entry.isWorthAnotherTry)
        return keep();
    IndexStep step { Kind::Read, std::move(path), *stamp, std::string(m_index.line()), true };
    m_isFront = false;
    m_index.next();
    return change(std::move(step));
}

IndexStep IndexMerge::keep()
{
    IndexStep step { Kind::Kept, m_index.entry()->path };
    step.wasThere = true;
    if (!m_isFront)
        step.line = m_index.line();
    m_index.next();
    if (m_isFront)
        m_keptBytes = m_index.place();
    return step;
}

/// What a run that was killed has read need not be read again.
IndexStep IndexMerge::change(IndexStep step)
{
    m_isFront = false;
    while (m_read.entry() && precedes(m_read.entry()->path, step.path))
        m_read.next();
    const IndexEntry* read = m_read.entry();
    if (read && read->path == step.path && read->stamp == step.stamp && !read->isWorthAnotherTry) {
        step.kind = Kind::Known;
        step.line = m_read.line();
    }
    return step;
}

IndexStep IndexMerge::unreadable()
{
    IndexStep step { Kind::Unreadable, std::move(m_found->path) };
    step.failure = std::move(m_found->failure);
    m_unreadable = step.path + "/";
    takeFound();
    return step;
}

} // namespace mv::cli
