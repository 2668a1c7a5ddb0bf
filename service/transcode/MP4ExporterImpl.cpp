#include "service/transcode/MP4ExporterImpl.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Handle.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "service/parsers/MP3Parser.h"
#include "service/parsers/MP4Parser.h"
#include "service/tags/MediaTag.h"
#include "service/transcode/MP4ExportSetting.h"
#include "service/transcode/MVExtAudioFile.h"

#include <algorithm>

namespace mv {

namespace {

constexpr OSType Mpeg4 = fourCC("mpg4");
constexpr OSType Creator = fourCC("TVOD");
constexpr OSType Alac = fourCC("alac");

constexpr std::int32_t MinBitRate = 1000;
constexpr std::int32_t MaxBitRate = 256000;
constexpr std::int32_t DefaultBitRate = 128000;
constexpr std::uint32_t FramesPerBuffer = 2048;

// What was in the place is gone afterwards.
OSStatus makeDestinationRef(OutputPlace& place, FSRef& ref)
{
    if (!place.clear())
        return fnfErr;
    auto output = place.create();
    if (!output)
        return fnfErr;
    ref = { OpenedFile(place.path()), std::move(*output) };
    return noErr;
}

std::int32_t percentOf(std::int16_t message, Fixed percentDone)
{
    switch (message) {
    case movieProgressOpen:
        return 1;
    case movieProgressUpdatePercent:
        return std::clamp(Fix2Long(FixMul(percentDone, Long2Fix(100))), 1, 99);
    case movieProgressClose:
        return 100;
    default:
        return 0;
    }
}

AudioStreamBasicDescription aacOf(const MVExtAudioFile& source)
{
    AudioStreamBasicDescription description; // the sizes are the encoder's
    description.mSampleRate = source.sampleRate();
    description.mFormatID = kAudioFormatMPEG4AAC;
    description.mChannelsPerFrame = source.numberChannels();
    return description;
}

// Tells the delegate each whole percent once, never 0 and never 100.
class ConversionProgress {
public:
    ConversionProgress(MVMP4ExporterDelegate* delegate, std::int64_t total)
        : m_delegate(delegate)
        , m_total(total)
    {
    }

    /// After a buffer was written; false when the delegate cancels.
    bool bufferWritten()
    {
        if (!m_delegate || m_total <= 0)
            return true;
        // Deliberate: a short last buffer counts in full.
        m_processed += FramesPerBuffer;
        double ratio = static_cast<double>(m_processed) / static_cast<double>(m_total);
        auto percent = static_cast<std::int32_t>(std::min(ratio * 100, 100.0));
        if (percent < 1 || percent > 99 || percent <= m_reported)
            return true;
        m_reported = percent;
        return m_delegate->MP4ExporterProgress(percent);
    }

private:
    MVMP4ExporterDelegate* m_delegate;
    std::int64_t m_total;
    std::int64_t m_processed = 0;
    std::int32_t m_reported = 0;
};

} // namespace

OSStatus myMovieProgressProc(Movie&, std::int16_t message, std::int16_t, Fixed percentDone, void* context)
{
    auto* delegate = static_cast<MVMP4ExporterDelegate*>(context);
    return delegate->MP4ExporterProgress(percentOf(message, percentDone)) ? noErr : MVMP4ExporterCancelled;
}

MP4ExporterTools MP4ExporterTools::platform()
{
    static const AudioFileFunctions functions;
    return {
        &MovieToolbox::shared(),
        &functions,
        [](const OpenedFile& file) { return MP3Parser {}.build(file); },
        [](const OpenedFile& file) { return MP4Parser {}.build(file); },
        [](EditableFile& file, const Record& record) { return MediaTag {}.updateTagWithDictionary(file, record); },
    };
}

MP4ExporterImpl::MP4ExporterImpl()
    : MP4ExporterImpl(MP4ExporterTools::platform())
{
}

MP4ExporterImpl::MP4ExporterImpl(MP4ExporterTools tools)
    : m_tools(std::move(tools))
{
}

std::int32_t MP4ExporterImpl::exportWithDelegateFromPathToMp4Path(
    MVMP4ExporterDelegate* delegate, const OpenedFile& source, const SharedPlace& destination)
{
    m_tools.toolbox->EnterMovies();
    ScopeGuard leave([this] { m_tools.toolbox->ExitMovies(); });
    return exportMovie(delegate, source, *destination);
}

OSStatus MP4ExporterImpl::exportMovie(
    MVMP4ExporterDelegate* delegate, const OpenedFile& source, OutputPlace& destination)
{
    FSRef sourceRef;
    DataReference from;
    if (destination.holds(source) || FSPathMakeRef(source, sourceRef) != noErr || !destination.canHoldFile()
        || m_tools.toolbox->QTNewDataReferenceFromFSRef(sourceRef, from) != noErr)
        return paramErr;
    std::unique_ptr<Movie> movie;
    OSStatus status = m_tools.toolbox->NewMovieFromDataRef(movie, newMovieActive, from);
    if (status != noErr || !movie)
        return status;
    // From here on the older file is gone: a source that is missing, no movie, or the destination itself costs none.
    FSRef destinationRef;
    DataReference to;
    if (makeDestinationRef(destination, destinationRef) != noErr
        || m_tools.toolbox->QTNewDataReferenceFromFSRef(destinationRef, to) != noErr)
        return paramErr;
    if (delegate)
        m_tools.toolbox->SetMovieProgressProc(*movie, myMovieProgressProc, delegate);
    return convertMovie(*movie, to);
}

OSStatus MP4ExporterImpl::convertMovie(Movie& movie, const DataReference& destination)
{
    auto exporter = m_tools.toolbox->OpenDefaultComponent(MovieExportType, Mpeg4);
    // Deliberate: without an exporter nothing is exported, and that is no error.
    if (!exporter
        || m_tools.toolbox->MovieExportSetSettingsFromAtomContainer(*exporter, _mp4_export_setting()) != noErr)
        return noErr;
    return m_tools.toolbox->ConvertMovieToDataRef(
        movie, destination, Mpeg4, Creator, createMovieFileDeleteCurFile | createMovieFileDontCreateResFile, *exporter);
}

struct MP4ExporterImpl::Conversion {
    MVMP4ExporterDelegate* delegate;
    const OpenedFile& sourceFile;
    OutputPlace& destinationPlace;
    std::int32_t bitrate;
    std::unique_ptr<MVExtAudioFile> source {};
    std::unique_ptr<MVExtAudioFile> destination {};
    bool cancelled = false;
};

std::int32_t MP4ExporterImpl::convertToAacWithDelegateFromPathToMp4PathBitrate(
    MVMP4ExporterDelegate* delegate, const OpenedFile& source, const SharedPlace& destination, std::int32_t bitrate)
{
    if (bitrate < MinBitRate || bitrate > MaxBitRate)
        bitrate = DefaultBitRate;
    if (destination->holds(source))
        return paramErr;
    std::optional<Record> tags = tagsOf(source);
    Conversion job { delegate, source, *destination, bitrate };
    if (OSStatus status = openFiles(job); status != noErr)
        return status;
    copyFrames(job);
    OSStatus error = closeFiles(job);
    // Deliberate: after a cancel too. The record goes over as it is, so an MP3 source gives the new file an ID3 tag.
    if (error == noErr && tags)
        m_tools.updateTag(*destination->edit(), *tags);
    if (job.cancelled)
        return MVMP4ExporterCancelled;
    if (error == noErr && delegate)
        delegate->MP4ExporterProgress(100);
    return error;
}

std::optional<Record> MP4ExporterImpl::tagsOf(const OpenedFile& source) const
{
    switch (MVMediaTypeReader::type(source.path())) {
    case MVMediaTypeMP3:
        return m_tools.describeMP3(source);
    case MVMediaTypeM4A:
        return m_tools.describeMP4(source);
    default:
        return std::nullopt;
    }
}

// Both files must take the common PCM format: bytes of another would be noise.
OSStatus MP4ExporterImpl::openFiles(Conversion& job) const
{
    auto source = MVExtAudioFile::initWithFileToOpen(job.sourceFile, *m_tools.audioFiles);
    if (!source)
        return source.error().code;
    job.source = std::move(*source);
    AudioStreamBasicDescription canonical = job.source->canonicalDataFormat();
    job.source->setClientDataFormat(canonical);
    if (job.source->lastError() != noErr)
        return job.source->lastError();
    auto destination = MVExtAudioFile::initWithFileToCreateFileTypeStreamDescription(
        job.destinationPlace, kAudioFileM4AType, aacOf(*job.source), *m_tools.audioFiles);
    if (!destination)
        return destination.error().code;
    job.destination = std::move(*destination);
    job.destination->setClientDataFormat(canonical);
    if (job.destination->lastError() != noErr)
        return job.destination->lastError();
    job.destination->setBitRate(static_cast<std::uint32_t>(job.bitrate));
    return noErr;
}

void MP4ExporterImpl::copyFrames(Conversion& job) const
{
    std::int64_t total = job.source->totalFrame();
    ConversionProgress progress(job.delegate, total);
    std::int64_t copied = 0;
    while (!job.cancelled) {
        Bytes buffer = job.source->readDataWithNumberFrames(FramesPerBuffer);
        // Deliberate: what cannot be read is written as silence. A source that fails for good would go on for ever;
        // it ends where the announced length does.
        bool failedForGood = job.source->lastError() != noErr && copied >= total;
        if (buffer.empty() || failedForGood)
            return;
        job.destination->writeData(buffer);
        copied += FramesPerBuffer;
        if (job.destination->lastError() == noErr)
            job.cancelled = !progress.bufferWritten();
    }
}

// A written file that cannot be finished is an error like any other.
OSStatus MP4ExporterImpl::closeFiles(Conversion& job) const
{
    OSStatus error = job.destination->lastError();
    if (error == noErr)
        error = job.source->lastError();
    job.source->close();
    job.destination->close();
    return error != noErr ? error : job.destination->lastError();
}

bool MP4ExporterImpl::isAlacAudio(const OpenedFile& file)
{
    m_tools.toolbox->EnterMovies();
    ScopeGuard leave([this] { m_tools.toolbox->ExitMovies(); });
    return hasAlacTrack(file);
}

bool MP4ExporterImpl::hasAlacTrack(const OpenedFile& file)
{
    FSRef ref;
    DataReference reference;
    std::unique_ptr<Movie> movie;
    if (FSPathMakeRef(file, ref) != noErr || m_tools.toolbox->QTNewDataReferenceFromFSRef(ref, reference) != noErr
        || m_tools.toolbox->NewMovieFromDataRef(movie, newMovieActive, reference) != noErr || !movie)
        return false;
    for (std::size_t i = 1; i <= GetMovieTrackCount(*movie); ++i) {
        const QTTrack* track = GetMovieIndTrack(*movie, i);
        if (GetTrackEnabled(*track) && GetMediaSampleDescription(*GetTrackMedia(*track), 1) == Alac)
            return true;
    }
    return false;
}

} // namespace mv
