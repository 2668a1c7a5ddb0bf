#pragma once

#include "system/ByteSource.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace mv {

/// A source whose first bytes are read once, at the first look at them: the readers of headers and tags look at the
/// front many times.
class FrontSource final : public ByteSource {
public:
    static constexpr std::size_t FrontBytes = 16u << 10;

    explicit FrontSource(const ByteSource& source)
        : m_source(source)
        , m_size(source.size())
        , m_front(new std::uint8_t[FrontBytes]) // not cleared: it is about to be read into
    {
        m_filled = m_source.readUpTo(0, { m_front.get(), FrontBytes });
    }

    std::uint64_t size() const override { return m_size; }

    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        // Offsets are a file's own words, up to the largest there is.
        bool isWhole = target.size() <= m_filled && offset <= m_filled - target.size();
        bool isFront = isWhole || (m_filled == m_size && offset <= m_filled);
        if (!isFront)
            return m_source.readAt(offset, target);
        std::size_t count = std::min(target.size(), m_filled - static_cast<std::size_t>(offset));
        if (count > 0)
            std::memcpy(target.data(), m_front.get() + offset, count);
        return count;
    }

private:
    const ByteSource& m_source;
    std::uint64_t m_size;
    std::unique_ptr<std::uint8_t[]> m_front;
    std::size_t m_filled = 0;
};

} // namespace mv
