#include "mp4/Box.h"

#include "id3/Id3v2Tag.h"

#include <algorithm>

namespace mv {

std::optional<Box> BoxWalker::fail()
{
    m_damaged = true;
    m_position = m_end;
    return std::nullopt;
}

std::optional<Box> BoxWalker::next()
{
    if (m_position >= m_end || m_damaged)
        return std::nullopt;
    std::uint64_t left = m_end - m_position;
    if (left < 8) {
        ByteView rest = m_reader.peek(m_position, static_cast<std::size_t>(left));
        if (left == 4 && std::all_of(rest.begin(), rest.end(), [](std::uint8_t byte) { return byte == 0; })) {
            m_position = m_end;
            return std::nullopt;
        }
        return fail();
    }
    if (++m_count > MaxBoxes)
        return fail();
    ByteReader header(m_reader.peek(m_position, static_cast<std::size_t>(std::min<std::uint64_t>(left, 16))));
    Box box { .offset = m_position, .headerSize = 8 };
    box.size = header.u32be();
    box.type = header.u32be();
    if (box.size == 1) {
        box.headerSize = 16;
        box.size = header.u64be();
    } else if (box.size == 0) {
        box.toTheEnd = true;
        box.size = left;
    }
    if (header.failed() || box.size < box.headerSize)
        return fail();
    if (box.size > left) {
        box.overruns = true;
        box.size = left;
        m_damaged = true;
    }
    m_position += box.size;
    return box;
}

std::optional<Box> findChild(StructureReader& reader, const Box& parent, std::uint32_t type)
{
    BoxWalker walker(reader, parent);
    while (auto box = walker.next()) {
        if (box->type == type && !box->overruns)
            return box;
    }
    return std::nullopt;
}

std::vector<Box> findChildren(StructureReader& reader, const Box& parent, std::uint32_t type)
{
    std::vector<Box> found;
    BoxWalker walker(reader, parent);
    while (auto box = walker.next()) {
        if (box->type == type && !box->overruns)
            found.push_back(*box);
    }
    return found;
}

ByteView payloadStart(StructureReader& reader, const Box& box, std::size_t count)
{
    std::uint64_t length = std::min<std::uint64_t>({ count, box.payloadSize(), StructureReader::WindowSize });
    return reader.peek(box.payloadOffset(), static_cast<std::size_t>(length));
}

std::optional<Box> findMovieBox(StructureReader& reader, std::uint64_t firstBox)
{
    BoxWalker walker(reader, firstBox, reader.size());
    while (auto box = walker.next()) {
        if (box->type == fourCC("moov") && !box->overruns)
            return box;
    }
    return std::nullopt;
}

std::uint64_t firstBoxOffset(StructureReader& reader)
{
    constexpr int MaxTags = 4; // nobody puts more in front of each other
    auto tenAt = [&reader](std::uint64_t place) {
        ByteView ten = reader.peek(place, Id3v2Tag::HeaderSize);
        return Bytes(ten.begin(), ten.end());
    };
    std::uint64_t offset = 0;
    for (int tag = 0; tag < MaxTags; ++tag) {
        const std::uint64_t size = Id3v2Tag::sizeAt(offset, tenAt);
        if (size == 0)
            break;
        offset += size;
    }
    return offset;
}

} // namespace mv
