#include "service/transcode/MVExtAudioFile.h"

#include "Base/Core/NSLog.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::uint32_t BytesPerSample = 4;

// What is logged of a failed call; the number follows. The bit rate's names the wrong call, as readers of these logs
// know it.
constexpr const char* GetConverter = "ExtAudioFileGetProperty (kExtAudioFileProperty_AudioConverter) fail";
constexpr const char* GetClientFormat = "ExtAudioFileGetProperty (kExtAudioFileProperty_ClientDataFormat) fail";
constexpr const char* GetLength = "ExtAudioFileGetProperty (kExtAudioFileProperty_FileLengthFrames) fail";
constexpr const char* GetFileFormat = "ExtAudioFileGetProperty (kExtAudioFileProperty_FileDataFormat) fail";
constexpr const char* SetClientFormat = "ExtAudioFileSetProperty (kExtAudioFileProperty_ClientDataFormat) fail";
constexpr const char* SetBitRate = "ExtAudioFileSetProperty (kAudioConverterEncodeBitRate) fail";
constexpr const char* Read = "ExtAudioFileRead fail";
constexpr const char* Write = "ExtAudioFileWrite () error";
constexpr const char* Dispose = "ExtAudioFileDispose fail";

Error statusError(OSStatus status, const char* what) { return { Error::Kind::Io, what, status }; }

} // namespace

const AudioFileFunctions& MVExtAudioFile::platformFunctions()
{
    static const AudioFileFunctions functions;
    return functions;
}

MVExtAudioFile::MVExtAudioFile(const AudioFileFunctions& functions, ExtAudioFileRef file, const Path& url)
    : m_functions(functions)
    , m_extAudioFileRef(file)
    , m_filename(url.lastPathComponent())
{
}

Result<std::unique_ptr<MVExtAudioFile>> MVExtAudioFile::initWithFileToOpen(
    const OpenedFile& url, const AudioFileFunctions& functions)
{
    ExtAudioFileRef file = nullptr;
    OSStatus status = functions.openURL(url, &file);
    if (status != noErr) {
        NSLog("ExtAudioFileOpenURL fail %ld", static_cast<long>(status));
        return statusError(status, "cannot open");
    }
    std::unique_ptr<MVExtAudioFile> opened(new MVExtAudioFile(functions, file, url.path()));
    AudioStreamBasicDescription format = opened->fileDataFormat();
    opened->m_sampleRate = format.mSampleRate;
    opened->m_numberChannels = format.mChannelsPerFrame;
    return opened;
}

Result<std::unique_ptr<MVExtAudioFile>> MVExtAudioFile::initWithFileToCreateFileTypeStreamDescription(OutputPlace& url,
    std::uint32_t fileType, const AudioStreamBasicDescription& description, const AudioFileFunctions& functions)
{
    ExtAudioFileRef file = nullptr;
    OSStatus status = functions.create(url, fileType, description, kAudioFileFlags_EraseFile, &file);
    if (status != noErr) {
        NSLog("ExtAudioFileCreateWithURL fail %ld", static_cast<long>(status));
        return statusError(status, "cannot create");
    }
    std::unique_ptr<MVExtAudioFile> created(new MVExtAudioFile(functions, file, url.path()));
    created->m_sampleRate = description.mSampleRate;
    created->m_numberChannels = description.mChannelsPerFrame;
    return created;
}

MVExtAudioFile::~MVExtAudioFile() { close(); }

void MVExtAudioFile::close()
{
    if (!m_extAudioFileRef)
        return;
    succeeded(m_functions.dispose(m_extAudioFileRef), Dispose);
    m_extAudioFileRef = nullptr;
}

bool MVExtAudioFile::succeeded(OSStatus status, const char* message)
{
    m_err = status;
    if (status != noErr)
        NSLog("%s %d", message, status);
    return status == noErr;
}

template <class T> T MVExtAudioFile::property(std::uint32_t property, const char* message)
{
    T value {};
    std::uint32_t size = sizeof value;
    if (!succeeded(m_functions.getProperty(m_extAudioFileRef, property, &size, &value), message))
        value = {};
    return value;
}

AudioStreamBasicDescription MVExtAudioFile::canonicalDataFormat() const
{
    return linearPcm(m_sampleRate, m_numberChannels, 8 * BytesPerSample, kAudioFormatFlagIsFloat);
}

AudioStreamBasicDescription MVExtAudioFile::fileDataFormat()
{
    return property<AudioStreamBasicDescription>(kExtAudioFileProperty_FileDataFormat, GetFileFormat);
}

AudioStreamBasicDescription MVExtAudioFile::clientDataFormat()
{
    return property<AudioStreamBasicDescription>(kExtAudioFileProperty_ClientDataFormat, GetClientFormat);
}

void MVExtAudioFile::setClientDataFormat(const AudioStreamBasicDescription& format)
{
    succeeded(
        m_functions.setProperty(m_extAudioFileRef, kExtAudioFileProperty_ClientDataFormat, sizeof format, &format),
        SetClientFormat);
}

std::int64_t MVExtAudioFile::totalFrame()
{
    return property<std::int64_t>(kExtAudioFileProperty_FileLengthFrames, GetLength);
}

AudioConverterRef MVExtAudioFile::audioConverter()
{
    return property<AudioConverterRef>(kExtAudioFileProperty_AudioConverter, GetConverter);
}

void MVExtAudioFile::setBitRate(std::uint32_t bitsPerSecond)
{
    AudioConverterRef converter = audioConverter();
    if (!converter)
        return;
    succeeded(
        m_functions.setConverterProperty(converter, kAudioConverterEncodeBitRate, sizeof bitsPerSecond, &bitsPerSecond),
        SetBitRate);
}

Bytes MVExtAudioFile::readDataWithNumberFrames(std::uint32_t count)
{
    std::uint32_t frameSize = m_numberChannels * BytesPerSample;
    Bytes buffer(std::size_t { frameSize } * count);
    AudioBufferList list { 1, { { m_numberChannels, static_cast<std::uint32_t>(buffer.size()), buffer.data() } } };
    std::uint32_t frames = count;
    if (succeeded(m_functions.read(m_extAudioFileRef, &frames, &list), Read))
        buffer.resize(std::size_t { frameSize } * std::min(frames, count));
    else
        std::fill(buffer.begin(), buffer.end(), std::uint8_t { 0 });
    return buffer;
}

void MVExtAudioFile::writeData(ByteView data)
{
    std::uint32_t frameSize = m_numberChannels * BytesPerSample;
    auto frames = static_cast<std::uint32_t>(frameSize == 0 ? 0 : data.size() / frameSize);
    if (frames == 0)
        return;
    // The platform's buffers are not const, though nothing is written into this one.
    void* samples = const_cast<std::uint8_t*>(data.data());
    AudioBufferList list { 1, { { m_numberChannels, static_cast<std::uint32_t>(data.size()), samples } } };
    succeeded(m_functions.write(m_extAudioFileRef, frames, &list), Write);
}

} // namespace mv
