#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <memory>

namespace mv {

/// Bytes that can be read at any place: an open file (InputFile), or memory. Everything that reads media reads through
/// this, the libraries of others by their callbacks too.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Bytes.
    virtual std::uint64_t size() const = 0;
    /// Reads into `target` from `offset`, as many bytes as there are: the count is short only at the end.
    virtual Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const = 0;

    /// The same for readers to whom bytes that cannot be read are as good as none.
    std::size_t readUpTo(std::uint64_t offset, std::span<std::uint8_t> target) const;
    /// Exactly `count` bytes, or an error; checked against the size before anything is allocated.
    Result<Bytes> bytesAt(std::uint64_t offset, std::uint64_t count) const;

protected:
    ByteSource() = default;
    ByteSource(const ByteSource&) = default;
    ByteSource& operator=(const ByteSource&) = default;
};

using SharedSource = std::shared_ptr<const ByteSource>;

/// Bytes in memory that outlive it.
class MemorySource final : public ByteSource {
public:
    explicit MemorySource(ByteView bytes)
        : m_bytes(bytes)
    {
    }
    std::uint64_t size() const override { return m_bytes.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override;

private:
    ByteView m_bytes;
};

/// A source that keeps the bytes itself.
SharedSource sourceOfBytes(Bytes bytes);

} // namespace mv
