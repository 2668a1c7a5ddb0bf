#pragma once

#include "ffmpeg/FfmpegHeaders.h"
#include "movies/MovieTypes.h"

namespace mv {

/// The data format code that QuickTime uses for a stream's codec, always printable: AVI video keeps the code of the
/// file; a codec that QuickTime has no code for gets the one of its container or of AVI, else the front of its name.
/// What FFmpeg decodes has a code that one of the functions below takes back to a codec that it decodes. 0 for an
/// unknown codec without a code.
FourCC dataFormatOf(const AVCodecParameters& codec, bool isAvi);

/// The codec that a data format code stands for, AV_CODEC_ID_NONE for an unknown one and for encrypted media. Where
/// several codecs share a code, one that can be decoded as they can.
AVCodecID videoCodecOf(FourCC dataFormat);
AVCodecID audioCodecOf(FourCC dataFormat);

bool isPcm(AVCodecID codec);

} // namespace mv
