#pragma once

#include "ffmpeg/FfmpegHeaders.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

// What FFmpeg's versions differ in, from 5.1 on (libavutil 57, libavcodec 59, libavformat 59). Nobody else asks for a
// version of it.
namespace mv {

/// The bytes that a write callback of avio_alloc_context is given: they became constant with 7.0.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using IoBytes = const std::uint8_t;
#else
using IoBytes = std::uint8_t;
#endif

/// How long the frame is shown, in units of its stream; 0 where nobody knows.
inline std::int64_t durationOf(const AVFrame& frame)
{
#if LIBAVUTIL_VERSION_MAJOR >= 58
    return frame.duration;
#else
    return frame.pkt_duration;
#endif
}

/// Lets a decoder with several threads call get_buffer2 on each of them. From 6.0 on that is taken for granted; before,
/// every frame would be made on the calling thread without it.
inline void allowThreadedCallbacks([[maybe_unused]] AVCodecContext& decoder)
{
#if LIBAVCODEC_VERSION_MAJOR < 60
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    decoder.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
}

/// Bytes that go with the whole stream (a display matrix, for example); empty where it has none of the type. They live
/// as long as the stream.
inline std::span<const std::uint8_t> sideDataOf(const AVStream& stream, AVPacketSideDataType type)
{
#if LIBAVCODEC_VERSION_MAJOR >= 61
    const AVCodecParameters& parameters = *stream.codecpar;
    const AVPacketSideData* data
        = av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data, type);
    return data ? std::span<const std::uint8_t>(data->data, data->size) : std::span<const std::uint8_t>();
#else
    std::size_t size = 0;
    const std::uint8_t* data = av_stream_get_side_data(&stream, type, &size);
    return { data, data ? size : 0 };
#endif
}

/// What avcodec_parameters_copy leaves out of a stream's side data: all of it before 7.0, nothing from then on. What
/// there is no memory for is left out.
inline void copySideData([[maybe_unused]] AVStream& to, [[maybe_unused]] const AVStream& from)
{
#if LIBAVCODEC_VERSION_MAJOR < 61
    for (int i = 0; i < from.nb_side_data; ++i) {
        const AVPacketSideData& data = from.side_data[i];
        if (auto* copy = av_stream_new_side_data(&to, data.type, data.size))
            std::copy_n(data.data, data.size, copy);
    }
#endif
}

} // namespace mv
