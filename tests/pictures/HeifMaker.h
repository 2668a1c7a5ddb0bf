#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Media/Bitmap.h"

#include <optional>
#include <vector>

namespace mv::test {

/// A picture as it lies in a HEIC or AVIF file.
struct HeifItem {
    int width = 0; ///< as its property says
    int height = 0;
    Bytes config; ///< the codec's box
    Bytes data;
    std::vector<Bytes> properties; ///< further boxes, in the order in which they are to be applied
};

/// False where the program heif-enc is missing, or has no encoder for them.
bool canEncodeHeif(bool avif = false);
/// A picture encoded by heif-enc, as one item: sides are multiples of 8.
HeifItem heifItem(const Bitmap& bitmap, bool avif = false);

Bytes quarterTurns(int count); ///< to the left: the property irot
Bytes mirrored(int axis); ///< 0: top to bottom, 1: left to right: the property imir
Bytes colourProfile(const Bytes& icc); ///< the property colr

struct HeifWish {
    std::vector<HeifItem> previews; ///< smaller pictures of the main one
    Bytes exif; ///< an Exif block from its byte order mark on
    bool avif = false;
};

/// A file that shows `picture`.
Bytes makeHeif(const HeifItem& picture, const HeifWish& wish = {});

} // namespace mv::test
