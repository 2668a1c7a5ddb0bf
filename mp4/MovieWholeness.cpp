#include "mp4/MovieWholeness.h"

#include "mp4/ChunkOffsets.h"

#include <algorithm>

namespace mv {

namespace {

/// A sample table: version and flags, the count behind `countOffset` bytes, rows of one size.
struct TableShape {
    std::uint32_t type;
    std::uint32_t countOffset;
    std::uint32_t rowSize;
};

constexpr TableShape TableShapes[] = {
    { fourCC("stts"), 4, 8 },
    { fourCC("ctts"), 4, 8 },
    { fourCC("stss"), 4, 4 },
    { fourCC("stsc"), 4, 12 },
    { fourCC("stsz"), 8, 4 },
    { fourCC("stco"), 4, 4 },
    { fourCC("co64"), 4, 8 },
};

bool holdsItsRows(StructureReader& reader, const Box& box)
{
    auto shape = std::find_if(
        std::begin(TableShapes), std::end(TableShapes), [&](const TableShape& each) { return each.type == box.type; });
    if (shape == std::end(TableShapes))
        return true;
    std::uint64_t headerSize = shape->countOffset + 4;
    ByteReader header(payloadStart(reader, box, static_cast<std::size_t>(headerSize)));
    header.skip(4);
    bool sameSizes = box.type == fourCC("stsz") && header.u32be() != 0; // then there are no rows
    std::uint64_t count = header.u32be();
    // One that is too short for a count says nothing: files whose media were taken out have such.
    return header.failed() || sameSizes || count * shape->rowSize <= box.payloadSize() - headerSize;
}

/// Of a sample description or a list of data references.
bool holdsItsEntries(StructureReader& reader, const Box& list)
{
    constexpr std::uint64_t HeaderSize = 8;
    ByteReader header(payloadStart(reader, list, HeaderSize));
    header.skip(4);
    std::uint32_t count = header.u32be();
    if (header.failed())
        return true;
    BoxWalker entries(reader, list.payloadOffset() + HeaderSize, list.end());
    for (std::uint32_t i = 0; i < count; ++i) {
        auto entry = entries.next();
        if (!entry || entry->overruns)
            return false;
    }
    return true;
}

bool holdsItsBoxes(StructureReader& reader, const Box& parent)
{
    BoxWalker walker(reader, parent);
    while (auto box = walker.next()) {
        bool hasEntries = box->type == fourCC("stsd") || box->type == fourCC("dref");
        bool whole = leadsToSampleTables(parent, *box) ? holdsItsBoxes(reader, *box)
            : hasEntries                               ? holdsItsEntries(reader, *box)
                                                       : holdsItsRows(reader, *box);
        if (!whole || box->overruns)
            return false;
    }
    return true;
}

} // namespace

bool isWholeMovie(StructureReader& reader, const Box& movie)
{
    // Bytes that are no box end every reader's list; a list for which there was no room could come behind them.
    BoxWalker walker(reader, movie);
    while (walker.next()) { }
    return !walker.damaged() && holdsItsBoxes(reader, movie);
}

} // namespace mv
