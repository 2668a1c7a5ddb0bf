#include "mp4/KeyedItems.h"

#include "Base/Core/Bytes.h"
#include "mp4/MetadataItems.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::string_view QuickTimePrefix = "com.apple.quicktime.";

/// The names that items have by their place, from 1.
std::vector<std::string> keysOf(StructureReader& reader, const Box& box)
{
    constexpr std::uint64_t MaxKeyBytes = std::uint64_t { 256 } << 10;
    std::vector<std::string> keys;
    auto payload = reader.copy(box.payloadOffset(), std::min(box.payloadSize(), MaxKeyBytes));
    if (!payload)
        return keys;
    ByteReader fields(*payload);
    fields.skip(4);
    std::uint32_t count = fields.u32be();
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint32_t size = fields.u32be();
        fields.skip(4); // the name space, always "mdta"
        ByteView bytes = fields.take(size >= 8 ? size - 8 : 0);
        if (fields.failed() || size < 8)
            break;
        std::string_view key = charsOf(bytes);
        if (key.starts_with(QuickTimePrefix))
            key.remove_prefix(QuickTimePrefix.size());
        keys.emplace_back(key);
    }
    return keys;
}

void addItemsOf(StructureReader& reader, const Box& meta, std::vector<KeyedItem>& items)
{
    if (metaHandler(reader, meta) != fourCC("mdta"))
        return;
    std::vector<std::string> keys;
    std::optional<Box> list;
    BoxWalker children(reader, metaChildrenOffset(reader, meta), meta.end());
    while (auto box = children.next()) {
        if (box->type == fourCC("keys"))
            keys = keysOf(reader, *box);
        else if (box->type == fourCC("ilst") && !box->overruns)
            list = box;
    }
    if (!list)
        return;
    BoxWalker walker(reader, *list);
    while (items.size() < MaxMetadataItems) {
        auto box = walker.next();
        if (!box || box->overruns)
            return;
        if (box->type >= 1 && box->type <= keys.size())
            items.push_back({ keys[box->type - 1], *box });
    }
}

} // namespace

std::vector<KeyedItem> keyedItems(
    StructureReader& reader, const std::optional<Box>& metaBox, const std::vector<Box>& userData)
{
    std::vector<KeyedItem> items;
    if (metaBox)
        addItemsOf(reader, *metaBox, items);
    for (const Box& udta : userData) {
        for (const Box& meta : findChildren(reader, udta, fourCC("meta")))
            addItemsOf(reader, meta, items);
    }
    return items;
}

} // namespace mv
