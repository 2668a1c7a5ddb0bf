#include "platform/FileMovie.h"

#include "movies/IsoMovie.h"

namespace mv {

namespace {

/// A movie that is opened and not played stands still.
constexpr float StoppedRate = 0.0f;

bool isAtOrPastEnd(QTTime time, QTTime duration)
{
    double at = 0;
    double end = 0;
    return QTGetTimeInterval(time, &at) && QTGetTimeInterval(duration, &end) && at >= end;
}

std::optional<NSImage> imageOf(BackendMovie::Picture picture)
{
    if (!picture)
        return std::nullopt;
    return NSImage(std::move(*picture));
}

QTMovie::Attribute attributeOf(const std::optional<Date>& date)
{
    if (!date)
        return {};
    return *date;
}

} // namespace

Result<std::unique_ptr<QTMovie>> FileMovie::open(const OpenedFile& file, std::chrono::milliseconds deadline)
{
    std::unique_ptr<FileMovie> movie(new FileMovie(deadline));
    MV_TRY_VOID(movie->openParts(file));
    movie->setFileFacts(file);
    return std::unique_ptr<QTMovie>(std::move(movie));
}

Result<void> FileMovie::openParts(const OpenedFile& file)
{
    MV_TRY(content, file.content());
    if (auto description = describeIsoMedia(*content)) {
        m_description = std::move(*description);
        m_content = std::move(content);
        return {};
    }
    MV_TRY(backend, installedMovieBackend().open(std::move(content), m_deadline));
    m_description = backend->description();
    m_backend = std::move(backend);
    return {};
}

/// What the movie itself does not tell.
void FileMovie::setFileFacts(const OpenedFile& file)
{
    m_fileName = file.path().lastPathComponent();
    const auto& attributes = file.attributes();
    if (!attributes)
        return;
    if (!m_description.creationTime)
        m_description.creationTime = attributes->creationDate.value_or(attributes->modificationDate);
    if (!m_description.modificationTime)
        m_description.modificationTime = attributes->modificationDate;
}

QTMovie::Attribute FileMovie::attributeForKey(std::string_view key) const
{
    if (key == QTMovieHasAudioAttribute)
        return m_description.hasAudio;
    if (key == QTMovieHasVideoAttribute)
        return m_description.hasVideo;
    if (key == QTMovieDisplayNameAttribute)
        return m_description.fullName.value_or(m_fileName);
    if (key == QTMovieCreationTimeAttribute)
        return attributeOf(m_description.creationTime);
    if (key == QTMovieModificationTimeAttribute)
        return attributeOf(m_description.modificationTime);
    if (key == QTMovieNaturalSizeAttribute)
        return m_description.naturalSize;
    if (key == QTMovieRateAttribute)
        return StoppedRate;
    return {};
}

/// The movie in FFmpeg's hands; null when it does not take it.
BackendMovie* FileMovie::opened()
{
    if (m_content) {
        auto backend = installedMovieBackend().open(std::move(m_content), m_deadline);
        if (backend)
            m_backend = std::move(*backend);
    }
    return m_backend.get();
}

std::optional<NSImage> FileMovie::frameImageAtTime(QTTime time)
{
    if (isAtOrPastEnd(time, m_description.duration) || !opened())
        return std::nullopt;
    return imageOf(m_backend->frameAt(time, m_description.naturalSize));
}

std::optional<NSImage> FileMovie::quickImageBeforeTime(QTTime time)
{
    if (isAtOrPastEnd(time, m_description.duration) || !opened())
        return std::nullopt;
    return imageOf(m_backend->keyFrameBefore(time, m_description.naturalSize));
}

std::optional<NSImage> FileMovie::posterImage()
{
    QTTime time = m_description.posterTime;
    if (time.timeScale > 0) {
        if (auto poster = frameImageAtTime(time))
            return poster;
    }
    if (!opened())
        return std::nullopt;
    return imageOf(m_backend->firstFrame(m_description.naturalSize));
}

std::optional<NSImage> FileMovie::attachedImage()
{
    if (!opened())
        return std::nullopt;
    auto picture = m_backend->attachedPicture();
    return picture ? NSImage::initWithData(std::move(*picture)) : std::nullopt;
}

} // namespace mv
