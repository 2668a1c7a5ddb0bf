#include "libmivo/ExifRecord.h"

#include <mivo/Keys.h>

namespace mivo {

Record exifRecord(const mv::MVExifInfo& info)
{
    Record record;
    for (const mv::ExifTextProperty& property : mv::ExifTextProperties) {
        if (const auto& text = info.*property.field)
            record.set(property.name, *text);
    }
    record.set(keys::exif::VersionNumber, info.versionNumber);
    if (info.date)
        record.set(keys::exif::Date, Date { info.date->microseconds });
    return record;
}

} // namespace mivo
