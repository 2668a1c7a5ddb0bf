#pragma once

#include "mp4/Box.h"
#include "mp4/Patch.h"

namespace mv {

/// Whether a box is the next one on the way from the movie box to sample tables and data references. At most five boxes
/// lead there, however deep a file nests others.
bool leadsToSampleTables(const Box& parent, const Box& child);

/// A table of chunk offsets: where its rows are, and how wide.
struct OffsetTable {
    std::uint64_t rows = 0; ///< offset of the first one
    std::uint64_t count = 0; ///< those that the box holds
    std::size_t width = 4;
};
/// Nothing for a box that is none.
std::optional<OffsetTable> offsetTable(StructureReader& reader, const Box& box);
/// One of the rows, of a table in that box in memory.
std::uint64_t rowAt(ByteView movieBox, const OffsetTable& table, std::uint64_t index);

/// True when a list of data references names other files.
bool refersOutside(StructureReader& reader, const Box& dref);

/// True when a chunk of a track begins inside [begin, end) of the file, by the tables of the movie box in memory.
bool anyChunkInside(ByteView movieBox, std::uint64_t begin, std::uint64_t end);

/// The movie box, its tables of 32-bit chunk offsets made wide ones where an offset from `first` on would no longer fit
/// when `delta` is added to it. The offsets are not moved; the box is larger by 4 bytes for each offset made wide.
Bytes withWideOffsets(ByteView movieBox, std::uint64_t first, std::uint64_t delta);

/// Adds `delta` to every chunk offset from `first` on. Fails with Unsupported where an offset no longer fits into its
/// field, or where something else in the box may hold file offsets: encrypted samples, external media, item locations.
Result<void> shiftChunkOffsets(Bytes& movieBox, std::uint64_t first, std::uint64_t delta);

/// What has to change outside the movie box when everything from `first` on moves by `delta`: segment indexes in front
/// of it, base offsets of fragments, random access tables.
Result<std::vector<Patch>> shiftedFileOffsets(
    StructureReader& reader, std::uint64_t firstBox, std::uint64_t first, std::uint64_t delta);

} // namespace mv
