#include "mp4/StructureReader.h"

namespace mv {

StructureReader::StructureReader(SharedSource source)
    : m_source(std::move(source))
    , m_window(*m_source, m_source->size(), WindowSize)
{
}

StructureReader StructureReader::borrowing(const ByteSource& source)
{
    return StructureReader(SharedSource(std::shared_ptr<void> {}, &source));
}

StructureReader::StructureReader(ByteView memory)
    : StructureReader(std::make_shared<const MemorySource>(memory))
{
    m_memory = memory;
}

ByteView StructureReader::peek(std::uint64_t offset, std::size_t count)
{
    if (count > WindowSize || offset > size() || count > size() - offset)
        return {};
    if (m_memory.data())
        return m_memory.subspan(static_cast<std::size_t>(offset), count);
    ByteView bytes = m_window.look(offset, count);
    return bytes.size() == count ? bytes : ByteView {};
}

Result<Bytes> StructureReader::copy(std::uint64_t offset, std::uint64_t count)
{
    if (count > WindowSize)
        return m_source->bytesAt(offset, count);
    if (offset > size() || count > size() - offset)
        return Error { Error::Kind::Format, "past the end of the file" };
    ByteView bytes = peek(offset, static_cast<std::size_t>(count));
    if (bytes.size() != count)
        return Error { Error::Kind::Io, "the file cannot be read" };
    return Bytes(bytes.begin(), bytes.end());
}

} // namespace mv
