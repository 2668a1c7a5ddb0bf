#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "Base/Media/Bitmap.h"

#include <string_view>

namespace mv::cli {

/// The picture over a background of one colour, without transparency.
Bitmap flattened(Bitmap bitmap, Color background);

/// Quality 85; transparency is lost (see flattened).
Result<Bytes> jpegOf(const Bitmap& bitmap);

/// True for an ending (in small letters) that pictureFor takes.
bool isPictureForm(std::string_view extension);
/// A picture in TIFF form as the file that the ending of a name asks for: "tif" and "tiff" as it is, "png", "jpg" and
/// "jpeg". Fails for another ending.
Result<Bytes> pictureFor(std::string_view extension, const Bytes& tiff);

/// For pages: JPEG, or PNG where the picture has transparent places, as a "data:" address.
Result<std::string> dataAddress(const Bytes& tiff);

} // namespace mv::cli
