#include "service/image/UnifiedImageInfoBuider.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSException.h"
#include "Base/Media/DescribedFile.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/image/ExifWalk.h"
#include "service/image/NSImageExtension.h"

namespace mv {

namespace {

// Clients find the check of the arguments under this place, wherever the code now stands.
constexpr int ArgumentCheckLine = 155;

void storePictureDate(ExifEntry& entry, Record& record)
{
    ExifDateText text = exifDate(exifDisplayText(entry));
    if (!text.hasDateLength)
        return;
    // Deliberate: a text of the right length that is no date is an attempt to store nothing, which a record refuses,
    // and nobody on the way out catches that.
    if (!text.date)
        throw NSException(NSInvalidArgumentException, "attempt to insert nil value (key: DatePictured)");
    record.set(MediaDBPhotoColumnDatePictured, *text.date);
}

void storeText(ExifEntry& entry, std::string_view key, Record& record)
{
    // A single byte is the final zero of an empty text.
    constexpr unsigned EmptyTextBytes = 1;
    auto text = exifDisplayText(entry);
    if (text && entry.size > EmptyTextBytes)
        record.set(key, std::move(*text));
}

void setExifColumns(Record& record, const OpenedFile& file)
{
    ExifDataHandle data = exifDataOf(file.content());
    forEachExifEntry(
        data.get(), [&](ExifEntry* entry) { UnifiedImageInfoBuilder::contentForeachEntry(entry, &record); });
}

void setPictureColumns(Record& record, const NSImageRep& representation)
{
    // The sizes pass through single precision, as the picture's own size does: beyond 2^24 they are rounded.
    auto width = static_cast<float>(representation.pixelsWide());
    auto height = static_cast<float>(representation.pixelsHigh());
    record.set(MediaDBPhotoColumnWidth, static_cast<std::int32_t>(width));
    record.set(MediaDBPhotoColumnHeight, static_cast<std::int32_t>(height));
    record.set(MediaDBPhotoColumnRating, 0);
    record.set(MediaDBPhotoColumnIsChecked, false);
}

void setFileDates(Record& record, const FileAttributes& attributes)
{
    record.set(MediaDBPhotoColumnDateModified, attributes.modificationDate);
    if (attributes.creationDate)
        record.set(MediaDBPhotoColumnDateCreated, *attributes.creationDate);
}

} // namespace

std::optional<Record> UnifiedImageInfoBuilder::build(const OpenedFile& file)
{
    auto representation = NSImage::imageRepWithContentsOfFile(file);
    if (!representation)
        return std::nullopt;
    const Path& path = file.path();
    const auto& attributes = file.attributes();

    Record record;
    setPathColumns(record, path);
    record.set(MediaDBPhotoColumnDateAdded, Date::now());
    if (attributes.ok())
        record.set(MediaDBCommonColumnFileSize, attributes->size);
    std::int32_t mediaType = MVMediaTypeReader::type(path);
    setMediaTypeColumns(record, mediaType);
    record.set(MediaDBPhotoColumnTitle, path.lastPathComponentWithoutExtension());
    if (mediaType == MVMediaTypeJPG)
        setExifColumns(record, file);
    if (auto thumbnail = makeThumbnailForContentCategory(NSImage(representation), ThumbnailCategoryPicture))
        record.set(MediaDBPhotoColumnImage, std::move(*thumbnail));
    setPictureColumns(record, *representation);
    if (attributes.ok())
        setFileDates(record, *attributes);
    record.set(MediaDBCommonColumnLinkError, false);
    return record;
}

std::optional<Record> UnifiedImageInfoBuilder::makeThumbnailWithMaxSize(const OpenedFile& file, FloatSize maximum)
{
    auto image = NSImage::initWithContentsOfFile(file);
    auto best = image ? image->bestRepresentationForDevice() : nullptr;
    if (!best)
        return std::nullopt;
    auto thumbnail = makeThumbnailForContentCategoryWithMaxSize(*image, ThumbnailCategoryPicture, maximum);
    if (!thumbnail)
        return std::nullopt;
    return Record {
        { kThumbnailData, std::move(*thumbnail) },
        { kThumbnailWidth, static_cast<double>(static_cast<float>(best->pixelsWide())) },
        { kThumbnailHeight, static_cast<double>(static_cast<float>(best->pixelsHigh())) },
    };
}

void UnifiedImageInfoBuilder::contentForeachEntry(ExifEntry* entry, Record* record)
{
    if (!entry || !record) {
        writeDebugLog(DebugLevelError, "UnifiedImageInfoBuider", "contentForeachEntry", ArgumentCheckLine,
            formatText("invalid arguments entry(%p), arg(%p)", static_cast<void*>(entry), static_cast<void*>(record)));
        return;
    }
    switch (static_cast<int>(entry->tag)) {
    case EXIF_TAG_DATE_TIME:
        storePictureDate(*entry, *record);
        break;
    case EXIF_TAG_MODEL:
        storeText(*entry, MediaDBPhotoColumnCameraModel, *record);
        break;
    case EXIF_TAG_ARTIST:
        storeText(*entry, MediaDBPhotoColumnCreator, *record);
        break;
    case EXIF_TAG_XP_COMMENT:
        storeText(*entry, MediaDBPhotoColumnDescription, *record);
        // Deliberate: the comment is the orientation too, until an entry visited later says otherwise.
        [[fallthrough]];
    case EXIF_TAG_ORIENTATION:
        storeText(*entry, kPhotoOrientation, *record);
        break;
    default:
        break;
    }
}

} // namespace mv
