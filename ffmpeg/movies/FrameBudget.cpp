#include "ffmpeg/movies/FrameBudget.h"

#include "ffmpeg/FfmpegVersions.h"

namespace mv {

void FrameBudget::watch(AVCodecContext& decoder)
{
    decoder.opaque = this;
    decoder.get_buffer2 = getBuffer;
    allowThreadedCallbacks(decoder);
}

/// Called on the decoder's threads.
int FrameBudget::getBuffer(AVCodecContext* decoder, AVFrame* frame, int flags)
{
    auto& budget = *static_cast<FrameBudget*>(decoder->opaque);
    int bytes = av_image_get_buffer_size(static_cast<AVPixelFormat>(frame->format), frame->width, frame->height, 1);
    if (bytes < 0)
        return bytes;
    std::int64_t before = budget.m_count->fetch_add(bytes);
    auto share = std::make_unique<Share>(Share { budget.m_count, bytes });
    // The buffer has no bytes of its own: it lives as long as the frame, and tells when that ends.
    AVBufferRef* token = av_buffer_create(nullptr, 0, release, share.get(), 0);
    if (!token) {
        budget.m_count->fetch_sub(bytes);
        return AVERROR(ENOMEM);
    }
    static_cast<void>(share.release()); // the token frees it
    int status = before + bytes > budget.m_limit ? AVERROR(ENOMEM) : avcodec_default_get_buffer2(decoder, frame, flags);
    if (status < 0) {
        av_buffer_unref(&token);
        return status;
    }
    av_buffer_unref(&frame->opaque_ref);
    frame->opaque_ref = token;
    return status;
}

void FrameBudget::release(void* share, std::uint8_t*)
{
    std::unique_ptr<Share> owned(static_cast<Share*>(share));
    owned->count->fetch_sub(owned->bytes);
}

} // namespace mv
