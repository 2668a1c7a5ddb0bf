#include "service/transcode/Mp3EncodingJob.h"

#include "Base/Core/NSAssert.h"
#include "service/include/MVAudioEncoderBase.h"
#include "service/transcode/CoreAudioDecoder.h"
#include "service/transcode/EncodingPipeline.h"
#include "service/transcode/SegmentedEncoding.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

namespace mv {

namespace {

// Where the lines of a job come from, as readers of these logs know it.
constexpr std::string_view File = "MP3Encoder.cpp";
constexpr const char* Encode = "-[MP3Encoder encodeFile:outputFile:]";

constexpr std::int32_t NoError = 0;

// LAME's own code for an output buffer that is too small.
constexpr int LameBufferTooSmall = -1;

std::int32_t errorOfResult(int result)
{
    if (result >= 0)
        return NoError;
    return result == LameBufferTooSmall ? MVAudioEncoderErrorBuffer : MVAudioEncoderErrorEncoder;
}

MPEG_mode channelMode(std::int32_t code)
{
    switch (code) {
    case 1:
        return MONO;
    case 2:
        return STEREO;
    case 3:
        return JOINT_STEREO;
    default:
        return NOT_SET;
    }
}

int libraryQuality(std::int32_t code)
{
    switch (code) {
    case 0:
        return 7;
    case 2:
        return 2;
    default:
        return 5;
    }
}

} // namespace

#define MV_LOG(level, ...) writeDebugLog(level, File, Encode, __LINE__, formatText(__VA_ARGS__))

MP3EncoderParts MP3EncoderParts::standard(unsigned cores)
{
    static const LameLibrary library;
    return { &library, [] { return std::make_unique<CoreAudioDecoder>(); }, cores };
}

Mp3EncodingJob::Mp3EncodingJob(const MP3EncoderParts& parts, Record attributes, EncodingListener& listener,
    const OpenedFile& input, OutputPlace& output)
    : m_parts(parts)
    , m_library(*parts.library)
    , m_attributes(std::move(attributes))
    , m_listener(listener)
    , m_input(input)
    , m_output(output)
    , m_mp3(Mp3BufferSize)
{
}

bool Mp3EncodingJob::run()
{
    std::int32_t error = prepare();
    if (error == NoError)
        error = openOutput();
    if (error == NoError)
        error = encode();
    error = cleanUp(error);
    if (error != NoError)
        m_listener.failed(error);
    else if (!m_cancelled)
        m_listener.ended();
    closeLibrary();
    if (m_cancelled)
        (void)m_output.clear(); // what cannot be removed stays
    return error == NoError;
}

std::int32_t Mp3EncodingJob::prepare()
{
    m_lame = m_library.init();
    if (!m_lame) {
        MV_LOG(DebugLevelError, "failed to initialize lame");
        return MVAudioEncoderErrorEncoder;
    }
    if (std::int32_t error = openDecoder(); error != NoError)
        return error;
    checkAttributes();
    return setUpLibrary(m_lame);
}

std::int32_t Mp3EncodingJob::openDecoder()
{
    m_decoder = m_parts.makeDecoder();
    if (!m_decoder || !m_decoder->prepareWithPath(m_input))
        return MVAudioEncoderErrorInput;
    if (flag(MVAudioEncoderExactConversionAttribute) && !m_decoder->deliverExactStereo())
        return MVAudioEncoderErrorInput;
    m_format = m_decoder->pcmFormat();
    return NoError;
}

// Only logs; a bit rate of 0 is handed to the library like any other.
void Mp3EncodingJob::checkAttributes() const
{
    if (attribute(MVAudioEncoderBitrateAttribute) != 0)
        return;
    MV_LOG(DebugLevelError, "Invalid encode attributes");
    MV_LOG(DebugLevelError, "bitrate:    %d", attribute(MVAudioEncoderBitrateAttribute));
    MV_LOG(DebugLevelError, "samplerate: %d", attribute(MVAudioEncoderSamplingRateAttribute));
}

std::int32_t Mp3EncodingJob::setUpLibrary(lame_t lame) const
{
    std::int32_t rate = attribute(MVAudioEncoderSamplingRateAttribute);
    m_library.setOutSamplerate(lame, rate != 0 ? rate : m_format.samplerate);
    setBitRate(lame);
    // Two channels whatever the input has: the samples are always split into two.
    m_library.setNumChannels(lame, 2);
    m_library.setInSamplerate(lame, m_format.samplerate);
    m_library.setMode(lame, channelMode(attribute(MVMP3EncoderStereoModeAttribte)));
    m_library.setQuality(lame, libraryQuality(attribute(MVMP3EncoderQualityAttribute)));
    m_library.setWriteVbrTag(lame, 1);
    return m_library.initParams(lame) < 0 ? MVAudioEncoderErrorParameters : NoError;
}

// With a variable rate the bit rate attribute is deliberately not applied: the library's own mean is brought into
// its range.
void Mp3EncodingJob::setBitRate(lame_t lame) const
{
    if (!flag(MVAudioEncoderVBRAttribute)) {
        m_library.setVBR(lame, vbr_off);
        m_library.setBrate(lame, attribute(MVAudioEncoderBitrateAttribute) / 1000);
        return;
    }
    constexpr int MaxKbps = 7999; // what is above it must be bits per second
    m_library.setVBR(lame, vbr_default);
    int mean = m_library.getVBRMeanBitrateKbps(lame);
    if (mean > MaxKbps)
        m_library.setVBRMeanBitrateKbps(lame, (mean + 500) / 1000);
    m_library.setVBRMeanBitrateKbps(lame, std::min(m_library.getVBRMeanBitrateKbps(lame), 320));
    m_library.setVBRMeanBitrateKbps(lame, std::max(m_library.getVBRMeanBitrateKbps(lame), 8));
}

LameHandle Mp3EncodingJob::makeLame() const
{
    LameHandle lame(m_library.init(), [this](lame_t made) { m_library.close(made); });
    if (lame && setUpLibrary(lame.get()) != NoError)
        lame.reset();
    return lame;
}

std::int32_t Mp3EncodingJob::openOutput()
{
    m_file = m_output.openInPlace(m_input);
    if (!m_file)
        return MVAudioEncoderErrorOutput;
    int frameSize = m_library.getFramesize(m_lame);
    if (frameSize > static_cast<int>(MaxFrameSize))
        failAssertion(File, Encode, __LINE__, "Invalid frame size");
    m_frameSize = static_cast<std::uint32_t>(std::max(0, frameSize));
    logParameters();
    m_id3Size = m_library.getId3v2Tag(m_lame, m_mp3.data(), m_mp3.size());
    if (m_id3Size > m_mp3.size())
        return MVAudioEncoderErrorTagSize;
    return m_file->write({ m_mp3.data(), m_id3Size }) ? NoError : MVAudioEncoderErrorWrite;
}

void Mp3EncodingJob::logParameters() const
{
    MV_LOG(DebugLevelParameters, "readToSample:  %d", static_cast<int>(m_frameSize));
    MV_LOG(DebugLevelParameters, "channels:   %d", m_format.channels);
    MV_LOG(DebugLevelParameters, "samplerate: %d", m_format.samplerate);
    MV_LOG(DebugLevelParameters, "bitrate:    %d", attribute(MVAudioEncoderBitrateAttribute));
}

std::int32_t Mp3EncodingJob::encode()
{
    m_listener.started();
    std::unique_ptr<EncodedSound> sound;
    try {
        sound = startEncoding();
    } catch (const std::system_error& problem) {
        MV_LOG(DebugLevelError, "no threads: %s", problem.what());
        return MVAudioEncoderErrorEncoder;
    }
    std::int32_t error = encodeBlocks(*sound);
    return error != NoError || m_cancelled ? error : writeTagFrame(*sound);
}

std::unique_ptr<EncodedSound> Mp3EncodingJob::startEncoding()
{
    if (!isForSegments())
        return std::make_unique<EncodingPipeline>(*m_decoder, m_library, m_lame, m_frameSize);
    SegmentPlan plan(m_parts.cores, static_cast<std::uint64_t>(std::max<std::int64_t>(0, m_format.framecount)),
        Mp3Segments::shape(m_frameSize));
    LameHandle first(m_lame, [](lame_t) {}); // the job's
    return std::make_unique<SegmentedEncoding>(
        *m_decoder, m_library, std::move(first), [this] { return makeLame(); }, plan);
}

bool Mp3EncodingJob::isForSegments() const
{
    std::int32_t rate = attribute(MVAudioEncoderSamplingRateAttribute);
    return m_parts.cores > 1 && flag(MVAudioEncoderExactConversionAttribute) && m_frameSize > 0
        && m_library.getOutSamplerate(m_lame) == m_format.samplerate && (rate == 0 || rate == m_format.samplerate)
        && SegmentPlan::isWorthwhile(m_format.framecount, Mp3Segments::shape(m_frameSize));
}

std::int32_t Mp3EncodingJob::encodeBlocks(EncodedSound& sound)
{
    while (true) {
        m_cancelled = m_listener.shouldStop();
        if (m_cancelled)
            return NoError;
        EncodedSound::Block block = sound.next();
        if (std::int32_t error = errorOfResult(block.result); error != NoError)
            return error;
        if (!m_file->write(block.mp3))
            return MVAudioEncoderErrorWrite;
        if (block.isLast)
            return NoError;
        if (block.frames > 0)
            reportProgress(block.frames);
    }
}

void Mp3EncodingJob::reportProgress(std::int32_t frames)
{
    m_framesDone += frames;
    auto percent = static_cast<float>(
        std::ceil(static_cast<double>(m_framesDone) * 100.0 / static_cast<double>(m_format.framecount)));
    if (!(percent > m_lastPercent))
        return;
    m_lastPercent = percent;
    m_listener.progress(percent);
}

// The library has kept the first frame free for what it knows only now.
std::int32_t Mp3EncodingJob::writeTagFrame(EncodedSound& sound)
{
    if (!m_file->seek(m_id3Size)) {
        MV_LOG(DebugLevelError, "fatal error: can't update LAME-tag frame!\n");
        return MVAudioEncoderErrorWrite;
    }
    std::size_t size = sound.tagFrame(m_mp3);
    if (size > m_mp3.size()) {
        MV_LOG(DebugLevelError, "Error writing LAME-tag frame: buffer too small: buffer size=%d  frame size=%d\n",
            static_cast<int>(m_mp3.size()), static_cast<int>(size));
        return MVAudioEncoderErrorTagSize;
    }
    return size == 0 || m_file->write({ m_mp3.data(), size }) ? NoError : MVAudioEncoderErrorWrite;
}

// Files are closed before the delegate hears of the end, so it may use the output at once. Bytes that could not be
// written by then are a short write like any other.
std::int32_t Mp3EncodingJob::cleanUp(std::int32_t error)
{
    m_decoder.reset();
    bool written = !m_file || m_file->close();
    return error == NoError && !m_cancelled && !written ? MVAudioEncoderErrorWrite : error;
}

void Mp3EncodingJob::closeLibrary()
{
    if (lame_t lame = std::exchange(m_lame, nullptr))
        m_library.close(lame);
}

EncodingRun encodingOfParts(MP3EncoderParts parts)
{
    return [parts = std::move(parts)](const Record& attributes, EncodingListener& listener, const OpenedFile& input,
               OutputPlace& output) { return Mp3EncodingJob(parts, attributes, listener, input, output).run(); };
}

} // namespace mv
