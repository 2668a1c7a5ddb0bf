#include "service/parsers/MP3Parser.h"

#include "Base/Core/NSException.h"
#include "Base/Media/DescribedFile.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "id3/MpegFrameReader.h"
#include "id3/TagReader.h"
#include "platform/MainThread.h"
#include "platform/NSFileManager.h"
#include "platform/QTKit.h"
#include "service/parsers/ID3Columns.h"
#include "system/InputFile.h"

#include <cmath>

namespace mv {

namespace {

constexpr double BitsPerByte = 8.0;
constexpr double BitsPerKilobit = 1000.0;

/// Truncated or rounded numbers of whatever a file claims, kept inside what the column holds.
std::int32_t columnInteger(double value) { return *Value(value).integerValue(); }

// An exception of the platform's family means that the attributes are not there.
std::optional<FileAttributes> attributesOf(const Path& path)
{
    try {
        if (auto attributes = NSFileManager::attributesOfItemAtPath(path))
            return *attributes;
    } catch (const NSException&) {
    }
    return std::nullopt;
}

void setAudioColumns(Record& record, const MpegAudioFacts& audio)
{
    record.set(MediaDBMusicColumnPlayLength, audio.wholeSeconds());
    // The first frame's, also where later frames have others.
    record.set(MediaDBMusicColumnBitrate, columnInteger(std::floor(audio.header.bitrate / BitsPerKilobit)));
    record.set(MediaDBMusicColumnSamplerate, audio.header.sampleRate);
}

/// Tag columns and audio columns of a file that can be read; false when it holds no MPEG audio. A file that cannot be
/// read is one without tags.
bool readFileColumns(Record& record, const Path& path)
{
    auto file = InputFile::open(path);
    const MemorySource nothing { {} };
    const ByteSource& source = file.ok() ? static_cast<const ByteSource&>(*file) : nothing;

    auto tags = readTags(source);
    TagSet found = tags.ok() ? std::move(*tags) : TagSet {};
    setID3Columns(record, found, source);
    auto audio = MpegFrameReader::read(source, found.audioBegin, found.audioEnd);
    if (audio)
        setAudioColumns(record, *audio);
    return audio.has_value();
}

void setFileColumns(Record& record, const Path& path)
{
    setNewMusicColumns(record);
    auto attributes = attributesOf(path);
    if (attributes) {
        record.set(MediaDBMusicColumnDateModified, attributes->modificationDate);
        record.set(MediaDBCommonColumnFileSize, attributes->size);
    } else {
        record.set(MediaDBCommonColumnFileSize, 0);
    }
    // Whatever the extension says.
    setMediaTypeColumns(record, MVMediaTypeMP3);
    record.set(MediaDBMusicColumnDRMProperty, 0);
    record.set(MediaDBMusicColumnIsLicenseExpired, false);
    record.set(MediaDBMusicColumnPlayState, 0);
}

} // namespace

std::optional<Record> MP3Parser::build(const Path& path)
{
    if (!NSFileManager::fileExistsAtPath(path))
        return std::nullopt;
    Record record;
    setPathColumns(record, path);
    if (!readFileColumns(record, path) && !readMovieFacts(path, record))
        return std::nullopt;
    setFileColumns(record, path);
    return record;
}

bool MP3Parser::readMovieFacts(const Path& path, Record& record)
{
    MainThread::perform([this] { runQTKitOnMainThread(); }, true);
    auto movie = toolkit().initWithFile(path);
    // Deliberate: the toolkit is not left on this way out.
    if (!movie.ok())
        return false;
    double duration = 0;
    QTGetTimeInterval((*movie)->duration(), &duration);
    if (duration > 0) {
        auto attributes = attributesOf(path);
        double size = attributes ? static_cast<double>(attributes->size) : 0.0;
        record.set(MediaDBMusicColumnPlayLength, columnInteger(duration));
        record.set(
            MediaDBMusicColumnBitrate, columnInteger(std::floor(size * BitsPerByte / duration / BitsPerKilobit)));
    }
    // Deliberate: the rate at which the movie plays, not a sample rate; clients know it so.
    float rate = (*movie)->attribute<float>(QTMovieRateAttribute).value_or(0.0F);
    record.set(MediaDBMusicColumnSamplerate, columnInteger(rate));
    MainThread::perform([this] { stopQTKitOnMainThread(); }, true);
    return true;
}

void MP3Parser::runQTKitOnMainThread() { toolkit().enterQTKitOnThread(); }

void MP3Parser::stopQTKitOnMainThread() { toolkit().exitQTKitOnThread(); }

QTKit& MP3Parser::toolkit() const { return m_toolkit ? *m_toolkit : QTKit::shared(); }

} // namespace mv
