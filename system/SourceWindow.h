#pragma once

#include "system/ByteSource.h"

#include <algorithm>

namespace mv {

/// Looks at a part of a source through a buffer that moves along: many small looks, few reads.
class SourceWindow {
public:
    /// Shows `source` up to `end`; every read takes `step` bytes or as many as a look asks for. The first is a small
    /// one: often all that there is to look at is a header and a table.
    SourceWindow(const ByteSource& source, std::uint64_t end, std::size_t step)
        : m_source(&source)
        , m_end(std::min(end, source.size()))
        , m_step(step)
    {
    }

    std::uint64_t end() const { return m_end; }

    /// The bytes from `offset` on: `count` of them, fewer at the end or where the source fails. Valid until the next
    /// look.
    ByteView look(std::uint64_t offset, std::size_t count)
    {
        if (offset >= m_end)
            return {};
        count = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_end - offset));
        if (offset < m_offset || offset + count > m_offset + m_filled)
            fill(offset, count);
        auto at = static_cast<std::size_t>(offset - m_offset);
        return ByteView(m_buffer).first(m_filled).subspan(std::min(at, m_filled)).first(std::min(count, m_filled - at));
    }

private:
    void fill(std::uint64_t offset, std::size_t count)
    {
        constexpr std::size_t FirstRead = std::size_t { 2 } << 10;
        std::size_t step = m_buffer.empty() ? std::min(m_step, FirstRead) : m_step;
        auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(std::max(step, count), m_end - offset));
        if (m_buffer.size() < wanted)
            m_buffer.resize(wanted);
        auto got = m_source->readAt(offset, std::span(m_buffer).first(wanted));
        m_offset = offset;
        m_filled = got.ok() ? *got : 0;
    }

    const ByteSource* m_source;
    std::uint64_t m_end;
    std::size_t m_step;
    Bytes m_buffer;
    std::uint64_t m_offset = 0;
    std::size_t m_filled = 0;
};

} // namespace mv
