#include "service/image/ExifExtractor.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/Text.h"
#include "service/image/ExifWalk.h"

#include <array>

namespace mv {

namespace {

struct TextField {
    int tag;
    MVExifInfo::Text MVExifInfo::*field;
};

// The fields that hold the display text of one entry and nothing more.
constexpr std::array TextFields {
    TextField { EXIF_TAG_MAKE, &MVExifInfo::vendor },
    TextField { EXIF_TAG_MODEL, &MVExifInfo::model },
    TextField { EXIF_TAG_ORIENTATION, &MVExifInfo::orientation },
    TextField { EXIF_TAG_MAX_APERTURE_VALUE, &MVExifInfo::maxAperture },
    TextField { EXIF_TAG_FOCAL_LENGTH, &MVExifInfo::focalLength },
    TextField { EXIF_TAG_SHUTTER_SPEED_VALUE, &MVExifInfo::shutterSpeed },
    TextField { EXIF_TAG_FNUMBER, &MVExifInfo::F_value },
    TextField { EXIF_TAG_EXPOSURE_BIAS_VALUE, &MVExifInfo::exposureBias },
    TextField { EXIF_TAG_EXPOSURE_PROGRAM, &MVExifInfo::exposureProgram },
    TextField { EXIF_TAG_METERING_MODE, &MVExifInfo::meteringMode },
    TextField { EXIF_TAG_ISO_SPEED_RATINGS, &MVExifInfo::iso },
    TextField { EXIF_TAG_WHITE_BALANCE, &MVExifInfo::whiteBalance },
    TextField { EXIF_TAG_FLASH_ENERGY, &MVExifInfo::flashMode },
    TextField { EXIF_TAG_COLOR_SPACE, &MVExifInfo::colorSpace },
    TextField { EXIF_TAG_SCENE_CAPTURE_TYPE, &MVExifInfo::sceneCaptureType },
};

// Clients find the check of the arguments under this place, wherever the code now stands.
constexpr int ArgumentCheckLine = 14;

// The Flash entry tells of red-eye reduction since version 2.2.
constexpr int LastVersionWithoutRedEye = 219;
constexpr unsigned RedEyeBit = 0x40;

void storeVersion(ExifEntry& entry, MVExifInfo& info)
{
    info.version = exifDisplayText(entry);
    info.versionNumber = leadingInteger(charsOf(exifRawBytes(entry)));
}

void storeFlash(ExifEntry& entry, MVExifInfo& info)
{
    info.flash = exifDisplayText(entry);
    // Deliberate: only a version that came earlier in the walk counts, and the first byte is taken as stored, which
    // in a big-endian file is the high byte of the value, without the bit.
    if (info.versionNumber <= LastVersionWithoutRedEye)
        return;
    ByteView raw = exifRawBytes(entry);
    bool supported = !raw.empty() && (raw.front() & RedEyeBit) != 0;
    info.redEyeReduction = supported ? "Red-eye reduction supported" : "No red-eye reduction mode or unknown";
}

void storeDate(ExifEntry& entry, MVExifInfo& info)
{
    ExifDateText text = exifDate(exifDisplayText(entry));
    if (text.hasDateLength)
        info.date = text.date;
}

void storeText(ExifEntry& entry, MVExifInfo& info)
{
    for (const TextField& row : TextFields) {
        if (row.tag == entry.tag)
            info.*row.field = exifDisplayText(entry);
    }
}

} // namespace

std::shared_ptr<MVExifInfo> ExifExtractor::extractExif(const OpenedFile& file)
{
    ExifDataHandle data = exifDataOf(file.content());
    if (!data)
        return nullptr;
    auto info = std::make_shared<MVExifInfo>();
    forEachExifEntry(data.get(), [&](ExifEntry* entry) { contentForeachEntry(entry, info.get()); });
    return info;
}

void ExifExtractor::contentForeachEntry(ExifEntry* entry, MVExifInfo* info)
{
    if (!entry || !info) {
        writeDebugLog(DebugLevelError, "ExifExtractor", "contentForeachEntry", ArgumentCheckLine,
            formatText("invalid arguments entry(%p), arg(%p)", static_cast<void*>(entry), static_cast<void*>(info)));
        return;
    }
    switch (entry->tag) {
    case EXIF_TAG_DATE_TIME:
        return storeDate(*entry, *info);
    case EXIF_TAG_EXIF_VERSION:
        return storeVersion(*entry, *info);
    case EXIF_TAG_FLASH:
        return storeFlash(*entry, *info);
    default:
        return storeText(*entry, *info);
    }
}

} // namespace mv
