#pragma once

#include "Base/Core/ByteReader.h"
#include "mp4/StructureReader.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace mv {

/// Where a box of the ISO base media file format lies: absolute places in the file, all inside its parent.
struct Box {
    std::uint32_t type = 0;
    std::uint64_t offset = 0; ///< of the header
    std::uint32_t headerSize = 0;
    std::uint64_t size = 0; ///< with the header
    bool toTheEnd = false; ///< the size field is 0: the box lasts until its parent ends
    bool overruns = false; ///< the size field says more than the parent holds; `size` is cut to the parent

    std::uint64_t payloadOffset() const { return offset + headerSize; }
    std::uint64_t payloadSize() const { return size - headerSize; }
    std::uint64_t end() const { return offset + size; }
};

/// Steps over the boxes of a range. Ends at the end of the range, at bytes that are no box, behind an overrunning
/// box, or after `MaxBoxes`.
class BoxWalker {
public:
    /// No container of a sound file holds as many; keeps a file of empty boxes from taking minutes. A day of
    /// recording in fragments of half a second stays below.
    static constexpr std::size_t MaxBoxes = 1u << 20;

    BoxWalker(StructureReader& reader, std::uint64_t begin, std::uint64_t end)
        : m_reader(reader)
        , m_position(begin)
        , m_end(end)
    {
    }
    /// The children of a plain container box.
    BoxWalker(StructureReader& reader, const Box& parent)
        : BoxWalker(reader, parent.payloadOffset(), parent.end())
    {
    }

    std::optional<Box> next();
    /// True when bytes were left that make no whole box (up to 4 zero bytes at the end, which close QuickTime lists,
    /// do not count), or a box overran its parent.
    bool damaged() const { return m_damaged; }

private:
    std::optional<Box> fail();

    StructureReader& m_reader;
    std::uint64_t m_position;
    std::uint64_t m_end;
    std::size_t m_count = 0;
    bool m_damaged = false;
};

/// The first child of that type, overrunning ones not counted.
std::optional<Box> findChild(StructureReader& reader, const Box& parent, std::uint32_t type);

/// Every child of that type, overrunning ones not counted.
std::vector<Box> findChildren(StructureReader& reader, const Box& parent, std::uint32_t type);

/// The first `count` bytes of a box's payload, or what it has, or what one peek can show, if that is less.
ByteView payloadStart(StructureReader& reader, const Box& box, std::size_t count);

/// Where the boxes of the file begin: 0, or behind ID3v2 tags. Files with such a tag in front are made on purpose by
/// audio conversion, so that readers of either kind of tag find one.
std::uint64_t firstBoxOffset(StructureReader& reader);

/// The first movie box that does not overrun the file, of the boxes from `firstBox` on.
std::optional<Box> findMovieBox(StructureReader& reader, std::uint64_t firstBox);

} // namespace mv
