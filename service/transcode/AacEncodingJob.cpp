#include "service/transcode/AacEncodingJob.h"

#include "audio/AudioBackend.h"

#include <algorithm>
#include <cmath>
#include <system_error>

namespace mv {

namespace {

Error statusError(OSStatus status, const char* what) { return { Error::Kind::Io, what, status }; }

/// True for packets that are as a joint takes them to be: low complexity, and no sound but what is on both sides of the
/// border of two of them.
bool canBeJoined(const AacEncoder& encoder)
{
    constexpr unsigned LowComplexity = 2;
    const Bytes& config = encoder.audioSpecificConfig();
    return !config.empty() && config[0] >> 3 == LowComplexity && encoder.framesPerPacket() > 0
        && encoder.primingFrames() == encoder.framesPerPacket();
}

} // namespace

AacEncodingJob::AacEncodingJob(const OpenedFile& source, std::uint32_t bitrate, MVMP4ExporterDelegate& progress)
    : m_sourceFile(source)
    , m_progress(progress)
{
    m_settings.bitRate = bitrate;
}

OSStatus AacEncodingJob::open()
{
    auto source = MVExtAudioFile::initWithFileToOpen(m_sourceFile);
    if (!source)
        return source.error().code;
    m_source = std::move(*source);
    m_source->setClientDataFormat(m_source->canonicalDataFormat());
    if (m_source->lastError() == noErr)
        m_total = m_source->totalFrame();
    if (m_source->lastError() == noErr)
        makeEncoder();
    return m_source->lastError();
}

void AacEncodingJob::makeEncoder()
{
    m_settings.rate = m_settings.inputRate = nearestAacRate(m_source->sampleRate());
    m_settings.channels = m_source->numberChannels();
    bool isTakenAsItIs = static_cast<double>(m_settings.rate) == m_source->sampleRate();
    if (!isTakenAsItIs || m_settings.channels < 1 || m_settings.channels > AacSegments::MaxChannels)
        return;
    if (auto encoder = audioBackend().makeAacEncoder(m_settings); encoder && canBeJoined(**encoder))
        m_encoder = std::move(*encoder);
}

bool AacEncodingJob::isForSegments() const
{
    return m_encoder && m_total > 0 && SegmentPlan::isWorthwhile(m_total, shape());
}

OSStatus AacEncodingJob::run(OutputPlace& destination, unsigned cores)
{
    auto output = destination.create();
    if (!output)
        return statusOfWriting(output.error());
    M4aFile file(std::move(*output), m_settings, *m_encoder);
    auto done = encode(file, cores);
    if (!done)
        return done.error().code;
    m_progress.MP4ExporterProgress(100);
    return noErr;
}

Result<void> AacEncodingJob::encode(M4aFile& file, unsigned cores)
{
    const SegmentPlan plan(cores, static_cast<std::uint64_t>(m_total), shape());
    AacSegments format(*m_source, m_settings, std::move(m_encoder));
    std::uint64_t samples = 0;
    try {
        Line line(format, plan);
        MV_TRY(written, write(line, file));
        samples = written;
    } catch (const std::system_error&) {
        return statusError(memFullErr, "no threads");
    }
    if (m_source->lastError() != noErr)
        return statusError(m_source->lastError(), "cannot read");
    return file.finish(samples);
}

/// Samples that are to be heard.
Result<std::uint64_t> AacEncodingJob::write(Line& line, M4aFile& file)
{
    while (true) {
        MV_TRY(step, line.next());
        for (std::size_t number = step.begin; number < step.end; ++number)
            MV_TRY_VOID(file.append(step.encoder->stream().packet(number)));
        if (step.isLast)
            return step.encoder->samplesToEnd();
        if (!report(step.samples))
            return statusError(MVMP4ExporterCancelled, "cancelled");
    }
}

/// Each whole percent once, never 0 and never 100; false when the delegate cancels.
bool AacEncodingJob::report(std::size_t samples)
{
    m_done += static_cast<std::int64_t>(samples);
    auto percent = static_cast<std::int32_t>(std::min<std::int64_t>(m_done * 100 / m_total, 99));
    if (percent <= m_percent)
        return true;
    m_percent = percent;
    return m_progress.MP4ExporterProgress(percent);
}

} // namespace mv
