#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Date.h"
#include "Base/Core/Handle.h"
#include "system/ByteSource.h"

#include <functional>
#include <libexif/exif-data.h>
#include <memory>
#include <optional>
#include <string>

namespace mv {

using ExifDataHandle = std::unique_ptr<ExifData, CloseWith<exif_data_unref>>;

/// The EXIF block in the content of a picture file; null where there is none that can be read. What
/// exif_data_new_from_file loads, but never from further inside the file than a block can begin.
ExifDataHandle exifDataOf(const Result<SharedSource>& content);

/// Calls `visit` for every entry: directory after directory in the library's order (IFD0, IFD1, EXIF, GPS,
/// interoperability), the entries of each in file order, those that the library invents last. A null block has no
/// entries. An exception of `visit` ends the walk and goes to the caller.
void forEachExifEntry(ExifData* data, const std::function<void(ExifEntry*)>& visit);

/// The library's display text of the entry, up to 1,023 bytes; nothing where that is not UTF-8.
std::optional<std::string> exifDisplayText(ExifEntry& entry);
/// The entry's bytes as stored in the file, in its byte order.
ByteView exifRawBytes(const ExifEntry& entry);
/// A DateTime text: whether it has the 19 characters of a date, and the local time that it says, if it says one.
struct ExifDateText {
    bool hasDateLength = false;
    std::optional<Date> date;
};
ExifDateText exifDate(const std::optional<std::string>& text);

} // namespace mv
