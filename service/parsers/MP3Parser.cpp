#include "service/parsers/MP3Parser.h"

#include "Base/Media/DescribedFile.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "id3/MpegFrameReader.h"
#include "id3/TagReader.h"
#include "platform/QTKit.h"
#include "service/parsers/ID3Columns.h"
#include "service/parsers/MusicColumns.h"

#include <cmath>

namespace mv {

namespace {

constexpr double BitsPerByte = 8.0;
constexpr double BitsPerKilobit = 1000.0;

/// Truncated or rounded numbers of whatever a file claims, kept inside what the column holds.
std::int32_t columnInteger(double value) { return *Value(value).integerValue(); }

void setAudioColumns(Record& record, const MpegAudioFacts& audio)
{
    record.set(MediaDBMusicColumnPlayLength, audio.wholeSeconds());
    // The first frame's, also where later frames have others.
    record.set(MediaDBMusicColumnBitrate, columnInteger(std::floor(audio.header.bitrate / BitsPerKilobit)));
    record.set(MediaDBMusicColumnSamplerate, audio.header.sampleRate);
}

/// Tag columns and audio columns of a file that can be read; false when it holds no MPEG audio. A file that cannot be
/// read is one without tags.
bool readFileColumns(Record& record, const OpenedFile& file)
{
    const MemorySource nothing { {} };
    const ByteSource& source = file.content().ok() ? **file.content() : nothing;

    auto tags = readTags(source);
    TagSet found = tags.ok() ? std::move(*tags) : TagSet {};
    setID3Columns(record, found, source);
    auto audio = MpegFrameReader::read(source, found.audioBegin, found.audioEnd);
    if (audio)
        setAudioColumns(record, *audio);
    return audio.has_value();
}

/// Of a file that is there.
void setFileColumns(Record& record, const OpenedFile& file)
{
    setNewMusicColumns(record);
    setMusicFileColumns(record, *file.attributes());
    // Whatever the extension says.
    setMediaTypeColumns(record, MVMediaTypeMP3);
    record.set(MediaDBMusicColumnDRMProperty, 0);
    record.set(MediaDBMusicColumnIsLicenseExpired, false);
    record.set(MediaDBMusicColumnPlayState, 0);
}

} // namespace

std::optional<Record> MP3Parser::build(const OpenedFile& file)
{
    if (!file.exists())
        return std::nullopt;
    Record record;
    setPathColumns(record, file.path());
    if (!readFileColumns(record, file) && !readMovieFacts(file, record))
        return std::nullopt;
    setFileColumns(record, file);
    return record;
}

bool MP3Parser::readMovieFacts(const OpenedFile& file, Record& record)
{
    toolkit().enterQTKitOnThread();
    auto movie = toolkit().initWithFile(file);
    // Deliberate: the toolkit is not left on this way out.
    if (!movie.ok())
        return false;
    double duration = 0;
    QTGetTimeInterval((*movie)->duration(), &duration);
    if (duration > 0) {
        double size = static_cast<double>(file.attributes()->size);
        record.set(MediaDBMusicColumnPlayLength, columnInteger(duration));
        record.set(
            MediaDBMusicColumnBitrate, columnInteger(std::floor(size * BitsPerByte / duration / BitsPerKilobit)));
    }
    // Deliberate: the rate at which the movie plays, not a sample rate; clients know it so.
    float rate = (*movie)->attribute<float>(QTMovieRateAttribute).value_or(0.0F);
    record.set(MediaDBMusicColumnSamplerate, columnInteger(rate));
    toolkit().exitQTKitOnThread();
    return true;
}

QTKit& MP3Parser::toolkit() const { return m_toolkit ? *m_toolkit : QTKit::shared(); }

} // namespace mv
