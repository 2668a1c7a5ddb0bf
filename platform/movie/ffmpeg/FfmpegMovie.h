#pragma once

#include "platform/ffmpeg/MediaInput.h"
#include "platform/movie/MovieBackend.h"
#include "platform/movie/ffmpeg/FrameGrabber.h"

namespace mv {

/// A movie on FFmpeg.
class FfmpegMovie final : public BackendMovie {
public:
    static Result<std::unique_ptr<BackendMovie>> open(InputFile file, std::chrono::milliseconds deadline);

    const MovieDescription& description() const override { return m_description; }
    Picture frameAt(QTTime time, NSSize size) override;
    Picture firstFrame(NSSize size) override;

private:
    explicit FfmpegMovie(std::unique_ptr<MediaInput> input)
        : m_input(std::move(input))
    {
    }
    Result<void> prepareGrabber();
    Picture picture(Result<FrameHandle> frame, NSSize size) const;

    std::unique_ptr<MediaInput> m_input;
    MovieDescription m_description;
    AVStream* m_pictures = nullptr; // of m_input
    std::unique_ptr<FrameGrabber> m_grabber; // made for the first frame
};

} // namespace mv
