#include "service/parsers/QuickTimeAVParser.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Handle.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "Base/Media/DescribedFile.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/image/NSImageExtension.h"
#include "service/parsers/CheckValidate.h"
#include "service/parsers/MusicColumns.h"
#include "service/parsers/ThumbnailTime.h"

namespace mv {

namespace {

std::int32_t truncated(double value) { return *Value(value).integerValue(); }

/// Deliberate: 32-bit arithmetic, so the bits of a file of 256 MiB and more wrap around.
std::int32_t bitsOf(const OpenedFile& file)
{
    if (!file.exists())
        return 0;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(file.attributes()->size) * 8u);
}

/// kbit/s; 0 for less than a second.
std::int32_t bitrateOf(const OpenedFile& file, double duration)
{
    if (duration < 1.0)
        return 0;
    return static_cast<std::int32_t>(bitsOf(file) / (std::int64_t { truncated(duration) } * 1000));
}

void setDate(Record& record, std::string_view key, const QTMovie& movie, std::string_view attribute)
{
    if (auto date = movie.attribute<Date>(attribute))
        record.set(key, *date);
}

} // namespace

std::optional<Record> QuickTimeAVParser::build(const OpenedFile& file)
{
    m_movie.reset();
    initMovie(file);
    Record record;
    if (!m_movie) {
        setFileColumns(record, file);
        return record;
    }
    m_toolkit.enterQTKitOnThread();
    ScopeGuard finish([this] {
        m_toolkit.exitQTKitOnThread();
        m_movie.reset();
    });
    parseMovie(record, file);
    return record;
}

void QuickTimeAVParser::initMovie(const OpenedFile& file)
{
    if (file.path().isNil() || !m_toolkit.canInitWithFile(file))
        return;
    auto movie = m_toolkit.initWithFile(file);
    if (movie)
        m_movie = std::move(*movie);
    else
        NSLog("QTMovie initWithFile fail: error = %s", movie.error().text.c_str());
}

void QuickTimeAVParser::runQTKitOnMainThread(bool exits)
{
    if (exits)
        m_toolkit.exitQTKitOnThread();
    else
        m_toolkit.enterQTKitOnThread();
}

void QuickTimeAVParser::setFileColumns(Record& record, const OpenedFile& file) const
{
    if (file.path().isNil())
        return;
    setPathColumns(record, file.path());
    if (file.exists())
        record.set(MediaDBCommonColumnFileSize, file.attributes()->size);
    setMediaTypeColumns(record, MVMediaTypeReader::type(file.path()));
    record.set(MediaDBCommonColumnLinkError, false);
}

void QuickTimeAVParser::parseMovie(Record& record, const OpenedFile& file) const
{
    bool hasAudio = m_movie->attribute<bool>(QTMovieHasAudioAttribute).value_or(false);
    bool hasVideo = m_movie->attribute<bool>(QTMovieHasVideoAttribute).value_or(false);
    setFileColumns(record, file);
    if (hasAudio && isAlacAudio(*m_movie)) {
        NSLog("Apple Lossless audio is not supported");
        return;
    }
    if (hasVideo)
        parseVideo(record);
    else if (hasAudio)
        parseAudio(record, file);
}

double QuickTimeAVParser::durationInSeconds() const
{
    double seconds = 0.0;
    QTGetTimeInterval(m_movie->duration(), &seconds);
    return seconds;
}

/// Deliberate: the playback rate, which a resting movie has at 0, stands where the sample rate belongs.
std::int32_t QuickTimeAVParser::playbackRate() const
{
    return truncated(m_movie->attribute<float>(QTMovieRateAttribute).value_or(0.0f));
}

void QuickTimeAVParser::parseAudio(Record& record, const OpenedFile& file) const
{
    // Unlike a video's title, not looked at: a movie without a name has an empty title.
    record.set(
        MediaDBMusicColumnTitle, m_movie->attribute<std::string>(QTMovieDisplayNameAttribute).value_or(std::string()));
    double duration = durationInSeconds();
    record.set(MediaDBMusicColumnPlayLength, truncated(duration));
    record.set(MediaDBMusicColumnBitrate, bitrateOf(file, duration));
    record.set(MediaDBMusicColumnSamplerate, playbackRate());
    setNewMusicColumns(record);
    setDate(record, MediaDBMusicColumnDateModified, *m_movie, QTMovieModificationTimeAttribute);
    setFixedMusicColumns(record);
}

void QuickTimeAVParser::parseVideo(Record& record) const
{
    if (!validateMedia(*m_movie, m_toolkit))
        return;
    record.set(MediaDBVideoColumnDateAdded, Date::now());
    setDate(record, MediaDBVideoColumnDateCreated, *m_movie, QTMovieCreationTimeAttribute);
    record.set(MediaDBVideoColumnDRMProperty, 0);
    record.set(MediaDBVideoColumnPlayState, 0);
    if (auto name = m_movie->attribute<std::string>(QTMovieDisplayNameAttribute))
        record.set(MediaDBVideoColumnTitle, *name);
    setCodecs(record);
    double duration = durationInSeconds();
    record.set(MediaDBVideoColumnPlayLength, truncated(duration));
    setThumbnail(record, duration);
    NSSize size = m_movie->attribute<NSSize>(QTMovieNaturalSizeAttribute).value_or(NSSize {});
    record.set(MediaDBVideoColumnWidth, truncated(size.width));
    record.set(MediaDBVideoColumnHeight, truncated(size.height));
    record.set(MediaDBVideoColumnBitrate, 0);
    record.set(MediaDBVideoColumnPlayCount, 0);
    record.set(MediaDBVideoColumnRating, 0);
    record.set(MediaDBVideoColumnIsReadOnly, false);
    record.set(MediaDBVideoColumnIsLicenseExpired, false);
    record.set(MediaDBVideoColumnIsChecked, true);
    setDate(record, MediaDBVideoColumnDateModified, *m_movie, QTMovieModificationTimeAttribute);
    record.set(MediaDBCommonColumnLinkError, false);
}

/// Of every track, enabled or not; a later one of the same kind wins.
void QuickTimeAVParser::setCodecs(Record& record) const
{
    for (const QTTrack& track : m_movie->tracks()) {
        auto format = GetMediaSampleDescription(track.media, 1);
        if (!format)
            continue;
        if (track.media.type == fourCC("vide"))
            record.set(MediaDBVideoColumnVCodec, toUpperAscii(fourCharacterText(*format)));
        else if (track.media.type == fourCC("soun"))
            record.set(MediaDBVideoColumnACodec, toUpperAscii(fourCharacterText(*format)));
    }
}

void QuickTimeAVParser::setThumbnail(Record& record, double duration) const
{
    auto frame = m_movie->frameImageAtTime(QTMakeTimeWithTimeInterval(thumbnailTime(duration)));
    if (!frame)
        frame = m_movie->posterImage();
    if (!frame)
        return;
    if (auto thumbnail = makeThumbnailForContentCategory(*frame, ThumbnailCategoryVideoFrame))
        record.set(MediaDBVideoColumnImage, std::move(*thumbnail));
}

} // namespace mv
