#pragma once

#include "Base/Core/Result.h"
#include "Base/Media/Bitmap.h"
#include "platform/QTKit.h"
#include "service/include/Preview.h"

#include <variant>

namespace mv {

/// The picture that stands for a file.
struct DrawnPreview {
    Bitmap bitmap;
    int sourceWidth = 0; ///< of the upright original
    int sourceHeight = 0;
    std::optional<double> seconds; ///< of a video whose length is known
};

/// Why there is none.
struct NoPreview {
    enum class Why {
        NotKnown, ///< no reader knows the file
        NoPicture, ///< it is sound, and has none
        NotDecoded, ///< the problem tells why
    };
    Why why = Why::NotKnown;
    Error problem;
};

using Preview = std::variant<DrawnPreview, NoPreview>;

/// The file's picture, its larger side at most so long as is wished, as far as that is quick to be had
/// (Drawing::Quick).
Preview drawPreview(const OpenedFile& file, const PreviewWish& wish, QTKit& toolkit = QTKit::shared());

/// The same with the keys of Preview.h, its larger side at most `side` pixels; nothing where no reader knows the file.
/// What kind of file it is says its content.
///
/// A cover goes before a video's frame: somebody has chosen it. Of a song's pictures it is the last front cover that
/// can be drawn, else the last picture, as in records. A frame is the key frame before a tenth of the length, which is
/// quick to be had and shows as much as any other; where that is of one colour, as at the beginning of many films, the
/// frame itself, then those of a third and two thirds.
std::optional<Record> makePreview(const OpenedFile& file, const PreviewWish& wish, QTKit& toolkit = QTKit::shared());
inline std::optional<Record> makePreview(const OpenedFile& file, int side, QTKit& toolkit = QTKit::shared())
{
    return makePreview(file, PreviewWish { .side = side }, toolkit);
}

} // namespace mv
