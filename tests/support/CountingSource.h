#pragma once

#include "system/ByteSource.h"

namespace mv::test {

/// A source that counts what is asked of the one behind it, which outlives it.
class CountingSource final : public ByteSource {
public:
    explicit CountingSource(const ByteSource& source)
        : m_source(source)
    {
    }
    std::uint64_t size() const override { return m_source.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        auto got = m_source.readAt(offset, target);
        ++reads;
        bytesRead += got ? *got : 0;
        return got;
    }

    mutable std::uint64_t reads = 0;
    mutable std::uint64_t bytesRead = 0;

private:
    const ByteSource& m_source;
};

} // namespace mv::test
