#include "mp4/ChunkOffsets.h"

#include "mp4/MetadataItems.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

/// Tables larger than this are no random access tables of a real file.
constexpr std::uint64_t MaxRandomAccessTable = 16u << 20;

Error unsafe(const char* what)
{
    return { Error::Kind::Unsupported, std::string("media cannot be moved safely: ") + what };
}

/// Overwrites a big-endian number of `size` bytes.
void writeNumber(Bytes& bytes, std::uint64_t offset, std::size_t size, std::uint64_t value)
{
    for (std::size_t i = 0; i < size; ++i)
        bytes[static_cast<std::size_t>(offset) + i] = static_cast<std::uint8_t>(value >> ((size - 1 - i) * 8));
}

/// No file is larger than 2^63 bytes: a wide offset beyond, moved, would come out at the front.
bool fits(std::uint64_t value, std::size_t size) { return value <= (size == 8 ? INT64_MAX : UINT32_MAX); }

/// Calls `visit` with every box below `parent`, through the containers that lead to sample tables.
template <class Visit> void forEachTableBox(StructureReader& reader, const Box& parent, const Visit& visit)
{
    BoxWalker walker(reader, parent);
    while (auto box = walker.next()) {
        if (leadsToSampleTables(parent, *box))
            forEachTableBox(reader, *box, visit);
        else
            visit(*box);
    }
}

/// Copies a movie box, narrow tables that will not do replaced by wide ones, the boxes around them larger by that.
class TableWidener {
public:
    TableWidener(ByteView movieBox, std::uint64_t first, std::uint64_t delta)
        : m_source(movieBox)
        , m_reader(movieBox)
        , m_first(first)
        , m_delta(delta)
    {
    }

    Bytes widened()
    {
        if (auto movie = BoxWalker(m_reader, 0, m_source.size()).next())
            copyContainer(*movie);
        return std::move(m_result);
    }

private:
    void copyBytes(std::uint64_t begin, std::uint64_t end)
    {
        ByteWriter(m_result).bytes(
            m_source.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
    }

    void copyContainer(const Box& parent)
    {
        std::size_t begin = m_result.size();
        copyBytes(parent.offset, parent.payloadOffset());
        std::uint64_t copied = parent.payloadOffset();
        BoxWalker walker(m_reader, parent);
        for (auto box = walker.next(); box && !box->overruns; box = walker.next()) {
            if (leadsToSampleTables(parent, *box))
                copyContainer(*box);
            else if (isTooNarrow(*box))
                writeWide(*box);
            else
                copyBytes(box->offset, box->end());
            copied = box->end();
        }
        copyBytes(copied, parent.end());
        bool wide = parent.headerSize == 16;
        if (!parent.toTheEnd)
            writeNumber(m_result, begin + (wide ? 8 : 0), wide ? 8 : 4, m_result.size() - begin);
    }

    bool isTooNarrow(const Box& box)
    {
        auto table = offsetTable(m_reader, box);
        for (std::uint64_t i = 0; table && table->width == 4 && i < table->count; ++i) {
            std::uint64_t offset = rowAt(m_source, *table, i);
            if (offset >= m_first && !fits(offset + m_delta, table->width))
                return true;
        }
        return false;
    }

    void writeWide(const Box& box)
    {
        OffsetTable table = *offsetTable(m_reader, box);
        ByteWriter writer(m_result);
        constexpr std::uint64_t HeaderSize = 16; // of the box, its version and count
        writer.u32be(static_cast<std::uint32_t>(HeaderSize + table.count * 8)); // within twice the movie box's bound
        writer.u32be(fourCC("co64"));
        writer.u32be(0); // version
        writer.u32be(static_cast<std::uint32_t>(table.count));
        for (std::uint64_t i = 0; i < table.count; ++i)
            writer.u64be(rowAt(m_source, table, i));
    }

    ByteView m_source;
    StructureReader m_reader;
    std::uint64_t m_first;
    std::uint64_t m_delta;
    Bytes m_result;
};

bool isEncrypted(StructureReader& reader, const Box& stsd)
{
    static constexpr std::array Codes
        = { fourCC("enca"), fourCC("encv"), fourCC("drms"), fourCC("drmi"), fourCC("encs"), fourCC("enct") };
    if (stsd.payloadSize() < 8)
        return false;
    BoxWalker walker(reader, stsd.payloadOffset() + 8, stsd.end());
    while (auto entry = walker.next()) {
        if (std::find(Codes.begin(), Codes.end(), entry->type) != Codes.end())
            return true;
    }
    return false;
}

bool hasItemLocations(StructureReader& reader, const Box& meta)
{
    BoxWalker walker(reader, metaChildrenOffset(reader, meta), meta.end());
    while (auto box = walker.next()) {
        if (box->type == fourCC("iloc"))
            return true;
    }
    return false;
}

Result<void> checkMovable(StructureReader& reader, const Box& box)
{
    if (box.type == fourCC("saio") || box.type == fourCC("senc"))
        return unsafe("samples with auxiliary data");
    if (box.type == fourCC("dref") && refersOutside(reader, box))
        return unsafe("media in other files");
    if (box.type == fourCC("stsd") && isEncrypted(reader, box))
        return unsafe("encrypted samples");
    if (box.type == fourCC("meta") && hasItemLocations(reader, box))
        return unsafe("item locations");
    return {};
}

/// The base offset that a track fragment states, moved.
Result<void> addFragmentPatches(
    StructureReader& reader, const Box& moof, std::uint64_t first, std::uint64_t delta, std::vector<Patch>& patches)
{
    constexpr std::uint32_t BaseOffsetFlag = 1;
    BoxWalker walker(reader, moof);
    while (auto traf = walker.next()) {
        auto header = traf->type == fourCC("traf") ? findChild(reader, *traf, fourCC("tfhd")) : std::nullopt;
        if (!header)
            continue;
        ByteReader fields(payloadStart(reader, *header, 16));
        bool stated = fields.u32be() & BaseOffsetFlag;
        fields.skip(4);
        std::uint64_t base = fields.u64be();
        if (!stated || fields.failed() || base < first)
            continue;
        Patch patch { header->payloadOffset() + 8, Bytes(8) };
        writeNumber(patch.bytes, 0, 8, base + delta);
        patches.push_back(std::move(patch));
    }
    return {};
}

Result<void> addRandomAccessPatch(
    StructureReader& reader, const Box& tfra, std::uint64_t first, std::uint64_t delta, std::vector<Patch>& patches)
{
    if (tfra.payloadSize() > MaxRandomAccessTable)
        return Error { Error::Kind::Limit, "random access table too large" };
    MV_TRY(bytes, reader.copy(tfra.payloadOffset(), tfra.payloadSize()));
    ByteReader fields(bytes);
    const std::size_t width = fields.u8() == 1 ? 8 : 4;
    fields.skip(3 + 4);
    std::uint32_t lengths = fields.u32be();
    std::size_t numbers = 3;
    for (int shift : { 4, 2, 0 })
        numbers += lengths >> shift & 3;
    std::uint32_t count = fields.u32be();
    for (std::uint32_t i = 0; i < count && !fields.failed(); ++i) {
        fields.skip(width);
        std::size_t place = fields.position();
        std::uint64_t offset = width == 8 ? fields.u64be() : fields.u32be();
        fields.skip(numbers);
        if (fields.failed() || offset < first)
            continue;
        if (!fits(offset + delta, width))
            return unsafe("a random access table is too narrow");
        writeNumber(bytes, place, width, offset + delta);
    }
    patches.push_back({ tfra.payloadOffset(), std::move(bytes) });
    return {};
}

/// An index in front of the movie box counts from its own end; what it counts to moves away from it.
Result<void> addIndexPatch(StructureReader& reader, const Box& sidx, std::uint64_t delta, std::vector<Patch>& patches)
{
    ByteReader fields(payloadStart(reader, sidx, 28));
    const std::size_t width = fields.u8() == 0 ? 4 : 8;
    fields.skip(3 + 8 + width);
    std::size_t place = fields.position();
    std::uint64_t firstOffset = width == 8 ? fields.u64be() : fields.u32be();
    if (fields.failed() || !fits(firstOffset + delta, width))
        return unsafe("a segment index is too narrow");
    Patch patch { sidx.payloadOffset() + place, Bytes(width) };
    writeNumber(patch.bytes, 0, width, firstOffset + delta);
    patches.push_back(std::move(patch));
    return {};
}

} // namespace

bool leadsToSampleTables(const Box& parent, const Box& child)
{
    struct Step {
        std::uint32_t parent;
        std::uint32_t child;
    };
    static constexpr Step Path[] = {
        { fourCC("moov"), fourCC("trak") },
        { fourCC("trak"), fourCC("mdia") },
        { fourCC("mdia"), fourCC("minf") },
        { fourCC("minf"), fourCC("stbl") },
        { fourCC("minf"), fourCC("dinf") },
    };
    return std::any_of(std::begin(Path), std::end(Path),
        [&](const Step& step) { return step.parent == parent.type && step.child == child.type; });
}

std::optional<OffsetTable> offsetTable(StructureReader& reader, const Box& box)
{
    constexpr std::uint64_t HeaderSize = 8;
    if ((box.type != fourCC("stco") && box.type != fourCC("co64")) || box.payloadSize() < HeaderSize)
        return std::nullopt;
    OffsetTable table { .rows = box.payloadOffset() + HeaderSize, .width = box.type == fourCC("co64") ? 8u : 4u };
    ByteReader fields(payloadStart(reader, box, HeaderSize));
    fields.skip(4);
    table.count = std::min<std::uint64_t>(fields.u32be(), (box.payloadSize() - HeaderSize) / table.width);
    return table;
}

std::uint64_t rowAt(ByteView movieBox, const OffsetTable& table, std::uint64_t index)
{
    ByteReader row(movieBox.subspan(static_cast<std::size_t>(table.rows + index * table.width), table.width));
    return table.width == 8 ? row.u64be() : row.u32be();
}

/// Bit 0 of a reference's flags: the media are in this file.
bool refersOutside(StructureReader& reader, const Box& dref)
{
    if (dref.payloadSize() < 8)
        return false;
    BoxWalker walker(reader, dref.payloadOffset() + 8, dref.end());
    while (auto entry = walker.next()) {
        ByteReader fields(payloadStart(reader, *entry, 4));
        if (!(fields.u32be() & 1))
            return true;
    }
    return false;
}

bool anyChunkInside(ByteView movieBox, std::uint64_t begin, std::uint64_t end)
{
    StructureReader reader(movieBox);
    bool inside = false;
    if (auto movie = BoxWalker(reader, 0, movieBox.size()).next()) {
        forEachTableBox(reader, *movie, [&](const Box& box) {
            auto table = offsetTable(reader, box);
            for (std::uint64_t i = 0; table && i < table->count && !inside; ++i) {
                std::uint64_t offset = rowAt(movieBox, *table, i);
                inside = offset >= begin && offset < end;
            }
        });
    }
    return inside;
}

Bytes withWideOffsets(ByteView movieBox, std::uint64_t first, std::uint64_t delta)
{
    return TableWidener(movieBox, first, delta).widened();
}

Result<void> shiftChunkOffsets(Bytes& movieBox, std::uint64_t first, std::uint64_t delta)
{
    StructureReader reader { ByteView(movieBox) };
    auto movie = BoxWalker(reader, 0, movieBox.size()).next();
    if (!movie)
        return Error { Error::Kind::Format, "no movie box" };
    Result<void> outcome;
    forEachTableBox(reader, *movie, [&](const Box& box) {
        if (outcome.ok())
            outcome = checkMovable(reader, box);
        auto table = offsetTable(reader, box);
        for (std::uint64_t i = 0; table && i < table->count && outcome.ok(); ++i) {
            std::uint64_t offset = rowAt(movieBox, *table, i);
            if (offset < first)
                continue;
            if (!fits(offset + delta, table->width))
                outcome = unsafe("a chunk offset is too narrow");
            else
                writeNumber(movieBox, table->rows + i * table->width, table->width, offset + delta);
        }
    });
    return outcome;
}

Result<std::vector<Patch>> shiftedFileOffsets(
    StructureReader& reader, std::uint64_t firstBox, std::uint64_t first, std::uint64_t delta)
{
    std::vector<Patch> patches;
    BoxWalker walker(reader, firstBox, reader.size());
    while (auto box = walker.next()) {
        MV_TRY_VOID(checkMovable(reader, *box));
        if (box->type == fourCC("sidx") && box->offset < first)
            MV_TRY_VOID(addIndexPatch(reader, *box, delta, patches));
        else if (box->type == fourCC("moof"))
            MV_TRY_VOID(addFragmentPatches(reader, *box, first, delta, patches));
        if (box->type != fourCC("mfra"))
            continue;
        BoxWalker tables(reader, *box);
        while (auto table = tables.next()) {
            if (table->type == fourCC("tfra") && !table->overruns)
                MV_TRY_VOID(addRandomAccessPatch(reader, *table, first, delta, patches));
        }
    }
    return patches;
}

} // namespace mv
