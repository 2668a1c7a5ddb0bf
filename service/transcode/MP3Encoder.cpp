#include "service/transcode/MP3Encoder.h"

#include "Base/Core/Handle.h"
#include "Base/Core/NSAssert.h"
#include "service/transcode/CoreAudioDecoder.h"
#include "service/transcode/EncodingPipeline.h"
#include "service/transcode/SampleConversion.h"

#include <algorithm>
#include <cmath>
#include <system_error>

namespace mv {

namespace {

constexpr const char* Encode = "-[MP3Encoder encodeFile:outputFile:]";

constexpr std::string_view InputFileKey = "_InputFile";
constexpr std::string_view OutputFileKey = "_OutputFile";

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

MP3EncoderParts MP3EncoderParts::standard()
{
    static const LameLibrary library;
    return { &library, [] { return std::make_unique<CoreAudioDecoder>(); },
        [] { return std::make_unique<EncoderOutput>(); } };
}

/// One file on its way to MP3.
class MP3Encoder::Job {
public:
    Job(MP3Encoder& encoder, const Path& input, const Path& output)
        : m_encoder(encoder)
        , m_library(*encoder.m_parts.library)
        , m_delegate(encoder.delegateOfJob())
        , m_attributes(encoder.attributes())
        , m_input(input)
        , m_output(output)
        , m_mp3(Mp3BufferSize)
    {
    }
    ~Job() { closeLibrary(); }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    bool run();

private:
    std::int32_t prepare();
    std::int32_t openDecoder();
    std::int32_t setUpLibrary();
    void setBitRate();
    void checkAttributes() const;
    std::int32_t openOutput();
    void logParameters() const;
    std::int32_t encode();
    std::int32_t encodeBlocks(EncodingPipeline& pipeline);
    std::int32_t writeTagFrame();
    void reportProgress(std::int32_t frames);
    bool stopAsked();
    std::int32_t cleanUp(std::int32_t error);
    void closeLibrary();

    std::int32_t attribute(std::string_view key) const { return m_attributes.integer(key).value_or(0); }
    bool flag(std::string_view key) const { return m_attributes.boolean(key).value_or(false); }

    MP3Encoder& m_encoder;
    const LameLibrary& m_library;
    const std::shared_ptr<MVAudioEncoderDelegate> m_delegate;
    const Record m_attributes;
    const Path& m_input;
    const Path& m_output;
    lame_t m_lame = nullptr; // owned
    std::unique_ptr<MVAudioDecoder> m_decoder;
    std::unique_ptr<EncoderOutput> m_file; // null until it was opened
    PcmFormat m_format;
    std::uint32_t m_frameSize = 0;
    std::size_t m_id3Size = 0;
    Bytes m_mp3;
    std::int64_t m_framesDone = 0;
    float m_lastPercent = -1.0f;
    bool m_cancelled = false;
};

bool MP3Encoder::Job::run()
{
    std::int32_t error = prepare();
    if (error == NoError)
        error = openOutput();
    if (error == NoError)
        error = encode();
    error = cleanUp(error);
    if (m_delegate && error != NoError)
        m_delegate->encoderDidFailWithError(m_encoder, { std::string(MVAudioEncoderErrorDomain), error });
    else if (m_delegate && !m_cancelled)
        m_delegate->encoderDidEnd(m_encoder);
    closeLibrary();
    if (m_cancelled)
        m_file->remove(m_output);
    return error == NoError;
}

std::int32_t MP3Encoder::Job::prepare()
{
    m_lame = m_library.init();
    if (!m_lame) {
        MV_DEBUG_LOG(DebugLevelError, Encode, "failed to initialize lame");
        return MVAudioEncoderErrorEncoder;
    }
    if (std::int32_t error = openDecoder(); error != NoError)
        return error;
    checkAttributes();
    return setUpLibrary();
}

std::int32_t MP3Encoder::Job::openDecoder()
{
    m_decoder = m_encoder.m_parts.makeDecoder();
    if (!m_decoder || !m_decoder->prepareWithPath(OpenedFile::at(m_input)))
        return MVAudioEncoderErrorInput;
    if (flag(MVAudioEncoderExactConversionAttribute) && !m_decoder->deliverExactStereo())
        return MVAudioEncoderErrorInput;
    m_format = m_decoder->pcmFormat();
    return NoError;
}

// Only logs; a bit rate of 0 is handed to the library like any other.
void MP3Encoder::Job::checkAttributes() const
{
    if (attribute(MVAudioEncoderBitrateAttribute) != 0)
        return;
    MV_DEBUG_LOG(DebugLevelError, Encode, "Invalid encode attributes");
    MV_DEBUG_LOG(DebugLevelError, Encode, "bitrate:    %d", attribute(MVAudioEncoderBitrateAttribute));
    MV_DEBUG_LOG(DebugLevelError, Encode, "samplerate: %d", attribute(MVAudioEncoderSamplingRateAttribute));
}

std::int32_t MP3Encoder::Job::setUpLibrary()
{
    std::int32_t rate = attribute(MVAudioEncoderSamplingRateAttribute);
    m_library.setOutSamplerate(m_lame, rate != 0 ? rate : m_format.samplerate);
    setBitRate();
    // Two channels whatever the input has: the samples are always split into two.
    m_library.setNumChannels(m_lame, 2);
    m_library.setInSamplerate(m_lame, m_format.samplerate);
    m_library.setMode(m_lame, channelMode(attribute(MVMP3EncoderStereoModeAttribte)));
    m_library.setQuality(m_lame, libraryQuality(attribute(MVMP3EncoderQualityAttribute)));
    m_library.setWriteVbrTag(m_lame, 1);
    return m_library.initParams(m_lame) < 0 ? MVAudioEncoderErrorParameters : NoError;
}

// With a variable rate the bit rate attribute is deliberately not applied: the library's own mean is brought into
// its range.
void MP3Encoder::Job::setBitRate()
{
    if (!flag(MVAudioEncoderVBRAttribute)) {
        m_library.setVBR(m_lame, vbr_off);
        m_library.setBrate(m_lame, attribute(MVAudioEncoderBitrateAttribute) / 1000);
        return;
    }
    constexpr int HighestKbps = 7999; // what is above it must be bits per second
    m_library.setVBR(m_lame, vbr_default);
    int mean = m_library.getVBRMeanBitrateKbps(m_lame);
    if (mean > HighestKbps)
        m_library.setVBRMeanBitrateKbps(m_lame, (mean + 500) / 1000);
    m_library.setVBRMeanBitrateKbps(m_lame, std::min(m_library.getVBRMeanBitrateKbps(m_lame), 320));
    m_library.setVBRMeanBitrateKbps(m_lame, std::max(m_library.getVBRMeanBitrateKbps(m_lame), 8));
}

std::int32_t MP3Encoder::Job::openOutput()
{
    auto file = m_encoder.m_parts.makeOutput();
    if (!file->open(m_output, m_input))
        return MVAudioEncoderErrorOutput;
    m_file = std::move(file);
    int frameSize = m_library.getFramesize(m_lame);
    MV_ASSERT(frameSize <= static_cast<int>(MaximumFrameSize), Encode, "Invalid frame size");
    m_frameSize = static_cast<std::uint32_t>(std::max(0, frameSize));
    logParameters();
    m_id3Size = m_library.getId3v2Tag(m_lame, m_mp3.data(), m_mp3.size());
    if (m_id3Size > m_mp3.size())
        return MVAudioEncoderErrorTagSize;
    return m_file->write({ m_mp3.data(), m_id3Size }) ? NoError : MVAudioEncoderErrorWrite;
}

void MP3Encoder::Job::logParameters() const
{
    MV_DEBUG_LOG(DebugLevelParameters, Encode, "readToSample:  %d", static_cast<int>(m_frameSize));
    MV_DEBUG_LOG(DebugLevelParameters, Encode, "channels:   %d", m_format.channels);
    MV_DEBUG_LOG(DebugLevelParameters, Encode, "samplerate: %d", m_format.samplerate);
    MV_DEBUG_LOG(DebugLevelParameters, Encode, "bitrate:    %d", attribute(MVAudioEncoderBitrateAttribute));
}

std::int32_t MP3Encoder::Job::encode()
{
    if (m_delegate)
        m_delegate->encoderDidStart(m_encoder);
    std::unique_ptr<EncodingPipeline> pipeline;
    try {
        pipeline = std::make_unique<EncodingPipeline>(*m_decoder, m_library, m_lame, m_frameSize);
    } catch (const std::system_error& problem) {
        MV_DEBUG_LOG(DebugLevelError, Encode, "no threads: %s", problem.what());
        return MVAudioEncoderErrorEncoder;
    }
    std::int32_t error = encodeBlocks(*pipeline);
    pipeline.reset(); // the library is this thread's again
    return error != NoError || m_cancelled ? error : writeTagFrame();
}

std::int32_t MP3Encoder::Job::encodeBlocks(EncodingPipeline& pipeline)
{
    while (true) {
        m_cancelled = stopAsked();
        if (m_cancelled)
            return NoError;
        EncodingPipeline::Block block = pipeline.next();
        if (std::int32_t error = errorOfResult(block.result); error != NoError)
            return error;
        if (!m_file->write(block.mp3))
            return MVAudioEncoderErrorWrite;
        if (block.frames <= 0)
            return NoError;
        reportProgress(block.frames);
    }
}

bool MP3Encoder::Job::stopAsked() { return m_encoder.m_closing || (m_delegate && m_delegate->shouldEncodeStop()); }

void MP3Encoder::Job::reportProgress(std::int32_t frames)
{
    m_framesDone += frames;
    auto percent = static_cast<float>(
        std::ceil(static_cast<double>(m_framesDone) * 100.0 / static_cast<double>(m_format.framecount)));
    if (!(percent > m_lastPercent))
        return;
    m_lastPercent = percent;
    if (m_delegate)
        m_delegate->encoderProgress(m_encoder, percent);
}

// The library has kept the first frame free for what it knows only now.
std::int32_t MP3Encoder::Job::writeTagFrame()
{
    if (!m_file->seek(m_id3Size)) {
        MV_DEBUG_LOG(DebugLevelError, Encode, "fatal error: can't update LAME-tag frame!\n");
        return MVAudioEncoderErrorWrite;
    }
    std::size_t size = m_library.getLametagFrame(m_lame, m_mp3.data(), m_mp3.size());
    if (size > m_mp3.size()) {
        MV_DEBUG_LOG(DebugLevelError, Encode,
            "Error writing LAME-tag frame: buffer too small: buffer size=%d  frame size=%d\n",
            static_cast<int>(m_mp3.size()), static_cast<int>(size));
        return MVAudioEncoderErrorTagSize;
    }
    return size == 0 || m_file->write({ m_mp3.data(), size }) ? NoError : MVAudioEncoderErrorWrite;
}

// Files are closed before the delegate hears of the end, so it may use the output at once. Bytes that could not be
// written by then are a short write like any other.
std::int32_t MP3Encoder::Job::cleanUp(std::int32_t error)
{
    m_decoder.reset();
    bool written = !m_file || m_file->close();
    return error == NoError && !m_cancelled && !written ? MVAudioEncoderErrorWrite : error;
}

void MP3Encoder::Job::closeLibrary()
{
    if (lame_t lame = std::exchange(m_lame, nullptr))
        m_library.close(lame);
}

MP3Encoder::MP3Encoder()
    : MP3Encoder(MP3EncoderParts::standard())
{
}

MP3Encoder::MP3Encoder(MP3EncoderParts parts)
    : m_parts(std::move(parts))
{
    mergeAttributes({ { MVMP3EncoderStereoModeAttribte, 2 }, { MVMP3EncoderQualityAttribute, 1 } });
}

MP3Encoder::~MP3Encoder()
{
    std::vector<Worker> workers;
    {
        MutexLock hold(m_workersLock);
        m_closing = true;
        workers.swap(m_workers);
    }
    // Not under the lock: a job's delegate may be asking for another job.
    for (Worker& worker : workers)
        worker.thread.join();
}

void MP3Encoder::setAttributes(const Record& attributes)
{
    Record usable;
    for (const auto& [key, value] : attributes) {
        if (!value.isOtherKind())
            usable.set(key, value);
    }
    mergeAttributes(usable);
}

bool MP3Encoder::encodeFileOutputFile(const Path& input, const Path& output)
{
    MV_ASSERT(!input.isNil(), Encode, "input is nil");
    MV_ASSERT(!output.isNil(), Encode, "output is nil");
    return Job(*this, input, output).run();
}

void MP3Encoder::encodeOnThreadFileOutputFile(const Path& input, const Path& output)
{
    if (input.isNil() || output.isNil())
        throw NSException(NSInvalidArgumentException, "attempt to insert nil value");
    mergeAttributes({ { InputFileKey, input.text() }, { OutputFileKey, output.text() } });
    MutexLock hold(m_workersLock);
    if (m_closing)
        throw NSException(NSGenericException, "the encoder is being closed");
    reapWorkers();
    m_workers.reserve(m_workers.size() + 1);
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([this, done] {
        encodeThread();
        *done = true;
    });
    m_workers.push_back({ std::move(thread), std::move(done) });
}

// Threads that have finished are joined when the next one starts, so that they do not pile up.
void MP3Encoder::reapWorkers()
{
    std::erase_if(m_workers, [](Worker& worker) {
        if (!*worker.done)
            return false;
        worker.thread.join();
        return true;
    });
}

void MP3Encoder::encodeThread()
{
    Record attributes = this->attributes();
    const std::string* input = attributes.string(InputFileKey);
    const std::string* output = attributes.string(OutputFileKey);
    try {
        encodeFileOutputFile(input ? Path(*input) : Path(), output ? Path(*output) : Path());
    } catch (const std::exception& problem) {
        NSLog("*** Terminating encoding thread due to uncaught exception: %s", problem.what());
    } catch (...) {
        NSLog("*** Terminating encoding thread due to uncaught exception of an unknown kind");
    }
}

void MP3Encoder::buildBufferFrameCountBuffer(
    const AudioBufferList& list, std::uint32_t frameCount, std::int32_t (&buffer)[2][1152])
{
    const AudioBuffer& from = list.mBuffers[0];
    ByteView area { static_cast<const std::uint8_t*>(from.mData), std::size_t { frameCount } * 8 };
    buildSampleBlock(area, from.mDataByteSize, frameCount, buffer);
}

} // namespace mv
