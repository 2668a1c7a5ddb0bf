#pragma once

#include "platform/ffmpeg/FfmpegHeaders.h"
#include "platform/movie/QTMovie.h"

namespace mv {

/// The data format code that QuickTime uses for a stream's codec. AVI video keeps the code of the file. 0 for a codec
/// that has none.
OSType dataFormatOf(const AVCodecParameters& codec, bool isAvi);

/// The codec that a data format code stands for, AV_CODEC_ID_NONE for an unknown one and for encrypted media.
AVCodecID videoCodecOf(OSType dataFormat);
AVCodecID audioCodecOf(OSType dataFormat);

bool isPcm(AVCodecID codec);

} // namespace mv
