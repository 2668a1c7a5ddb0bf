#include "mp4/StructureReader.h"

#include <algorithm>

namespace mv {

StructureReader::StructureReader(std::shared_ptr<const InputFile> file, std::uint64_t size)
    : m_file(std::move(file))
    , m_size(size)
{
}

StructureReader::StructureReader(InputFile file)
    : m_file(std::make_shared<const InputFile>(std::move(file)))
    , m_size(m_file->size())
{
}

StructureReader StructureReader::borrowing(const InputFile& file)
{
    std::shared_ptr<const InputFile> notOwned(std::shared_ptr<void> {}, &file);
    return { std::move(notOwned), file.size() };
}

StructureReader::StructureReader(ByteView memory)
    : m_memory(memory)
    , m_size(memory.size())
{
}

bool StructureReader::holds(std::uint64_t offset, std::size_t count) const
{
    return offset >= m_windowOffset && offset - m_windowOffset <= m_window.size()
        && count <= m_window.size() - static_cast<std::size_t>(offset - m_windowOffset);
}

ByteView StructureReader::peek(std::uint64_t offset, std::size_t count)
{
    if (count > WindowSize || offset > m_size || count > m_size - offset)
        return {};
    if (!m_file)
        return m_memory.subspan(static_cast<std::size_t>(offset), count);
    if (!holds(offset, count)) {
        m_window.resize(static_cast<std::size_t>(std::min<std::uint64_t>(WindowSize, m_size - offset)));
        m_windowOffset = offset;
        auto got = m_file->readAt(offset, m_window);
        m_window.resize(got.ok() ? *got : 0);
        m_readCount++;
        m_bytesRead += m_window.size();
    }
    if (!holds(offset, count))
        return {};
    return ByteView(m_window).subspan(static_cast<std::size_t>(offset - m_windowOffset), count);
}

Result<Bytes> StructureReader::copy(std::uint64_t offset, std::uint64_t count)
{
    if (offset > m_size || count > m_size - offset)
        return Error { Error::Kind::Format, "past the end of the file" };
    if (count <= WindowSize) {
        ByteView bytes = peek(offset, static_cast<std::size_t>(count));
        if (bytes.size() != count)
            return Error { Error::Kind::Io, "the file cannot be read" };
        return Bytes(bytes.begin(), bytes.end());
    }
    if (!m_file) {
        ByteView bytes = m_memory.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(count));
        return Bytes(bytes.begin(), bytes.end());
    }
    m_readCount++;
    m_bytesRead += count;
    return m_file->bytesAt(offset, static_cast<std::size_t>(count));
}

} // namespace mv
