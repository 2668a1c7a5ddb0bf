#include "mp4/MetadataItems.h"

namespace mv {

namespace {

constexpr std::size_t BoxHeaderSize = 8;
constexpr std::size_t VersionSize = 4; // version and flags
constexpr std::uint32_t FreeformCode = fourCC("----");

/// The text of a freeform item's mean or name box.
std::string boxText(ByteView payload)
{
    return payload.size() < VersionSize ? std::string {} : std::string(charsOf(payload.subspan(VersionSize)));
}

MP4ItmfData parseData(ByteView payload)
{
    ByteReader fields(payload);
    MP4ItmfData data;
    data.typeSetIdentifier = fields.u8();
    data.typeCode = static_cast<MP4ItmfBasicType>(fields.u24be());
    data.locale = fields.u32be();
    ByteView value = fields.rest();
    data.value.assign(value.begin(), value.end());
    return data;
}

ByteView part(ByteView bytes, std::uint64_t offset, std::uint64_t size)
{
    return bytes.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
}

/// Calls `child` with the type, the payload and the whole of each box in `bytes`.
template <class Child> void forEachBox(ByteView bytes, const Child& child)
{
    StructureReader reader(bytes);
    BoxWalker walker(reader, 0, bytes.size());
    while (auto box = walker.next()) {
        if (box->overruns)
            return;
        child(box->type, part(bytes, box->payloadOffset(), box->payloadSize()), part(bytes, box->offset, box->size));
    }
}

void writeBox(ByteWriter& writer, std::uint32_t type, ByteView front, ByteView rest)
{
    writer.u32be(static_cast<std::uint32_t>(BoxHeaderSize + front.size() + rest.size()));
    writer.u32be(type);
    writer.bytes(front);
    writer.bytes(rest);
}

void writeText(ByteWriter& writer, std::uint32_t type, std::string_view text)
{
    constexpr std::array<std::uint8_t, VersionSize> Version {};
    writeBox(writer, type, Version, bytesOf(text));
}

void writeData(ByteWriter& writer, const MP4ItmfData& data)
{
    Bytes front;
    ByteWriter fields(front);
    fields.u8(data.typeSetIdentifier);
    fields.u24be(static_cast<std::uint32_t>(data.typeCode));
    fields.u32be(data.locale);
    writeBox(writer, fourCC("data"), front, data.value);
}

} // namespace

std::uint64_t metaChildrenOffset(StructureReader& reader, const Box& meta)
{
    // A version with its flags is 0; the size of a first box is not.
    ByteReader start(payloadStart(reader, meta, VersionSize));
    bool quickTime = start.u32be() >= BoxHeaderSize;
    return meta.payloadOffset() + (quickTime || meta.payloadSize() < VersionSize ? 0 : VersionSize);
}

std::uint32_t metaHandler(StructureReader& reader, const Box& meta)
{
    BoxWalker walker(reader, metaChildrenOffset(reader, meta), meta.end());
    while (auto box = walker.next()) {
        if (box->type != fourCC("hdlr"))
            continue;
        ByteReader fields(payloadStart(reader, *box, 12));
        fields.skip(8);
        return fields.u32be();
    }
    return 0;
}

namespace {

bool hasItems(StructureReader& reader, const Box& ilst)
{
    BoxWalker walker(reader, ilst);
    while (auto box = walker.next()) {
        if (box->type != fourCC("free") && box->type != fourCC("skip"))
            return true;
    }
    return false;
}

/// Calls `visit` with every place of a list in the user data until it answers true.
template <class Visit> bool visitLists(StructureReader& reader, const Box& udta, const Visit& visit)
{
    BoxWalker user(reader, udta);
    while (auto meta = user.next()) {
        if (meta->type != fourCC("meta") || meta->overruns)
            continue;
        std::uint32_t handler = metaHandler(reader, *meta);
        if (handler != fourCC("mdir") && handler != 0)
            continue;
        std::uint64_t children = metaChildrenOffset(reader, *meta);
        BoxWalker walker(reader, children, meta->end());
        while (auto box = walker.next()) {
            if (box->type == fourCC("ilst") && !box->overruns && visit(MetadataPlace { udta, *meta, children, *box }))
                return true;
        }
    }
    return false;
}

} // namespace

std::optional<MetadataPlace> findMetadata(StructureReader& reader, std::span<const Box> userData)
{
    std::optional<MetadataPlace> found;
    auto take = [&](const MetadataPlace& place) {
        bool filled = hasItems(reader, place.ilst);
        if (filled || !found)
            found = place;
        return filled;
    };
    for (const Box& udta : userData) {
        if (visitLists(reader, udta, take))
            break;
    }
    return found;
}

MP4ItmfItem parseItem(std::uint32_t code, ByteView payload)
{
    MP4ItmfItem item { .code = code };
    forEachBox(payload, [&](std::uint32_t type, ByteView content, ByteView whole) {
        bool isValue = type == fourCC("data") && content.size() >= BoxHeaderSize;
        if (isValue && item.dataList.size() < MaxItemValues)
            item.dataList.push_back(parseData(content));
        else if (type == fourCC("mean") && code == FreeformCode)
            item.mean = boxText(content);
        else if (type == fourCC("name") && code == FreeformCode)
            item.name = boxText(content);
        else
            item.otherBoxes.insert(item.otherBoxes.end(), whole.begin(), whole.end());
    });
    return item;
}

MP4ItmfItemList parseItems(ByteView ilstPayload)
{
    MP4ItmfItemList items;
    forEachBox(ilstPayload, [&](std::uint32_t type, ByteView content, ByteView) {
        if (items.size() < MaxMetadataItems && type != fourCC("free") && type != fourCC("skip"))
            items.push_back(parseItem(type, content));
    });
    return items;
}

Result<MP4ItmfItemList> readItems(StructureReader& reader, std::span<const Box> userData)
{
    auto place = findMetadata(reader, userData);
    if (!place)
        return MP4ItmfItemList {};
    if (place->ilst.payloadSize() > MaxTagBytes)
        return Error { Error::Kind::Limit, "metadata too large" };
    MV_TRY(payload, reader.copy(place->ilst.payloadOffset(), place->ilst.payloadSize()));
    return parseItems(payload);
}

Bytes serializedItem(const MP4ItmfItem& item)
{
    Bytes content;
    ByteWriter writer(content);
    if (item.code == FreeformCode) {
        writeText(writer, fourCC("mean"), item.mean);
        writeText(writer, fourCC("name"), item.name);
    }
    for (const MP4ItmfData& data : item.dataList)
        writeData(writer, data);
    writer.bytes(item.otherBoxes);
    Bytes box;
    ByteWriter whole(box);
    writeBox(whole, item.code, content, {});
    return box;
}

} // namespace mv
