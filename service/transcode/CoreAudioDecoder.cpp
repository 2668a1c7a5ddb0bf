#include "service/transcode/CoreAudioDecoder.h"

#include "Base/Core/NSAssert.h"

namespace mv {

namespace {

const AudioFileFunctions& platformFunctions()
{
    static const AudioFileFunctions functions;
    return functions;
}

constexpr const char* CanDecode = "-[CoreAudioDecoder canDecodeWithPath:]";
constexpr const char* Prepare = "-[CoreAudioDecoder prepareWithPath:]";
constexpr const char* ReadPCM = "-[CoreAudioDecoder readPCM:sampleCount:]";

// Compressed formats state no depth.
constexpr std::int32_t DefaultDepth = 16;

std::int32_t depthOf(const AudioStreamBasicDescription& format)
{
    if (format.mFormatID != kAudioFormatAppleLossless)
        return format.mBitsPerChannel ? static_cast<std::int32_t>(format.mBitsPerChannel) : DefaultDepth;
    switch (format.mFormatFlags) {
    case kAppleLosslessFormatFlag_20BitSourceData:
        return 20;
    case kAppleLosslessFormatFlag_24BitSourceData:
        return 24;
    case kAppleLosslessFormatFlag_32BitSourceData:
        return 32;
    default:
        return DefaultDepth;
    }
}

// Truncated toward zero; a rate that no 32-bit number holds (or no number at all) counts as 0.
std::int32_t wholeRate(double rate)
{
    return rate > -2147483649.0 && rate < 2147483648.0 ? static_cast<std::int32_t>(rate) : 0;
}

} // namespace

// Under the name that readers of these logs know, without an ending.
#define MV_LOG(function, ...)                                                                                          \
    writeDebugLog(DebugLevelError, "CoreAudioDecoder", function, __LINE__, formatText(__VA_ARGS__))
#define MV_LOG_STATUS(function, format, status) MV_LOG(function, format, UTCreateStringForOSType(status).c_str())

CoreAudioDecoder::CoreAudioDecoder()
    : CoreAudioDecoder(platformFunctions())
{
}

CoreAudioDecoder::CoreAudioDecoder(const AudioFileFunctions& functions)
    : m_functions(functions)
{
}

CoreAudioDecoder::~CoreAudioDecoder()
{
    if (m_decoderHandle)
        m_functions.dispose(m_decoderHandle);
}

bool CoreAudioDecoder::canDecodeWithPath(const OpenedFile& opened)
{
    FSRef ref;
    if (m_functions.makeRef(opened, ref) != noErr)
        return false;
    ExtAudioFileRef file = nullptr;
    if (OSStatus status = m_functions.open(ref, &file); status != noErr) {
        MV_LOG_STATUS(CanDecode, "ExtAudioFileOpen failed: %s", status);
        return false;
    }
    // Deliberately not judged: any file that opens counts as decodable.
    AudioStreamBasicDescription format;
    std::uint32_t size = sizeof format;
    m_functions.getProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &format);
    if (OSStatus status = m_functions.dispose(file); status != noErr) {
        MV_LOG_STATUS(CanDecode, "ExtAudioFileDispose failed: %s", status);
        return false;
    }
    return true;
}

bool CoreAudioDecoder::prepareWithPath(const OpenedFile& file)
{
    return closeOpenFile() && openFile(file) && readFormat();
}

bool CoreAudioDecoder::closeOpenFile()
{
    if (!m_decoderHandle)
        return true;
    if (OSStatus status = m_functions.dispose(m_decoderHandle); status != noErr) {
        MV_LOG_STATUS(Prepare, "ExtAudioFileDispose failed: %s", status);
        return false;
    }
    m_decoderHandle = nullptr;
    return true;
}

bool CoreAudioDecoder::openFile(const OpenedFile& file)
{
    FSRef ref;
    if (OSStatus status = m_functions.makeRef(file, ref); status != noErr) {
        MV_LOG_STATUS(Prepare, "FSPathMakeRef failed: %s", status);
        return false;
    }
    if (OSStatus status = m_functions.open(ref, &m_decoderHandle); status != noErr) {
        MV_LOG_STATUS(Prepare, "ExtAudioFileOpen failed: %s", status);
        return false;
    }
    return true;
}

bool CoreAudioDecoder::readFormat()
{
    AudioStreamBasicDescription format;
    std::uint32_t size = sizeof format;
    if (OSStatus status
        = m_functions.getProperty(m_decoderHandle, kExtAudioFileProperty_FileDataFormat, &size, &format);
        status != noErr) {
        MV_LOG_STATUS(Prepare, "AudioFileGetProperty failed: %s", status);
        return false;
    }
    m_pcmFormat.bitsperchannel = depthOf(format);
    m_pcmFormat.channels = static_cast<std::int32_t>(format.mChannelsPerFrame);
    m_pcmFormat.samplerate = wholeRate(format.mSampleRate);
    m_pcmFormat.bytespersample
        = static_cast<std::int32_t>(std::int64_t { m_pcmFormat.bitsperchannel } * m_pcmFormat.channels / 8);
    size = sizeof m_pcmFormat.framecount;
    if (OSStatus status = m_functions.getProperty(
            m_decoderHandle, kExtAudioFileProperty_FileLengthFrames, &size, &m_pcmFormat.framecount);
        status != noErr) {
        MV_LOG_STATUS(Prepare, "kExtAudioFileProperty_FileLengthFrames: %s", status);
        return false;
    }
    return true;
}

std::int32_t CoreAudioDecoder::readPCMSampleCount(AudioBufferList* buffer, std::uint32_t sampleCount)
{
    MV_ASSERT(buffer, ReadPCM, "buffer is NULL");
    MV_ASSERT(buffer->mNumberBuffers != 0, ReadPCM, "buffer count is 0");
    std::uint32_t requestSize = static_cast<std::uint32_t>(m_pcmFormat.bytespersample) * sampleCount;
    std::uint32_t bufferSize = buffer->mBuffers[0].mDataByteSize;
    if (requestSize > bufferSize) {
        // Deliberate: the two numbers stand at each other's label, as readers of these logs know them.
        MV_LOG(ReadPCM, "the size of buffer is smaller than your request, buffersize(%d), requestSize(%d)",
            static_cast<int>(requestSize), static_cast<int>(bufferSize));
        return -1;
    }
    std::uint32_t frames = sampleCount;
    if (OSStatus status = m_functions.read(m_decoderHandle, &frames, buffer); status != noErr) {
        MV_LOG_STATUS(ReadPCM, "failed to ExtAudioFileRead: %s", status);
        return -1;
    }
    return static_cast<std::int32_t>(frames);
}

bool CoreAudioDecoder::deliverExactStereo()
{
    AudioStreamBasicDescription file;
    std::uint32_t size = sizeof file;
    if (m_functions.getProperty(m_decoderHandle, kExtAudioFileProperty_FileDataFormat, &size, &file) != noErr)
        return false;
    auto client = linearPcm(file.mSampleRate, 2, 32, kAudioFormatFlagIsSignedInteger);
    if (m_functions.setProperty(m_decoderHandle, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client)
        != noErr)
        return false;
    m_pcmFormat.bitsperchannel = 32;
    m_pcmFormat.bytespersample = static_cast<std::int32_t>(client.mBytesPerFrame);
    return true;
}

} // namespace mv
