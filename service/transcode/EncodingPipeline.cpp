#include "service/transcode/EncodingPipeline.h"

#include "service/transcode/SampleConversion.h"

#include <algorithm>

namespace mv {

namespace {

// A block is 26 ms of sound and some 0.2 ms of work. So many may lie between two threads, and so many wake the next
// one: far fewer switches than blocks, and still nothing that a listener to progress would notice.
constexpr std::size_t QueuedBlocks = 64;
constexpr std::size_t BlocksAtOnce = 16;

// False where a short block makes the conversion read on into what an earlier block left.
bool isComplete(std::uint32_t bytes, std::uint32_t frames) { return sampleWidth(bytes, frames) * 2 * frames <= bytes; }

} // namespace

EncodingPipeline::EncodingPipeline(
    MVAudioDecoderBase& decoder, const LameLibrary& library, lame_t lame, std::uint32_t frameSize)
    : m_decoder(decoder)
    , m_library(library)
    , m_lame(lame)
    , m_frameSize(frameSize)
    , m_decoded(QueuedBlocks, BlocksAtOnce)
    , m_encoded(QueuedBlocks, BlocksAtOnce)
    , m_pcm(frameSize * sizeof(std::int32_t) * 2)
{
    m_decodingThread = std::thread(&EncodingPipeline::decode, this);
    try {
        m_encodingThread = std::thread(&EncodingPipeline::encode, this);
    } catch (...) {
        m_decoded.close();
        m_decodingThread.join();
        throw;
    }
}

EncodingPipeline::~EncodingPipeline()
{
    m_decoded.close();
    m_encoded.close();
    m_decodingThread.join();
    m_encodingThread.join();
}

EncodingPipeline::Block EncodingPipeline::next()
{
    if (m_taken.empty())
        m_encoded.takeAll(m_taken);
    if (m_taken.empty())
        std::rethrow_exception(m_encodingRaised ? m_encodingRaised : m_decodingRaised);
    Block block = std::move(m_taken.front());
    m_taken.pop_front();
    return block;
}

// The library is this thread's again: the last block was the last call of the other one.
std::size_t EncodingPipeline::tagFrame(std::span<std::uint8_t> area)
{
    return m_library.getLametagFrame(m_lame, area.data(), area.size());
}

void EncodingPipeline::decode()
{
    try {
        while (true) {
            PcmBlock block = readBlock();
            bool last = block.frames <= 0;
            if (!m_decoded.push(std::move(block)) || last)
                break;
        }
    } catch (...) {
        m_decodingRaised = std::current_exception();
    }
    m_decoded.close();
}

EncodingPipeline::PcmBlock EncodingPipeline::readBlock()
{
    PcmBlock block;
    block.samples = std::make_unique_for_overwrite<std::uint8_t[]>(m_pcm.size());
    auto room = static_cast<std::uint32_t>(m_pcm.size());
    AudioBufferList list { 1, { { 2, room, block.samples.get() } } };
    block.frames = m_decoder.readPCMSampleCount(&list, m_frameSize);
    block.bytes = std::min(list.mBuffers[0].mDataByteSize, room);
    return block;
}

void EncodingPipeline::encode()
{
    try {
        encodeBlocks();
    } catch (...) {
        m_encodingRaised = std::current_exception();
    }
    m_decoded.close();
    m_encoded.close();
}

void EncodingPipeline::encodeBlocks()
{
    std::deque<PcmBlock> blocks;
    do {
        m_decoded.takeAll(blocks);
        for (const PcmBlock& pcm : blocks) {
            Block block = pcm.frames > 0 ? encodeBlock(pcm) : flush();
            bool last = pcm.frames <= 0 || block.result < 0;
            if (!m_encoded.push(std::move(block)) || last)
                return;
        }
    } while (!blocks.empty());
}

EncodingPipeline::Block EncodingPipeline::encodeBlock(const PcmBlock& pcm)
{
    auto frames = std::min(static_cast<std::uint32_t>(pcm.frames), m_frameSize);
    ByteView area { pcm.samples.get(), pcm.bytes };
    if (!isComplete(pcm.bytes, frames)) {
        std::copy(area.begin(), area.end(), m_pcm.begin());
        area = m_pcm;
    }
    buildSampleBlock(area, pcm.bytes, frames, m_samples);
    int result = m_library.encodeBufferInt(
        m_lame, m_samples[0], m_samples[1], static_cast<int>(frames), m_mp3.data(), static_cast<int>(m_mp3.size()));
    std::size_t bytes = result > 0 ? static_cast<std::size_t>(result) : 0;
    return { pcm.frames, result, Bytes(m_mp3.begin(), m_mp3.begin() + static_cast<std::ptrdiff_t>(bytes)), false };
}

EncodingPipeline::Block EncodingPipeline::flush()
{
    int result = m_library.encodeFlush(m_lame, m_mp3.data(), static_cast<int>(m_mp3.size()));
    std::size_t bytes = result > 0 ? static_cast<std::size_t>(result) : 0;
    return { 0, result, Bytes(m_mp3.begin(), m_mp3.begin() + static_cast<std::ptrdiff_t>(bytes)), true };
}

} // namespace mv
