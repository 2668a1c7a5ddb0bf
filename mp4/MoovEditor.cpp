#include "mp4/MoovEditor.h"

#include "mp4/RepeatedFields.h"

#include <algorithm>
#include <unordered_map>

namespace mv {

namespace {

const Error kDamaged { Error::Kind::Format, "the metadata's boxes overrun each other" };

void writeBox(ByteWriter& writer, std::uint32_t type, ByteView content)
{
    writer.u32be(static_cast<std::uint32_t>(8 + content.size()));
    writer.u32be(type);
    writer.bytes(content);
}

/// The handler box that makes a meta box iTunes-style metadata.
Bytes metadataHandler()
{
    Bytes content;
    ByteWriter writer(content);
    writer.zeros(8); // version, reserved
    writer.text("mdirappl");
    writer.zeros(9); // reserved, an empty name
    Bytes box;
    ByteWriter whole(box);
    writeBox(whole, fourCC("hdlr"), content);
    return box;
}

bool isFreeSpace(const Box& box) { return box.type == fourCC("free") || box.type == fourCC("skip"); }

/// The end of the last box in a range, so that a closing zero of QuickTime stays the last thing.
Result<std::uint64_t> endOfBoxes(StructureReader& reader, std::uint64_t begin, std::uint64_t end)
{
    std::uint64_t last = begin;
    BoxWalker walker(reader, begin, end);
    while (auto box = walker.next()) {
        if (box->overruns)
            return kDamaged;
        last = box->end();
    }
    return last;
}

/// A meta box of iTunes style without a list.
std::optional<Box> emptyMetadata(StructureReader& reader, const Box& udta)
{
    BoxWalker walker(reader, udta);
    while (auto meta = walker.next()) {
        if (meta->type == fourCC("meta") && !meta->overruns && metaHandler(reader, *meta) == fourCC("mdir"))
            return meta;
    }
    return std::nullopt;
}

void writeSize(Bytes& bytes, const Box& box, std::uint64_t size)
{
    Bytes field;
    ByteWriter writer(field);
    if (box.headerSize == 16)
        writer.u64be(size);
    else
        writer.u32be(static_cast<std::uint32_t>(size)); // MaxMovieBoxBytes fits
    std::size_t offset = static_cast<std::size_t>(box.offset) + (box.headerSize == 16 ? 8 : 0);
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

} // namespace

Result<MoovEditor> MoovEditor::load(StructureReader& reader, const Box& movieBox)
{
    if (movieBox.size > MaxMovieBoxBytes)
        return Error { Error::Kind::Limit, "movie box too large" };
    MV_TRY(bytes, reader.copy(movieBox.offset, movieBox.size));
    MoovEditor editor(std::move(bytes));
    MV_TRY_VOID(editor.locate());
    return editor;
}

Result<void> MoovEditor::locate()
{
    StructureReader reader { ByteView(m_bytes) };
    auto movie = BoxWalker(reader, 0, m_bytes.size()).next();
    if (!movie)
        return kDamaged;
    MV_TRY(endOfMovie, endOfBoxes(reader, movie->payloadOffset(), movie->end()));
    m_begin = m_end = endOfMovie;
    if (auto place = findMetadata(reader, findChildren(reader, *movie, fourCC("udta"))))
        return takeList(reader, *movie, *place);
    return takeEmptyPlace(reader, *movie);
}

/// The list is replaced together with the free space beside it.
Result<void> MoovEditor::takeList(StructureReader& reader, const Box& movie, const MetadataPlace& place)
{
    MV_TRY_VOID(endOfBoxes(reader, place.udta.payloadOffset(), place.udta.end()));
    m_parents = { movie, place.udta, place.meta };
    std::uint64_t freeRun = place.metaChildren; // where the free space that touches the next box begins
    enum { Before, Touching, Behind } where = Before;
    BoxWalker walker(reader, place.metaChildren, place.meta.end());
    while (auto box = walker.next()) {
        if (box->overruns)
            return kDamaged;
        if (box->offset == place.ilst.offset) {
            m_begin = freeRun;
            m_end = box->end();
            where = Touching;
        } else if (!isFreeSpace(*box)) {
            freeRun = box->end();
            where = where == Before ? Before : Behind;
        } else if (where == Touching) {
            m_end = box->end();
        }
    }
    BoxWalker items(reader, place.ilst);
    ByteView all(m_bytes);
    auto view = [&](std::uint64_t offset, std::uint64_t size) {
        return all.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
    };
    while (auto item = items.next()) {
        if (!isFreeSpace(*item)) {
            m_oldItems.push_back(
                { item->type, view(item->offset, item->size), view(item->payloadOffset(), item->payloadSize()) });
        }
    }
    if (items.damaged() || m_oldItems.size() > MaxMetadataItems)
        return Error { Error::Kind::Format, "the metadata list is damaged" };
    return {};
}

/// Without a list: in the first metadata box that has none, else at the end of the user data, else of the movie.
Result<void> MoovEditor::takeEmptyPlace(StructureReader& reader, const Box& movie)
{
    m_parents = { movie };
    m_missing = Missing::UserData;
    auto udta = findChild(reader, movie, fourCC("udta"));
    if (!udta)
        return {};
    m_parents.push_back(*udta);
    m_missing = Missing::Meta;
    MV_TRY(endOfUserData, endOfBoxes(reader, udta->payloadOffset(), udta->end()));
    m_begin = m_end = endOfUserData;
    auto meta = emptyMetadata(reader, *udta);
    if (!meta) {
        // In front of metadata of another kind: many readers look into the first box only.
        if (auto other = findChild(reader, *udta, fourCC("meta")))
            m_begin = m_end = other->offset;
        return {};
    }
    m_parents.push_back(*meta);
    m_missing = Missing::Nothing;
    MV_TRY(endOfMeta, endOfBoxes(reader, metaChildrenOffset(reader, *meta), meta->end()));
    m_begin = m_end = endOfMeta;
    return {};
}

/// Takes the first of the candidates (the list has the last one first) that says the same, or null.
MoovEditor::OldItem* MoovEditor::takeEqual(std::vector<OldItem*>& candidates, const MP4ItmfItem& item)
{
    for (auto place = candidates.rbegin(); place != candidates.rend(); ++place) {
        OldItem* old = *place;
        if (parseItem(old->code, old->payload) != item)
            continue;
        candidates.erase(std::next(place).base());
        return old;
    }
    return nullptr;
}

void MoovEditor::hideRepeated(std::span<const std::uint32_t> codes)
{
    StructureReader reader { ByteView(m_bytes) };
    auto movie = BoxWalker(reader, 0, m_bytes.size()).next();
    if (!movie)
        return;
    for (const Box& box : repeatedFields(reader, *movie, codes)) {
        auto begin = m_bytes.begin() + static_cast<std::ptrdiff_t>(box.offset);
        std::ranges::copy(std::string_view("free"), begin + 4);
        std::fill(
            begin + static_cast<std::ptrdiff_t>(box.headerSize), begin + static_cast<std::ptrdiff_t>(box.size), 0);
    }
}

void MoovEditor::setItems(const MP4ItmfItemList& items)
{
    std::unordered_map<std::uint32_t, std::vector<OldItem*>> candidates;
    for (auto old = m_oldItems.rbegin(); old != m_oldItems.rend(); ++old)
        candidates[old->code].push_back(&*old);
    Bytes content;
    ByteWriter writer(content);
    for (const MP4ItmfItem& item : items) {
        OldItem* same = takeEqual(candidates[item.code], item);
        if (same)
            writer.bytes(same->box);
        else
            writer.bytes(serializedItem(item));
    }
    m_list.clear();
    ByteWriter list(m_list);
    writeBox(list, fourCC("ilst"), content);
}

Bytes MoovEditor::wrapped(Bytes inner) const
{
    if (m_missing == Missing::Nothing)
        return inner;
    Bytes content(4); // version
    ByteWriter writer(content);
    writer.bytes(metadataHandler());
    writer.bytes(inner);
    Bytes meta;
    ByteWriter metaWriter(meta);
    writeBox(metaWriter, fourCC("meta"), content);
    if (m_missing == Missing::Meta)
        return meta;
    Bytes udta;
    ByteWriter udtaWriter(udta);
    writeBox(udtaWriter, fourCC("udta"), meta);
    return udta;
}

std::uint64_t MoovEditor::sizeWithoutPadding() const
{
    return m_bytes.size() - (m_end - m_begin) + m_list.size() + wrapped({}).size();
}

Bytes MoovEditor::rebuilt(std::uint64_t padding) const
{
    Bytes inner = m_list;
    if (padding >= FreeBoxHeader) {
        ByteWriter writer(inner);
        writeBox(writer, fourCC("free"), Bytes(static_cast<std::size_t>(padding - FreeBoxHeader)));
    }
    inner = wrapped(std::move(inner));
    Bytes result;
    result.reserve(m_bytes.size() + inner.size());
    ByteView all(m_bytes);
    ByteWriter writer(result);
    writer.bytes(all.first(static_cast<std::size_t>(m_begin)));
    writer.bytes(inner);
    writer.bytes(all.subspan(static_cast<std::size_t>(m_end)));
    for (const Box& parent : m_parents)
        writeSize(result, parent, parent.size + inner.size() - (m_end - m_begin));
    return result;
}

} // namespace mv
