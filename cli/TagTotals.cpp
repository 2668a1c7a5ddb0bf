#include "cli/TagTotals.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "cli/MetadataUpdate.h"
#include "id3/TagReader.h"
#include "mp4/Tags.h"
#include "system/FileReplacement.h"

#include <algorithm>

namespace mv::cli {

namespace {

Error unexpectedTag()
{
    return { Error::Kind::Unsupported, "the tag is not as the service writes it; the total is missing" };
}

MP4TagTrack pairOf(const PlaceInSet& place)
{
    return { static_cast<std::uint16_t>(place.index), static_cast<std::uint16_t>(place.total) };
}

Result<void> writeMp4Totals(const Path& path, const TagTotals& totals)
{
    return updateMetadata(path, [&](const MP4ItmfItemList& before) {
        MP4Tags tags = tagsFromItems(before);
        if (totals.track.total > 0)
            MP4TagsSetTrack(tags, pairOf(totals.track));
        if (totals.disc.total > 0)
            MP4TagsSetDisk(tags, pairOf(totals.disc));
        return itemsWithTags(before, tags);
    });
}

/// A TRCK frame of ID3v2.3 in Latin-1.
Bytes trackFrame(const TagTotals& totals)
{
    std::string text = formatText("%d/%d", totals.track.index, totals.track.total);
    Bytes frame;
    ByteWriter writer(frame);
    writer.text("TRCK");
    writer.u32be(static_cast<std::uint32_t>(text.size() + 1));
    writer.zeros(3); // flags, and the encoding
    writer.text(text);
    return frame;
}

/// The file's one ID3v2.3 tag with another track frame in the place of the present one, and as long as before.
Result<Bytes> tagWithTrack(const InputFile& file, const TagTotals& totals)
{
    MV_TRY(tags, readTags(file));
    if (tags.prependedTags.size() != 1)
        return unexpectedTag();
    const Id3v2Tag& tag = tags.prependedTags.front();
    const TagExtent& extent = tag.extent();
    // Flags would be an extended header or unsynchronisation.
    if (tag.majorVersion() != 3 || tag.header().flags != 0 || extent.offset != 0 || !tag.complete())
        return unexpectedTag();
    MV_TRY(bytes, file.bytesAt(0, Id3v2Tag::HeaderSize));
    bool found = false;
    for (const TagFrame& frame : tag.frames()) {
        bool isTrack = frame.storedId == "TRCK" && !found;
        found = found || isTrack;
        Bytes made = isTrack ? trackFrame(totals) : Bytes();
        ByteView content = isTrack ? ByteView(made) : frame.stored;
        bytes.insert(bytes.end(), content.begin(), content.end());
    }
    // The service leaves room in every tag that it writes.
    if (!found || bytes.size() > extent.size)
        return unexpectedTag();
    bytes.resize(static_cast<std::size_t>(extent.size));
    return bytes;
}

Result<void> writeMp3Total(const Path& path, const TagTotals& totals)
{
    Bytes tag;
    auto plan = [&](const InputFile& current) -> Result<std::optional<FileContent>> {
        MV_TRY(made, tagWithTrack(current, totals));
        tag = std::move(made);
        return std::optional(
            FileContent { FileSegment::literal(tag), FileSegment::copy(tag.size(), current.size() - tag.size()) });
    };
    auto check = [&](const InputFile& made) -> Result<void> {
        MV_TRY(front, made.bytesAt(0, tag.size()));
        return front == tag ? Result<void>() : unexpectedTag();
    };
    MV_TRY_VOID(FileReplacement::perform(path, plan, check));
    return {};
}

} // namespace

TagTotals readTotals(const Path& path)
{
    SongTags tags = readSongTags(path);
    return { placeFrom(tags.text("TRACKNUMBER")), placeFrom(tags.text("DISCNUMBER")) };
}

Result<void> writeTotals(const Path& path, std::int32_t mediaType, const TagTotals& totals)
{
    if (totals.track.total == 0 && totals.disc.total == 0)
        return {};
    return mediaType == MVMediaTypeMP3 ? writeMp3Total(path, totals) : writeMp4Totals(path, totals);
}

} // namespace mv::cli
