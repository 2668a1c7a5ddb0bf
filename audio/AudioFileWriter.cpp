#include "audio/AudioFileWriter.h"

#include "audio/AudioBackend.h"
#include "audio/PlanarSamples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace mv {

namespace {

constexpr std::uint32_t MaxChannelCount = 8;
constexpr double MaxRate = 768000; // twice the highest that any device has
// Sound has 4,000 Hz and more. A file that claims a few Hz would grow a thousand times on the way to AAC's lowest rate,
// and a small one keep the service busy for minutes.
constexpr double MinRate = 1000;
constexpr std::uint32_t DefaultBitRatePerChannel = 64000;
// Blocks of a few thousand frames: enough to even out a decoder's and an encoder's strides.
constexpr std::size_t MaxQueuedBlocks = 32;
constexpr std::size_t BlocksToWakeFor = 16;

// The rates of the MPEG-4 table.
constexpr std::array<std::uint32_t, 13> AacRates
    = { 96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350 };

enum class SampleType { Float32, Signed16, Signed32 };

std::optional<SampleType> sampleTypeOf(const AudioStreamBasicDescription& format)
{
    for (auto [type, bits, flags] : { std::tuple { SampleType::Float32, 32u, kAudioFormatFlagIsFloat },
             std::tuple { SampleType::Signed16, 16u, kAudioFormatFlagIsSignedInteger },
             std::tuple { SampleType::Signed32, 32u, kAudioFormatFlagIsSignedInteger } }) {
        if (format == linearPcm(format.mSampleRate, format.mChannelsPerFrame, bits, flags))
            return type;
    }
    return std::nullopt;
}

bool isUsableRate(double rate) { return rate >= MinRate && rate <= MaxRate; } // false for NaN

} // namespace

std::uint32_t nearestAacRate(double rate)
{
    return *std::min_element(AacRates.begin(), AacRates.end(),
        [rate](double a, double b) { return std::abs(a - rate) < std::abs(b - rate); });
}

OSStatus AudioFileWriter::EncodingConverter::setProperty(std::uint32_t property, std::uint32_t size, const void* data)
{
    if (property != kAudioConverterEncodeBitRate)
        return kAudioConverterErr_PropertyNotSupported;
    std::uint32_t bitRate = 0;
    if (size != sizeof bitRate)
        return kAudioConverterErr_BadPropertySizeError;
    std::memcpy(&bitRate, data, sizeof bitRate);
    if (bitRate == 0)
        return paramErr;
    if (m_writer.m_encoder)
        return kExtAudioFileError_InvalidOperationOrder;
    m_writer.m_bitRate = bitRate;
    return noErr;
}

Result<std::unique_ptr<AudioFileWriter>> AudioFileWriter::create(
    OutputPlace& place, std::uint32_t fileType, const AudioStreamBasicDescription& description)
{
    if (fileType != kAudioFileM4AType)
        return Error { Error::Kind::Unsupported, "no such file type", kAudioFileUnsupportedFileTypeError };
    if (description.mFormatID != kAudioFormatMPEG4AAC || !isUsableRate(description.mSampleRate)
        || description.mChannelsPerFrame < 1 || description.mChannelsPerFrame > MaxChannelCount)
        return Error { Error::Kind::Unsupported, "cannot be encoded", kAudioFileUnsupportedDataFormatError };
    auto file = place.create();
    if (!file)
        return Error { file.error().kind, file.error().text, statusOfWriting(file.error()) };
    return std::unique_ptr<AudioFileWriter>(new AudioFileWriter(std::move(*file), description));
}

AudioFileWriter::AudioFileWriter(std::unique_ptr<OutputFile> file, const AudioStreamBasicDescription& description)
    : m_file(std::move(file))
    , m_description(description)
    , m_clientFormat(
          linearPcm(description.mSampleRate, description.mChannelsPerFrame, 16, kAudioFormatFlagIsSignedInteger))
    , m_converter(*this)
    , m_bitRate(DefaultBitRatePerChannel * description.mChannelsPerFrame)
    , m_queue(MaxQueuedBlocks, BlocksToWakeFor)
{
}

AudioFileWriter::~AudioFileWriter()
{
    if (!m_thread.joinable())
        return;
    fail({ Error::Kind::Cancelled, "not finished", ioErr });
    m_thread.join();
}

AudioStreamBasicDescription AudioFileWriter::fileDataFormat() const
{
    AudioStreamBasicDescription format;
    format.mSampleRate = nearestAacRate(m_description.mSampleRate);
    format.mFormatID = kAudioFormatMPEG4AAC;
    format.mFramesPerPacket = 1024;
    format.mChannelsPerFrame = m_description.mChannelsPerFrame;
    return format;
}

OSStatus AudioFileWriter::setClientDataFormat(const AudioStreamBasicDescription& format)
{
    if (m_encoder)
        return kExtAudioFileError_InvalidOperationOrder;
    if (format.mFormatID != kAudioFormatLinearPCM)
        return kExtAudioFileError_NonPCMClientFormat;
    AudioStreamBasicDescription wanted = format;
    if (wanted.mSampleRate == 0)
        wanted.mSampleRate = m_description.mSampleRate;
    if (!isUsableRate(wanted.mSampleRate) || wanted.mChannelsPerFrame != m_description.mChannelsPerFrame
        || !sampleTypeOf(wanted))
        return kExtAudioFileError_InvalidDataFormat;
    m_clientFormat = wanted;
    return noErr;
}

OSStatus AudioFileWriter::startEncoder()
{
    AacEncoderSettings settings;
    settings.inputRate = static_cast<std::uint32_t>(std::lround(m_clientFormat.mSampleRate));
    settings.rate = nearestAacRate(m_description.mSampleRate);
    settings.channels = m_clientFormat.mChannelsPerFrame;
    settings.bitRate = m_bitRate;
    auto encoder = audioBackend().makeAacEncoder(settings);
    if (!encoder)
        return encoder.error().code;
    m_encoder = std::move(*encoder);
    m_packets.emplace(std::move(m_file), settings, *m_encoder);
    m_thread = std::thread([this] { encodeBlocks(); });
    return noErr;
}

OSStatus AudioFileWriter::write(std::uint32_t frames, const AudioBufferList& data)
{
    const AudioBuffer& buffer = data.mBuffers[0];
    if (std::uint64_t { frames } * m_clientFormat.mBytesPerFrame > buffer.mDataByteSize)
        return paramErr;
    if (frames == 0)
        return failure();
    if (!m_encoder) {
        if (OSStatus status = startEncoder(); status != noErr)
            return status;
    }
    m_queue.push(planar(frames, static_cast<const std::uint8_t*>(buffer.mData)));
    m_framesWritten += frames;
    return failure();
}

AudioFileWriter::Block AudioFileWriter::planar(std::uint32_t frames, const std::uint8_t* samples) const
{
    std::uint32_t channels = m_clientFormat.mChannelsPerFrame;
    Block block { std::vector<float>(std::size_t { frames } * channels), frames };
    std::array<float*, MaxChannelCount> to {};
    for (std::size_t channel = 0; channel < channels; ++channel)
        to[channel] = block.samples.data() + channel * frames;
    switch (*sampleTypeOf(m_clientFormat)) {
    case SampleType::Float32:
        deinterleave<float>(samples, frames, channels, to.data(), finite);
        break;
    case SampleType::Signed16:
        deinterleave<std::int16_t>(samples, frames, channels, to.data(), [](auto s) { return s * (1.0f / 32768); });
        break;
    case SampleType::Signed32:
        deinterleave<std::int32_t>(
            samples, frames, channels, to.data(), [](auto s) { return static_cast<float>(s * (1.0 / 2147483648.0)); });
        break;
    }
    return block;
}

OSStatus AudioFileWriter::finish()
{
    if (!m_encoder) {
        if (OSStatus status = startEncoder(); status != noErr)
            return status;
    }
    if (m_thread.joinable()) {
        m_queue.close();
        m_thread.join();
    }
    return failure();
}

void AudioFileWriter::fail(const Error& error)
{
    {
        MutexLock guard(m_lock);
        if (m_failure == noErr)
            m_failure = error.code;
    }
    m_queue.close();
}

OSStatus AudioFileWriter::failure()
{
    MutexLock guard(m_lock);
    return m_failure;
}

void AudioFileWriter::encodeBlocks()
{
    if (auto done = encodeAll(); !done)
        fail(done.error());
}

Result<void> AudioFileWriter::encodeAll()
{
    std::deque<Block> blocks;
    for (m_queue.takeAll(blocks); !blocks.empty(); m_queue.takeAll(blocks)) {
        for (const Block& block : blocks) {
            if (failure() != noErr)
                return {}; // given up
            MV_TRY_VOID(encode(block));
        }
    }
    if (failure() != noErr)
        return {};
    MV_TRY(frames, m_encoder->finish([this](ByteView packet) { return m_packets->append(packet); }));
    return m_packets->finish(frames);
}

Result<void> AudioFileWriter::encode(const Block& block)
{
    std::array<const float*, MaxChannelCount> planes {};
    for (std::size_t channel = 0; channel < m_packets->channels(); ++channel)
        planes[channel] = block.samples.data() + channel * block.frames;
    return m_encoder->encode(
        planes.data(), block.frames, [this](ByteView packet) { return m_packets->append(packet); });
}

} // namespace mv
