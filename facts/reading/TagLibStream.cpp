#include "facts/reading/TagLibStream.h"

#include <algorithm>

namespace mv {

TagLib::ByteVector TagLibStream::readBlock(unsigned long length)
{
    std::uint64_t left = m_source.size() - std::min(m_source.size(), m_place);
    if (left == 0 && ++m_readsAtEnd > MaxReadsAtEnd)
        throw EndlessReading {};
    auto wanted = static_cast<unsigned>(std::min<std::uint64_t>({ length, left, MaxRead }));
    TagLib::ByteVector block(wanted, 0);
    if (wanted == 0)
        return block;
    std::size_t got = m_source.readUpTo(
        m_place, { reinterpret_cast<std::uint8_t*>(block.data()), static_cast<std::size_t>(wanted) });
    block.resize(static_cast<unsigned>(got));
    m_place += got;
    return block;
}

void TagLibStream::seek(long offset, Position from)
{
    std::int64_t base = from == Beginning ? 0
        : from == Current                 ? static_cast<std::int64_t>(m_place)
                                          : static_cast<std::int64_t>(m_source.size());
    std::int64_t place = 0;
    // A place before the file is its start; one behind it is read as nothing.
    if (__builtin_add_overflow(base, static_cast<std::int64_t>(offset), &place) || place < 0)
        place = 0;
    m_place = static_cast<std::uint64_t>(place);
}

} // namespace mv
