#include "service/transcode/SegmentedEncoding.h"

#include "mp3/FrameJoint.h"
#include "service/transcode/SampleConversion.h"

#include <algorithm>
#include <system_error>

namespace mv {

namespace {

constexpr std::size_t ChunkFrames = SegmentPlan::ChunkFrames;

// Of the chunk that two segments have in common. In the first part the later encoder listens itself in: its filters
// know nothing of what was before, its ear is at rest and its reservoir of bits empty. In the second part a joint is
// looked for. The earlier one is some frames ahead with what it takes in.
constexpr std::size_t ListeningFrames = 24;
constexpr std::size_t SharedFrames = 40;
// An encoder that has to go on goes on so far.
constexpr std::size_t ExtensionFrames = 16;

// The library's own number for what has no other.
constexpr int GenericFailure = -2;

} // namespace

SegmentedEncoding::SegmentedEncoding(MVAudioDecoderBase& decoder, const LameLibrary& library, LameHandle first,
    MakeLame makeLame, const SegmentPlan& plan, std::size_t frameSize)
    : m_decoder(decoder)
    , m_library(library)
    , m_firstLame(std::move(first))
    , m_makeLame(std::move(makeLame))
    , m_plan(plan)
    , m_frameSize(frameSize)
    , m_pcm(frameSize * 2 * sizeof(std::int32_t))
{
    try {
        startThreads();
    } catch (...) {
        stop();
        throw;
    }
}

SegmentedEncoding::~SegmentedEncoding() { stop(); }

// With one encoder it can be done; each further one is a gain.
void SegmentedEncoding::startThreads()
{
    m_threads.emplace_back(&SegmentedEncoding::read, this);
    m_threads.emplace_back(&SegmentedEncoding::encode, this);
    try {
        while (m_threads.size() <= m_plan.cores())
            m_threads.emplace_back(&SegmentedEncoding::encode, this);
    } catch (const std::system_error&) {
    }
}

void SegmentedEncoding::stop()
{
    {
        MutexLock hold(m_lock);
        m_isStopped = true;
        m_changed.notify_all();
    }
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
}

void SegmentedEncoding::keepException()
{
    MutexLock hold(m_lock);
    if (!m_raised)
        m_raised = std::current_exception();
    m_changed.notify_all();
}

void SegmentedEncoding::read()
{
    try {
        readSegments();
    } catch (...) {
        keepException();
    }
}

void SegmentedEncoding::readSegments()
{
    std::size_t firstChunk = 0;
    SharedChunk first = readChunk();
    for (std::size_t number = 0;; ++number) {
        auto segment = std::make_shared<Segment>();
        segment->firstChunk = firstChunk;
        segment->chunks.push_back(std::move(first));
        std::size_t own = m_plan.chunks(number, firstChunk);
        while (segment->chunks.size() <= own && !m_decoderEnded)
            segment->chunks.push_back(readChunk());
        segment->isLast = m_decoderEnded;
        first = segment->chunks.back();
        firstChunk += own;
        bool isLast = segment->isLast;
        if (!queue(std::move(segment)) || isLast)
            return;
    }
}

/// A whole one, or the last one, which may be empty.
SharedChunk SegmentedEncoding::readChunk()
{
    auto chunk = std::make_shared<SoundChunk>();
    const std::size_t whole = ChunkFrames * m_frameSize;
    chunk->left.reserve(whole);
    chunk->right.reserve(whole);
    while (chunk->left.size() < whole) {
        if (m_blockUsed == m_blockFrames) {
            AudioBufferList list { 1, { { 2, static_cast<std::uint32_t>(m_pcm.size()), m_pcm.data() } } };
            std::int32_t frames = m_decoder.readPCMSampleCount(&list, static_cast<std::uint32_t>(m_frameSize));
            m_decoderEnded = frames <= 0;
            if (m_decoderEnded)
                break;
            m_blockFrames = std::min(static_cast<std::uint32_t>(frames), static_cast<std::uint32_t>(m_frameSize));
            m_blockUsed = 0;
            buildSampleBlock(m_pcm, m_blockFrames * 2 * sizeof(std::int32_t), m_blockFrames, m_block);
        }
        auto count = std::min<std::size_t>(whole - chunk->left.size(), m_blockFrames - m_blockUsed);
        chunk->left.insert(chunk->left.end(), m_block[0] + m_blockUsed, m_block[0] + m_blockUsed + count);
        chunk->right.insert(chunk->right.end(), m_block[1] + m_blockUsed, m_block[1] + m_blockUsed + count);
        m_blockUsed += static_cast<std::uint32_t>(count);
    }
    return chunk;
}

bool SegmentedEncoding::queue(SharedSegment segment)
{
    MutexLock hold(m_lock);
    while (!m_isStopped && m_segments.size() >= m_plan.segmentsAtOnce())
        m_changed.wait(m_lock);
    m_isRead = segment->isLast;
    m_segments.push_back(std::move(segment));
    m_changed.notify_all();
    return !m_isStopped;
}

void SegmentedEncoding::encode()
{
    try {
        while (SharedSegment segment = takeSegment()) {
            segment->result = encodeSegment(*segment);
            MutexLock hold(m_lock);
            segment->isEncoded = true;
            m_changed.notify_all();
        }
    } catch (...) {
        keepException();
    }
}

/// Nothing when there is no further one.
SegmentedEncoding::SharedSegment SegmentedEncoding::takeSegment()
{
    MutexLock hold(m_lock);
    while (!m_isStopped && !m_raised && m_taken == m_segments.size() && !m_isRead)
        m_changed.wait(m_lock);
    if (m_isStopped || m_raised || m_taken == m_segments.size())
        return nullptr;
    return m_segments[m_taken++];
}

bool SegmentedEncoding::makeEncoder(Segment& segment)
{
    LameHandle lame = segment.firstChunk == 0 ? std::move(m_firstLame) : m_makeLame();
    if (!lame)
        return false;
    segment.encoder
        = std::make_unique<SegmentEncoder>(m_library, std::move(lame), segment.firstChunk * ChunkFrames, m_frameSize);
    return true;
}

int SegmentedEncoding::encodeSegment(Segment& segment)
{
    if (!makeEncoder(segment))
        return GenericFailure;
    for (std::size_t i = 0; i < segment.chunks.size(); ++i) {
        bool isShared = !segment.isLast && i + 1 == segment.chunks.size();
        const SoundChunk& chunk = *segment.chunks[i];
        int result = segment.encoder->encode(chunk, 0, isShared ? SharedFrames : ChunkFrames);
        if (result < 0)
            return result;
        // The next segment tells of what is shared.
        if (!report(isShared ? 0 : chunk.left.size()))
            return 0;
    }
    return segment.isLast ? segment.encoder->flush() : 0;
}

bool SegmentedEncoding::report(std::size_t samples)
{
    MutexLock hold(m_lock);
    m_samples += samples;
    m_changed.notify_all();
    return !m_isStopped;
}

EncodedSound::Block SegmentedEncoding::next()
{
    SharedSegment earlier;
    SharedSegment later;
    {
        MutexLock hold(m_lock);
        auto isDone = [this](std::size_t i) MV_REQUIRES(m_lock) { return m_segments[i]->isEncoded; };
        auto canJoin = [&]() MV_REQUIRES(m_lock) {
            return !m_segments.empty() && isDone(0)
                && (m_segments[0]->result < 0 || m_segments[0]->isLast || (m_segments.size() > 1 && isDone(1)));
        };
        while (!m_raised && !canJoin() && m_samples == 0)
            m_changed.wait(m_lock);
        if (m_raised)
            std::rethrow_exception(m_raised);
        if (!canJoin())
            return { static_cast<std::int32_t>(std::exchange(m_samples, 0)), 0, {}, false };
        earlier = m_segments[0];
        later = m_segments.size() > 1 ? m_segments[1] : nullptr;
    }
    Block block = joinFront(*earlier, later.get());
    MutexLock hold(m_lock);
    block.frames = static_cast<std::int32_t>(std::exchange(m_samples, 0));
    m_segments.pop_front();
    --m_taken;
    m_changed.notify_all();
    if (block.isLast)
        m_last = std::move(earlier);
    return block;
}

EncodedSound::Block SegmentedEncoding::joinFront(Segment& earlier, Segment* later)
{
    if (earlier.result < 0)
        return { 0, earlier.result, {}, false };
    Mp3FrameStream& stream = earlier.encoder->stream();
    if (earlier.isLast)
        return { 0, 0, take(stream, stream.end()), true };
    if (later->result < 0)
        return { 0, later->result, {}, false };
    auto number = joint(earlier, *later);
    if (earlier.result < 0)
        return { 0, earlier.result, {}, false };
    if (!number) {
        replaceByEarlier(earlier, *later);
        return {};
    }
    joinAt(*number, stream, later->encoder->stream());
    ++m_joints;
    return { 0, 0, take(stream, *number), false };
}

std::optional<std::size_t> SegmentedEncoding::joint(Segment& earlier, Segment& later)
{
    Mp3FrameStream& stream = earlier.encoder->stream();
    const std::size_t end = (later.firstChunk + later.chunks.size() - 1) * ChunkFrames;
    std::size_t from = later.firstChunk * ChunkFrames + ListeningFrames;
    while (true) {
        if (auto found = findJoint(stream, later.encoder->stream(), m_done, from, stream.end()))
            return found;
        if (earlier.encoder->position() >= end)
            return std::nullopt;
        from = std::max(from, stream.end());
        earlier.result = encodeUpTo(earlier, later, std::min(end, earlier.encoder->position() + ExtensionFrames));
        if (earlier.result < 0)
            return std::nullopt;
    }
}

int SegmentedEncoding::encodeUpTo(Segment& earlier, const Segment& later, std::size_t frame)
{
    SegmentEncoder& encoder = *earlier.encoder;
    while (encoder.position() < frame) {
        std::size_t inside = encoder.position() % ChunkFrames;
        const SoundChunk& chunk = *later.chunks[encoder.position() / ChunkFrames - later.firstChunk];
        int result = encoder.encode(chunk, inside, std::min(ChunkFrames - inside, frame - encoder.position()));
        if (result < 0)
            return result;
    }
    return 0;
}

/// The earlier segment's encoder has made the later one's as well: it stands for both.
void SegmentedEncoding::replaceByEarlier(Segment& earlier, Segment& later)
{
    later.encoder = std::move(earlier.encoder);
    SegmentEncoder& encoder = *later.encoder;
    const SoundChunk& last = *later.chunks.back();
    later.result = encoder.encode(last, 0, later.isLast ? ChunkFrames : SharedFrames);
    if (later.result >= 0 && later.isLast)
        later.result = encoder.flush();
}

/// The frames before `end` that were not given out, with the room for the table in front of the first.
Bytes SegmentedEncoding::take(Mp3FrameStream& stream, std::size_t end)
{
    ByteView room = m_done == 0 ? stream.tableRoom() : ByteView();
    Bytes bytes(room.begin(), room.end());
    for (; m_done < end; ++m_done) {
        ByteView frame = stream.bytes(m_done);
        m_summary.add(frame);
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    return bytes;
}

std::size_t SegmentedEncoding::tagFrame(std::span<std::uint8_t> area)
{
    std::size_t size = m_last->encoder->tagFrame(area);
    if (m_joints == 0 || size == 0 || size > area.size())
        return size;
    Bytes frame(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(size));
    m_summary.describeIn(frame);
    std::copy(frame.begin(), frame.end(), area.begin());
    return size;
}

} // namespace mv
