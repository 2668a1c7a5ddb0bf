#pragma once

#include "platform/QTKit.h"
#include "service/include/Preview.h"

namespace mv {

/// The file's picture with the keys of Preview.h, its larger side at most `side` pixels; nothing where no reader knows
/// the file. What kind of file it is says its content.
///
/// A cover goes before a video's frame: somebody has chosen it. Of a song's pictures it is the last front cover that
/// can be drawn, else the last picture, as in records. A frame is the record's, or, where that is of one colour, as at
/// the beginning of many films, one from the middle.
std::optional<Record> makePreview(const OpenedFile& file, const PreviewWish& wish, QTKit& toolkit = QTKit::shared());
inline std::optional<Record> makePreview(const OpenedFile& file, int side, QTKit& toolkit = QTKit::shared())
{
    return makePreview(file, PreviewWish { .side = side }, toolkit);
}

} // namespace mv
