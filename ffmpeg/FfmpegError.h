#pragma once

#include "Base/Core/Error.h"
#include "ffmpeg/FfmpegHeaders.h"

#include <string>

namespace mv {

/// FFmpeg's own words for one of its codes.
std::string ffmpegErrorText(int code);

/// An Error for a negative code of FFmpeg: "what: text", the kind as far as the code tells, `code` as it is.
Error ffmpegError(int code, const char* what);

} // namespace mv
