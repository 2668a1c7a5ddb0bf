#include "system/ByteSource.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

class KeptBytes final : public ByteSource {
public:
    explicit KeptBytes(Bytes bytes)
        : m_bytes(std::move(bytes))
    {
    }
    std::uint64_t size() const override { return m_bytes.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        return MemorySource(m_bytes).readAt(offset, target);
    }

private:
    Bytes m_bytes;
};

} // namespace

std::size_t ByteSource::readUpTo(std::uint64_t offset, std::span<std::uint8_t> target) const
{
    auto count = readAt(offset, target);
    return count ? *count : 0;
}

Result<Bytes> ByteSource::bytesAt(std::uint64_t offset, std::uint64_t count) const
{
    if (offset > size() || count > size() - offset)
        return Error { Error::Kind::Format, "past the end of the file" };
    Bytes bytes(static_cast<std::size_t>(count));
    MV_TRY(got, readAt(offset, bytes));
    if (got != count)
        return Error { Error::Kind::Io, "the file became shorter" };
    return bytes;
}

Result<std::size_t> MemorySource::readAt(std::uint64_t offset, std::span<std::uint8_t> target) const
{
    if (offset >= m_bytes.size())
        return std::size_t { 0 };
    std::size_t count = std::min<std::uint64_t>(target.size(), m_bytes.size() - offset);
    if (count > 0)
        std::memcpy(target.data(), m_bytes.data() + offset, count);
    return count;
}

SharedSource sourceOfBytes(Bytes bytes) { return std::make_shared<KeptBytes>(std::move(bytes)); }

} // namespace mv
