#pragma once

#include "ffmpeg/MediaInput.h"
#include "ffmpeg/movies/FrameGrabber.h"
#include "movies/MovieBackend.h"

namespace mv {

/// A movie on FFmpeg.
class FfmpegMovie final : public BackendMovie {
public:
    static Result<std::unique_ptr<BackendMovie>> open(SharedSource file, std::chrono::milliseconds deadline);

    const MovieDescription& description() const override { return m_description; }
    Picture frameAt(MovieTime time, PixelSize size) override;
    Picture keyFrameBefore(MovieTime time, PixelSize size) override;
    Picture firstFrame(PixelSize size) override;
    Result<Bytes> attachedPicture() override;

private:
    explicit FfmpegMovie(std::unique_ptr<MediaInput> input)
        : m_input(std::move(input))
    {
    }
    Result<void> prepareGrabber();
    Picture picture(Result<FrameHandle> frame, PixelSize size) const;

    std::unique_ptr<MediaInput> m_input;
    MovieDescription m_description;
    AVStream* m_pictures = nullptr; // of m_input
    std::unique_ptr<FrameGrabber> m_grabber; // made for the first frame
};

} // namespace mv
