#pragma once

#include "audio/AacEncoder.h"
#include "audio/AudioFile.h"
#include "audio/M4aFile.h"
#include "system/BatchQueue.h"
#include "system/OutputPlace.h"

#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace mv {

/// An MPEG-4 audio file that is being written: PCM goes to an encoder that works on a thread of its own, so whoever
/// writes can prepare the next frames meanwhile. The bytes of the file do not depend on the threads. A failure of
/// the encoder or of the disk comes back from the next write, or from finish(), and stays.
class AudioFileWriter final : public AudioFile {
public:
    /// Only 'm4af' with 'aac ', 1 to 8 channels. The code of an error is the OSStatus.
    static Result<std::unique_ptr<AudioFileWriter>> create(
        OutputPlace& place, std::uint32_t fileType, const AudioStreamBasicDescription& description);
    ~AudioFileWriter() override;

    AudioStreamBasicDescription fileDataFormat() const override;
    AudioStreamBasicDescription clientDataFormat() const override { return m_clientFormat; }
    OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) override;
    /// Frames written so far, at the client's rate.
    std::int64_t fileLengthFrames() const override { return m_framesWritten; }
    AudioConverterRef audioConverter() override { return &m_converter; }
    OSStatus write(std::uint32_t frames, const AudioBufferList& data) override;
    /// Encodes what is left and gives the file its name. Nothing is left behind when that fails.
    OSStatus finish() override;

private:
    /// Holds the encoder's bit rate until the encoder is made.
    class EncodingConverter final : public AudioConverter {
    public:
        explicit EncodingConverter(AudioFileWriter& writer)
            : m_writer(writer)
        {
        }
        OSStatus setProperty(std::uint32_t property, std::uint32_t size, const void* data) override;

    private:
        AudioFileWriter& m_writer;
    };

    struct Block {
        std::vector<float> samples; ///< one channel after the other
        std::uint32_t frames = 0;
    };

    AudioFileWriter(std::unique_ptr<OutputFile> file, const AudioStreamBasicDescription& description);
    OSStatus startEncoder();
    Block planar(std::uint32_t frames, const std::uint8_t* samples) const;
    void fail(const Error& error) MV_EXCLUDES(m_lock);
    OSStatus failure() MV_EXCLUDES(m_lock);

    // On the encoder's thread.
    void encodeBlocks();
    Result<void> encodeAll();
    Result<void> encode(const Block& block);

    std::unique_ptr<OutputFile> m_file; // until the encoder is made
    AudioStreamBasicDescription m_description;
    AudioStreamBasicDescription m_clientFormat;
    EncodingConverter m_converter;
    std::uint32_t m_bitRate;
    std::int64_t m_framesWritten = 0;
    std::unique_ptr<AacEncoder> m_encoder;
    std::thread m_thread;

    std::optional<M4aFile> m_packets; // the encoder's thread's, until it is joined

    BatchQueue<Block> m_queue;
    Mutex m_lock;
    OSStatus m_failure MV_GUARDED_BY(m_lock) = noErr;
};

} // namespace mv
