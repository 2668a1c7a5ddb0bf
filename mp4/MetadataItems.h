#pragma once

#include "Base/Media/TagLimits.h"
#include "mp4/Box.h"

#include <span>
#include <string>
#include <vector>

namespace mv {

/// What the bytes of a `data` box are; the well-known numbers of iTunes-style metadata.
enum class MP4ItmfBasicType : std::uint32_t {
    Implicit = 0, ///< said by the item's code: numbers, pairs
    Utf8 = 1,
    Utf16 = 2, ///< big-endian
    Gif = 12,
    Jpeg = 13,
    Png = 14,
    Integer = 21, ///< signed, big-endian
    Bmp = 27,
};

/// One value of an item.
struct MP4ItmfData {
    std::uint8_t typeSetIdentifier = 0;
    MP4ItmfBasicType typeCode = MP4ItmfBasicType::Implicit; ///< any 24-bit number may come from a file
    std::uint32_t locale = 0;
    Bytes value;

    bool operator==(const MP4ItmfData&) const = default;
};

/// One item of the metadata list.
struct MP4ItmfItem {
    std::uint32_t code = 0; ///< '\251nam', 'purl', '----', ...
    std::string mean; ///< of freeform items ('----'): "com.apple.iTunes"
    std::string name; ///< of freeform items: "ISRC"
    std::vector<MP4ItmfData> dataList;
    Bytes otherBoxes; ///< what else the item holds (some writers name their pictures), as in the file

    bool operator==(const MP4ItmfItem&) const = default;
};

using MP4ItmfItemList = std::vector<MP4ItmfItem>;

// Limits of the metadata list, whose bytes are bounded by MaxTagBytes. A song with every field and ten pictures has
// some 60 items in 20 MB.
inline constexpr std::size_t MaxMetadataItems = 1u << 16;
inline constexpr std::size_t MaxItemValues = 4096; ///< further ones of one item stay among its other boxes

/// Where iTunes-style metadata lies: moov/udta/meta/ilst, the meta box's handler being 'mdir' (or missing, as some
/// writers leave it). Lists with keys ('mdta') and the texts of QuickTime user data are no tags.
struct MetadataPlace {
    Box udta;
    Box meta;
    std::uint64_t metaChildren = 0; ///< offset of the first box in meta: QuickTime's has no version in front of it
    Box ilst;
};

/// The first list that has items, else the first: some writers leave an empty one and add another.
/// Looks into the user data boxes of a movie.
std::optional<MetadataPlace> findMetadata(StructureReader& reader, std::span<const Box> userData);

/// Offset of the first box inside a meta box, whichever flavour it has.
std::uint64_t metaChildrenOffset(StructureReader& reader, const Box& meta);
/// Handler type of a meta box; 0 without one.
std::uint32_t metaHandler(StructureReader& reader, const Box& meta);

/// All items of a list's payload, in order. What follows a damaged one is left out.
MP4ItmfItemList parseItems(ByteView ilstPayload);
/// The items of the file; none without metadata. Fails for a list beyond MaxTagBytes.
Result<MP4ItmfItemList> readItems(StructureReader& reader, std::span<const Box> userData);
/// One item from its payload.
MP4ItmfItem parseItem(std::uint32_t code, ByteView payload);
/// The item as a whole box, header included.
Bytes serializedItem(const MP4ItmfItem& item);

} // namespace mv
