#include "audio/AudioFileReader.h"

#include "audio/WaveSource.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::uint32_t CompressedDepth = 16;

std::uint32_t clientDepth(const AudioStreamBasicDescription& format)
{
    if (format.mFormatID == kAudioFormatAppleLossless) {
        switch (format.mFormatFlags) {
        case kAppleLosslessFormatFlag_20BitSourceData: // in the upper bits of 24
        case kAppleLosslessFormatFlag_24BitSourceData:
            return 24;
        case kAppleLosslessFormatFlag_32BitSourceData:
            return 32;
        default:
            return CompressedDepth;
        }
    }
    if (format.mBitsPerChannel == 0)
        return CompressedDepth;
    return std::min(32u, (format.mBitsPerChannel + 7) / 8 * 8);
}

} // namespace

AudioStreamBasicDescription defaultClientFormat(const AudioStreamBasicDescription& fileFormat)
{
    std::uint32_t depth = clientDepth(fileFormat);
    std::uint32_t order = depth == 24 ? kAudioFormatFlagIsBigEndian : 0;
    return linearPcm(
        fileFormat.mSampleRate, fileFormat.mChannelsPerFrame, depth, kAudioFormatFlagIsSignedInteger | order);
}

Result<std::unique_ptr<AudioFileReader>> AudioFileReader::open(const SharedSource& file)
{
    if (auto wave = WaveSource::open(file)) {
        // A header that says that there is none is not taken by this source.
        if (wave->format().frames == 0)
            return Error { Error::Kind::Format, "nothing of the sound is there", kAudioFileInvalidFileError };
        return std::make_unique<AudioFileReader>(std::move(wave));
    }
    MV_TRY(source, audioBackend().openSource(file));
    return std::make_unique<AudioFileReader>(std::move(source));
}

AudioFileReader::AudioFileReader(std::unique_ptr<AudioSource> source)
    : m_source(std::move(source))
    , m_clientFormat(defaultClientFormat(m_source->format().description))
    , m_converter(m_source->format(), m_clientFormat)
{
}

OSStatus AudioFileReader::setClientDataFormat(const AudioStreamBasicDescription& format)
{
    if (m_delivered > 0)
        return kExtAudioFileError_InvalidOperationOrder;
    AudioStreamBasicDescription wanted = format;
    if (wanted.mSampleRate == 0)
        wanted.mSampleRate = m_clientFormat.mSampleRate;
    if (OSStatus problem = PcmConverter::check(m_source->format(), wanted); problem != noErr)
        return problem;
    m_clientFormat = wanted;
    m_converter = PcmConverter(m_source->format(), wanted);
    return noErr;
}

OSStatus AudioFileReader::read(std::uint32_t& frames, AudioBufferList& data)
{
    AudioBuffer& buffer = data.mBuffers[0];
    std::uint32_t wanted = std::min(frames, buffer.mDataByteSize / m_clientFormat.mBytesPerFrame);
    std::int64_t left = std::max<std::int64_t>(0, m_source->format().frames - m_delivered);
    wanted = static_cast<std::uint32_t>(std::min<std::int64_t>(wanted, left));
    frames = 0;
    OSStatus status = m_failure;
    if (status == noErr)
        status = fill(static_cast<std::uint8_t*>(buffer.mData), wanted, frames);
    m_delivered += frames;
    buffer.mDataByteSize = frames * m_clientFormat.mBytesPerFrame;
    return status;
}

// What was decoded before a failure is still delivered; the failure comes with the next read.
OSStatus AudioFileReader::fill(std::uint8_t* target, std::uint32_t wanted, std::uint32_t& done)
{
    while (done < wanted) {
        if (m_used == m_decoded.count) {
            auto next = m_source->next();
            m_used = 0;
            m_decoded = next ? *next : DecodedFrames {};
            if (!next)
                m_failure = next.error().code;
            // The converter was made for so many; reading on would leave the source's memory.
            if (m_decoded.count > 0 && m_decoded.channels != m_source->format().description.mChannelsPerFrame) {
                m_failure = kAudioFileInvalidFileError;
                m_decoded = {};
            }
            if (m_decoded.count == 0)
                break;
        }
        std::uint32_t count = std::min(wanted - done, m_decoded.count - m_used);
        m_converter.convert(m_decoded, m_used, count, target + std::size_t { done } * m_clientFormat.mBytesPerFrame);
        m_used += count;
        done += count;
    }
    if (done < wanted && m_failure == noErr) {
        // The last packets are damaged. The length was announced, so it is kept.
        std::size_t missing = std::size_t { wanted - done } * m_clientFormat.mBytesPerFrame;
        std::memset(target + std::size_t { done } * m_clientFormat.mBytesPerFrame, 0, missing);
        done = wanted;
    }
    return done == 0 ? m_failure : noErr;
}

} // namespace mv
