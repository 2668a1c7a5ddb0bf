#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "system/InputFile.h"

#include <algorithm>
#include <cstring>

namespace mv {

/// Bytes that can be read at any place: an open file, or memory.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    /// As many bytes as there are from `offset` on; short only at the end.
    virtual Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const = 0;

    /// Exactly `count` bytes. The size is checked before anything is allocated.
    Result<Bytes> bytesAt(std::uint64_t offset, std::size_t count) const
    {
        if (offset > size() || count > size() - offset)
            return Error { Error::Kind::Format, "past the end of the file" };
        Bytes bytes(count);
        MV_TRY(got, readAt(offset, bytes));
        if (got != count)
            return Error { Error::Kind::Io, "the file became shorter" };
        return bytes;
    }
};

/// A file. Keeps a reference to it.
class FileSource final : public ByteSource {
public:
    explicit FileSource(const InputFile& file)
        : m_file(file)
    {
    }
    std::uint64_t size() const override { return m_file.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        return m_file.readAt(offset, target);
    }

private:
    const InputFile& m_file;
};

/// Bytes in memory that outlive it.
class MemorySource final : public ByteSource {
public:
    explicit MemorySource(ByteView bytes)
        : m_bytes(bytes)
    {
    }
    std::uint64_t size() const override { return m_bytes.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        if (offset >= m_bytes.size())
            return std::size_t { 0 };
        std::size_t count = std::min<std::uint64_t>(target.size(), m_bytes.size() - offset);
        if (count > 0)
            std::memcpy(target.data(), m_bytes.data() + offset, count);
        return count;
    }

private:
    ByteView m_bytes;
};

} // namespace mv
