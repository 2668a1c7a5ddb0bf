#pragma once

// FFmpeg's headers are C and carry no guards for C++.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

// The macro's own text is a C99 literal, which clang refuses in C++.
#undef AV_TIME_BASE_Q
#define AV_TIME_BASE_Q (AVRational { 1, AV_TIME_BASE })
