#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"
#include "ffmpeg/FfmpegHeaders.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace mv {

// Owners of FFmpeg's objects. What could not be made is null.

using InputContext = std::unique_ptr<AVFormatContext, CloseByAddress<avformat_close_input>>;
/// An output whose file is closed by its own owner.
using OutputContext = std::unique_ptr<AVFormatContext, CloseWith<avformat_free_context>>;
using CodecContext = std::unique_ptr<AVCodecContext, CloseByAddress<avcodec_free_context>>;
using CodecParameters = std::unique_ptr<AVCodecParameters, CloseByAddress<avcodec_parameters_free>>;
using FrameHandle = std::unique_ptr<AVFrame, CloseByAddress<av_frame_free>>;
using PacketHandle = std::unique_ptr<AVPacket, CloseByAddress<av_packet_free>>;
using Scaler = std::unique_ptr<SwsContext, CloseWith<sws_freeContext>>;
using Resampler = std::unique_ptr<SwrContext, CloseByAddress<swr_free>>;

inline FrameHandle makeFrame() { return FrameHandle(av_frame_alloc()); }
inline PacketHandle makePacket() { return PacketHandle(av_packet_alloc()); }

/// An AVIOContext of our own callbacks with its buffer, which FFmpeg may have replaced in the meantime.
struct CloseIoContext {
    void operator()(AVIOContext* context) const noexcept
    {
        av_freep(&context->buffer);
        avio_context_free(&context);
    }
};
using IoContext = std::unique_ptr<AVIOContext, CloseIoContext>;

/// Options on their way into a call; what the call did not take is freed.
class Options {
public:
    Options() = default;
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    Options(Options&& other) noexcept
        : m_dictionary(std::exchange(other.m_dictionary, nullptr))
    {
    }
    ~Options() { av_dict_free(&m_dictionary); }

    void set(const char* key, const char* value) { av_dict_set(&m_dictionary, key, value, 0); }
    void set(const char* key, std::int64_t value) { av_dict_set_int(&m_dictionary, key, value, 0); }
    AVDictionary** address() { return &m_dictionary; }

private:
    AVDictionary* m_dictionary = nullptr;
};

} // namespace mv
