#include "ffmpeg/movies/FfmpegMovie.h"

#include "ffmpeg/movies/FrameImageRep.h"
#include "ffmpeg/movies/StreamDescription.h"

#include <string_view>

namespace mv {

namespace {

/// Looking for codecs decodes frames. ISO media, and containers of PCM, tell everything in their headers.
bool headerTellsAll(const MediaInput& input)
{
    const AVFormatContext& context = input.context();
    std::string_view name = context.iformat->name;
    if (name == "wav" || name == "aiff" || name == "au")
        return true;
    if (!input.isIsoMedia())
        return false;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVCodecParameters& codec = *context.streams[i]->codecpar;
        if (codec.codec_type == AVMEDIA_TYPE_VIDEO && codec.codec_id == AV_CODEC_ID_NONE)
            return false;
    }
    return true;
}

} // namespace

Result<std::unique_ptr<BackendMovie>> FfmpegMovie::open(SharedSource file, std::chrono::milliseconds deadline)
{
    MV_TRY(input, MediaInput::open(std::move(file), { .deadline = deadline, .lowestScore = MinMovieScore }));
    if (!headerTellsAll(*input))
        MV_TRY_VOID(input->findStreamInfo());
    // Text whose lines have a transport stream's length looks like one, and holds nothing.
    if (input->context().nb_streams == 0)
        return Error { Error::Kind::Format, "cannot open: nothing in it" };
    std::unique_ptr<FfmpegMovie> movie(new FfmpegMovie(std::move(input)));
    movie->m_description = describeStreams(*movie->m_input);
    if (movie->m_input->expired())
        return Error { Error::Kind::Limit, "took too long" };
    movie->m_pictures = pictureStream(movie->m_input->context());
    return std::unique_ptr<BackendMovie>(std::move(movie));
}

Result<void> FfmpegMovie::prepareGrabber()
{
    if (m_grabber)
        return {};
    if (!m_pictures)
        return Error { Error::Kind::Unsupported, "the movie has no pictures" };
    MV_TRY(grabber, FrameGrabber::create(*m_input, *m_pictures));
    m_grabber = std::move(grabber);
    return {};
}

BackendMovie::Picture FfmpegMovie::picture(Result<FrameHandle> frame, PixelSize size) const
{
    if (!frame)
        return frame.error();
    std::shared_ptr<ImageRep> rep
        = std::make_shared<FrameImageRep>(std::move(*frame), orientationOf(*m_pictures), size);
    return rep;
}

BackendMovie::Picture FfmpegMovie::frameAt(MovieTime time, PixelSize size)
{
    MV_TRY_VOID(prepareGrabber());
    if (time.timeScale <= 0 || time.timeValue < 0)
        return Error { Error::Kind::Unsupported, "no such time" };
    return picture(m_grabber->frameAt(av_rescale(time.timeValue, AV_TIME_BASE, time.timeScale)), size);
}

BackendMovie::Picture FfmpegMovie::keyFrameBefore(MovieTime time, PixelSize size)
{
    MV_TRY_VOID(prepareGrabber());
    if (time.timeScale <= 0 || time.timeValue < 0)
        return Error { Error::Kind::Unsupported, "no such time" };
    return picture(m_grabber->keyFrameBefore(av_rescale(time.timeValue, AV_TIME_BASE, time.timeScale)), size);
}

BackendMovie::Picture FfmpegMovie::firstFrame(PixelSize size)
{
    MV_TRY_VOID(prepareGrabber());
    return picture(m_grabber->firstFrame(), size);
}

/// The first one: containers with several put the front cover there.
Result<Bytes> FfmpegMovie::attachedPicture()
{
    const AVFormatContext& context = m_input->context();
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVPacket& packet = context.streams[i]->attached_pic;
        if (isCoverArt(*context.streams[i]) && packet.size > 0)
            return Bytes(packet.data, packet.data + packet.size);
    }
    return BackendMovie::attachedPicture();
}

} // namespace mv
