#include "pictures/PictureSource.h"

#include "system/InputFile.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

class MemorySource final : public PictureSource {
public:
    explicit MemorySource(Bytes bytes)
        : m_bytes(std::move(bytes))
    {
    }

    std::uint64_t size() const override { return m_bytes.size(); }
    std::size_t readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        if (offset >= m_bytes.size() || target.empty())
            return 0;
        std::size_t count = std::min(target.size(), m_bytes.size() - static_cast<std::size_t>(offset));
        std::memcpy(target.data(), m_bytes.data() + offset, count);
        return count;
    }

private:
    Bytes m_bytes;
};

class FileSource final : public PictureSource {
public:
    explicit FileSource(InputFile file)
        : m_file(std::move(file))
    {
    }

    std::uint64_t size() const override { return m_file.size(); }
    std::size_t readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        auto count = m_file.readAt(offset, target);
        return count ? *count : 0;
    }

private:
    InputFile m_file;
};

} // namespace

Result<Bytes> PictureSource::bytesAt(std::uint64_t offset, std::uint64_t count) const
{
    if (offset > size() || count > size() - offset)
        return Error { Error::Kind::Format, "past the end of the picture" };
    Bytes bytes(static_cast<std::size_t>(count));
    if (readAt(offset, bytes) != bytes.size())
        return Error { Error::Kind::Io, "the picture became shorter" };
    return bytes;
}

std::shared_ptr<const PictureSource> PictureSource::ofBytes(Bytes bytes)
{
    return std::make_shared<MemorySource>(std::move(bytes));
}

Result<std::shared_ptr<const PictureSource>> PictureSource::ofFile(const Path& path)
{
    MV_TRY(file, InputFile::open(path));
    return std::shared_ptr<const PictureSource>(std::make_shared<FileSource>(std::move(file)));
}

} // namespace mv
