#pragma once

#include "platform/QTKit.h"
#include "service/include/Preview.h"

namespace mv {

/// The file's picture with the keys of Preview.h, its larger side at most `side` pixels (1 to MaxPreviewSide; others
/// are taken for the nearest); nothing where no reader knows the file. What kind of file it is says its content.
///
/// A cover goes before a video's frame: somebody has chosen it. Of a song's pictures it is the last front cover that
/// can be drawn, else the last picture, as in records. A frame is the record's, or, where that is of one colour, as at
/// the beginning of many films, one from the middle.
std::optional<Record> makePreview(const OpenedFile& file, int side, QTKit& toolkit = QTKit::shared());

} // namespace mv
