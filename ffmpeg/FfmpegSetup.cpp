#include "ffmpeg/FfmpegSetup.h"

#include "Base/Core/DebugLog.h"
#include "ffmpeg/FfmpegHeaders.h"
#include "ffmpeg/MediaLimits.h"

#include <array>
#include <cstdarg>
#include <string_view>

namespace mv {

namespace {

/// What FFmpeg says of a file is no news to a client: the operations report failures by their own texts. Its
/// errors reach the log through the debug gate only.
void logFromFfmpeg(void* context, int level, const char* format, va_list arguments)
{
    if (level > AV_LOG_ERROR || currentDebugLevel() < DebugLevelParameters)
        return;
    std::array<char, 512> line {};
    int prefix = 1;
    av_log_format_line2(context, level, format, arguments, line.data(), static_cast<int>(line.size()), &prefix);
    std::string_view text(line.data());
    while (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    MV_DEBUG_LOG(DebugLevelParameters, "ffmpeg", "%.*s", static_cast<int>(text.size()), text.data());
}

} // namespace

void setUpFfmpeg()
{
    av_max_alloc(MaxAllocation);
    av_log_set_callback(logFromFfmpeg);
}

} // namespace mv
