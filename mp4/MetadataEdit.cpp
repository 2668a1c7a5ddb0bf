#include "mp4/MetadataEdit.h"

#include "mp4/ChunkExtents.h"
#include "mp4/ChunkOffsets.h"
#include "mp4/MoovEditor.h"
#include "mp4/MovieWholeness.h"
#include "mp4/RepeatedFields.h"

namespace mv {

namespace {

constexpr std::uint64_t FreeBoxHeader = MoovEditor::FreeBoxHeader;

/// The boxes of a file's top level, as far as a new place for the movie box depends on them.
struct FileLayout {
    std::uint64_t firstBox = 0;
    Box movie;
    std::uint64_t slotBegin = 0; // the movie box with the free boxes that touch it
    std::uint64_t slotEnd = 0;
    bool fragmentsBehind = false; // they have to come after the movie box
    Box last;
    std::optional<Box> beforeLast;
    bool endsSoundly = false; // a box put behind everything is found there
};

bool isFreeSpace(const Box& box)
{
    return box.type == fourCC("free") || box.type == fourCC("skip") || box.type == fourCC("wide");
}

Result<FileLayout> readLayout(StructureReader& reader)
{
    FileLayout layout { .firstBox = firstBoxOffset(reader) };
    bool found = false;
    std::uint64_t freeRun = layout.firstBox;
    BoxWalker walker(reader, layout.firstBox, reader.size());
    while (auto box = walker.next()) {
        if (layout.last.size != 0)
            layout.beforeLast = layout.last;
        layout.last = *box;
        bool usable = isFreeSpace(*box) && !box->toTheEnd && !box->overruns;
        if (!found && box->type == fourCC("moov") && !box->overruns) {
            found = true;
            layout.movie = *box;
            layout.slotBegin = freeRun;
            layout.slotEnd = box->end();
        } else if (found && usable && layout.slotEnd == box->offset) {
            layout.slotEnd = box->end();
        }
        if (!found && !usable)
            freeRun = box->end();
        layout.fragmentsBehind = layout.fragmentsBehind || (found && box->type == fourCC("moof"));
    }
    if (!found)
        return Error { Error::Kind::Format, "no movie box" };
    // Padding of zeros reads as a last box without a type; given a size, it would end some players' reading.
    layout.endsSoundly = !walker.damaged() && layout.last.type != 0 && layout.last.end() == reader.size();
    return layout;
}

bool fitsInto(std::uint64_t size, std::uint64_t space) { return size == space || size + FreeBoxHeader <= space; }

Bytes freeBox(std::uint64_t size)
{
    Bytes box;
    ByteWriter writer(box);
    writer.u32be(static_cast<std::uint32_t>(size));
    writer.text("free");
    writer.zeros(static_cast<std::size_t>(size - FreeBoxHeader));
    return box;
}

/// The movie box in its slot, what is left of the slot as free space behind it.
Bytes filledSlot(Bytes movie, std::uint64_t slot)
{
    std::uint64_t left = slot - movie.size();
    if (left == 0)
        return movie;
    // Free space may be larger than memory: only its header is new, the rest is copied by the caller.
    ByteWriter writer(movie);
    writer.u32be(left <= UINT32_MAX ? static_cast<std::uint32_t>(left) : 1);
    writer.text("free");
    if (left > UINT32_MAX)
        writer.u64be(left);
    return movie;
}

/// A box that lasts until the end of the file gets a size, so that another one can follow it. Nothing where it has
/// no room for that: a size beyond 4 GB needs 8 bytes more, which an empty free box in front can give.
std::optional<Patch> closedLastBox(const FileLayout& layout)
{
    const Box& last = layout.last;
    Bytes header;
    ByteWriter writer(header);
    if (last.size <= UINT32_MAX) {
        writer.u32be(static_cast<std::uint32_t>(last.size));
        return Patch { last.offset, std::move(header) };
    }
    if (!layout.beforeLast || !isFreeSpace(*layout.beforeLast) || layout.beforeLast->size != FreeBoxHeader)
        return std::nullopt;
    writer.u32be(1);
    writer.u32be(last.type);
    writer.u64be(last.size + FreeBoxHeader);
    return Patch { layout.beforeLast->offset, std::move(header) };
}

std::vector<Patch> alone(Patch patch)
{
    std::vector<Patch> patches;
    patches.push_back(std::move(patch));
    return patches;
}

std::vector<Patch> inPlace(const FileLayout& layout, const MoovEditor& editor)
{
    return alone({ layout.movie.offset, editor.rebuilt(layout.movie.size - editor.sizeWithoutPadding()) });
}

std::vector<Patch> inSlot(const FileLayout& layout, const MoovEditor& editor)
{
    Bytes filled = filledSlot(editor.rebuilt(0), layout.slotEnd - layout.slotBegin);
    // Old metadata must not show through the free space.
    std::uint64_t least = layout.movie.end() - layout.slotBegin;
    if (filled.size() < least)
        filled.resize(static_cast<std::size_t>(least));
    return alone({ layout.slotBegin, std::move(filled) });
}

/// Whether samples are said to lie behind the end of the file, which was cut. What is put there would be played.
bool isCut(const StructureReader& reader, const MoovEditor& editor)
{
    return anyChunk(editor.bytes(), [&](const ChunkExtent& chunk) { return chunk.end > reader.size(); });
}

/// Nothing where a movie box at the end would not be found, or must not be.
std::optional<std::vector<Patch>> atTheEnd(
    const StructureReader& reader, const FileLayout& layout, const MoovEditor& editor)
{
    if (!layout.endsSoundly || isCut(reader, editor))
        return std::nullopt;
    Bytes movie = editor.rebuilt(MoovEditor::DefaultPadding);
    if (layout.slotEnd == reader.size())
        return alone({ layout.slotBegin, std::move(movie), reader.size() - layout.slotBegin });
    if (layout.fragmentsBehind || layout.movie.size < FreeBoxHeader)
        return std::nullopt;
    std::vector<Patch> patches;
    patches.push_back({ layout.movie.offset, freeBox(layout.movie.size) });
    if (layout.last.toTheEnd) {
        auto closed = closedLastBox(layout);
        if (!closed || closed->offset < layout.movie.end())
            return std::nullopt;
        patches.push_back(std::move(*closed));
    }
    patches.push_back({ reader.size(), std::move(movie), 0 });
    return patches;
}

/// The movie box, larger than the old one by whole blocks: what follows then keeps its place within its block. Its
/// chunk offsets are wide enough to be moved by that.
Bytes movieOfWholeBlocksMore(const FileLayout& layout, const MoovEditor& editor)
{
    // More than the box can grow by, so that the padding does not decide which tables become wide.
    std::uint64_t most = 2 * editor.sizeWithoutPadding() + MoovEditor::DefaultPadding + SharedBlockBytes;
    auto padded
        = [&](std::uint64_t padding) { return withWideOffsets(editor.rebuilt(padding), layout.movie.end(), most); };
    Bytes movie = padded(MoovEditor::DefaultPadding);
    // Modulo 2^64, of which a block is a divisor.
    std::uint64_t beyond = (movie.size() - layout.movie.size) % SharedBlockBytes;
    return beyond == 0 ? movie : padded(MoovEditor::DefaultPadding + SharedBlockBytes - beyond);
}

Result<std::vector<Patch>> shifted(StructureReader& reader, const FileLayout& layout, const MoovEditor& editor)
{
    Bytes movie = movieOfWholeBlocksMore(layout, editor);
    if (movie.size() < layout.movie.size)
        return Error { Error::Kind::Format, "the movie box has no place" };
    std::uint64_t end = layout.movie.end();
    std::uint64_t delta = movie.size() - layout.movie.size;
    if (anyChunk(editor.bytes(), [&](const ChunkExtent& chunk) { return chunk.begin < end && chunk.end > end; }))
        return Error { Error::Kind::Unsupported, "media reach over the movie box" };
    MV_TRY_VOID(shiftChunkOffsets(movie, end, delta));
    MV_TRY(patches, shiftedFileOffsets(reader, layout.firstBox, end, delta));
    patches.push_back({ layout.movie.offset, std::move(movie), layout.movie.size });
    return patches;
}

/// The movie box goes where it disturbs the file least.
Result<std::vector<Patch>> firstThatFits(StructureReader& reader, const FileLayout& layout, const MoovEditor& editor)
{
    std::uint64_t size = editor.sizeWithoutPadding();
    bool isLast = layout.slotEnd == reader.size();
    if (fitsInto(size, layout.movie.size))
        return inPlace(layout, editor);
    // What comes behind the damage would be read at another place than before.
    if (!isWholeMovie(reader, layout.movie))
        return Error { Error::Kind::Format, "the movie box is damaged and has no room" };
    if (!isLast && fitsInto(size, layout.slotEnd - layout.slotBegin))
        return inSlot(layout, editor);
    if (auto patches = atTheEnd(reader, layout, editor))
        return std::move(*patches);
    return shifted(reader, layout, editor);
}

Result<std::vector<Patch>> planItems(
    StructureReader& reader, const MP4ItmfItemList& items, std::span<const std::uint32_t> alone)
{
    MV_TRY(layout, readLayout(reader));
    if (items.size() > MaxMetadataItems)
        return Error { Error::Kind::Limit, "too many metadata items" };
    MV_TRY(editor, MoovEditor::load(reader, layout.movie));
    editor.hideRepeated(alone);
    editor.setItems(items);
    if (editor.listSize() > MaxTagBytes || editor.sizeWithoutPadding() > MoovEditor::MaxMovieBoxBytes)
        return Error { Error::Kind::Limit, "metadata too large" };
    if (anyChunkInside(editor.bytes(), layout.movie.offset, layout.movie.end()))
        return Error { Error::Kind::Unsupported, "media inside the movie box" };
    if (anyChunkInside(editor.bytes(), layout.slotBegin, layout.slotEnd)) { // media in what calls itself free
        layout.slotBegin = layout.movie.offset;
        layout.slotEnd = layout.movie.end();
    }
    return firstThatFits(reader, layout, editor);
}

} // namespace

MetadataEdit::MetadataEdit(Change change, std::vector<std::uint32_t> alone)
    : m_change(std::move(change))
    , m_alone(std::move(alone))
{
}

bool MetadataEdit::isRepeated(StructureReader& reader) const
{
    if (m_alone.empty())
        return false;
    auto movie = findMovieBox(reader, firstBoxOffset(reader));
    return movie && !repeatedFields(reader, *movie, m_alone).empty();
}

Result<std::optional<FileContent>> MetadataEdit::plan(StructureReader current)
{
    MV_TRY(before, MovieSummary::of(current));
    MP4ItmfItemList items = m_change(before.items);
    if (items == before.items && !isRepeated(current))
        return std::optional<FileContent> {};
    m_expected = std::move(before);
    m_expected.items = std::move(items);
    MV_TRY(patches, planItems(current, m_expected.items, m_alone));
    FileContent content = patchedContent(std::move(patches), current.size());
    m_outline = outlineOf(content);
    return std::optional(std::move(content));
}

Result<void> MetadataEdit::check(StructureReader made) const
{
    MV_TRY(movie, MovieSummary::of(made));
    if (movie.items != m_expected.items || movie.tracks.size() != m_expected.tracks.size()
        || movie.duration != m_expected.duration)
        return Error { Error::Kind::Format, "the new metadata does not read back as it was written" };
    if (isRepeated(made))
        return Error { Error::Kind::Format, "the movie says again what was changed" };
    movie.traceBack(m_outline);
    if (movie != m_expected)
        return Error { Error::Kind::Format, "the edited file lost its samples" };
    return {};
}

} // namespace mv
