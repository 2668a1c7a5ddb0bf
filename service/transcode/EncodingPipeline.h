#pragma once

#include "service/transcode/EncodedSound.h"
#include "service/transcode/MVAudioDecoder.h"
#include "system/BatchQueue.h"

#include <array>
#include <exception>
#include <thread>

namespace mv {

/// Decodes ahead of the encoding library and lets the library run ahead of the job, each on a thread of its own.
/// The blocks come out in order, the same as if one thread had done it all; what was done ahead of a job that is
/// cancelled is thrown away.
class EncodingPipeline final : public EncodedSound {
public:
    /// `decoder` and `lame` belong to the pipeline's threads until it is destroyed or the last block was taken;
    /// `frameSize` (1 to 1152) frames are read for a block.
    EncodingPipeline(MVAudioDecoderBase& decoder, const LameLibrary& library, lame_t lame, std::uint32_t frameSize);
    /// Stops within a block.
    ~EncodingPipeline() override;
    EncodingPipeline(const EncodingPipeline&) = delete;
    EncodingPipeline& operator=(const EncodingPipeline&) = delete;

    /// A block is what was read at once, the last one the flushed rest.
    Block next() override;
    std::size_t tagFrame(std::span<std::uint8_t> area) override;

private:
    struct PcmBlock {
        std::int32_t frames = 0;
        std::uint32_t bytes = 0;
        std::unique_ptr<std::uint8_t[]> samples; // as many bytes as m_pcm, the first `bytes` of them written
    };

    void decode();
    void encode();
    void encodeBlocks();
    PcmBlock readBlock();
    Block encodeBlock(const PcmBlock& pcm);
    Block flush();

    MVAudioDecoderBase& m_decoder;
    const LameLibrary& m_library;
    lame_t m_lame;
    std::uint32_t m_frameSize;
    BatchQueue<PcmBlock> m_decoded;
    BatchQueue<Block> m_encoded;
    std::deque<Block> m_taken; // the job's thread only
    // Written before a thread closes its queue, read when the queue of encoded blocks was found closed and empty.
    std::exception_ptr m_decodingRaised;
    std::exception_ptr m_encodingRaised;
    // The encoding thread only (but for the size). Short blocks are converted here: what they leave unwritten is what
    // the block before them had there, as with a single buffer.
    Bytes m_pcm;
    SampleBlock m_samples {};
    std::array<unsigned char, Mp3BufferSize> m_mp3 {};
    // Last: they use all of the above.
    std::thread m_decodingThread;
    std::thread m_encodingThread;
};

} // namespace mv
