#pragma once

#include "Base/Core/Result.h"
#include "service/transcode/SegmentPlan.h"
#include "system/Mutex.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace mv {

/// Has one file's sound made by several encoders at once. Each makes a segment, and begins so long before it that it
/// hears what the one before it hears; then the two streams are joined where a decoder cannot tell. What comes out
/// depends on the plan, not on the threads.
///
/// One thread reads, as many as the plan has cores encode, and whoever takes the steps joins. A segment is encoded
/// while it is read. Memory has the size of the segments that are on their way, however long the sound is.
///
/// What the formats do in their own ways is Format's:
/// - Chunk, a stretch of sound, whole frames but for the last of the file, with samples();
/// - readChunk(), on the reading thread: the next one; short, or empty, at the end;
/// - Encoder, used by one thread at a time. position() is the number of the frame whose sound is next, end() the one
///   behind the frames that it has made. encode(chunk, from, frames) takes frames of a chunk from one of its frames on,
///   or up to its end; flush() makes what is still inside, and is its last call;
/// - makeEncoder(first), on the encoding threads: one that begins with that frame, set up like all others;
/// - join(earlier, later, kept, begin, end), on the joining thread: joins two streams before a frame from `begin` on
///   and before `end`, and says before which. The frames before `kept` are gone.
template <class Format> class SegmentLine {
public:
    using Chunk = typename Format::Chunk;
    using Encoder = typename Format::Encoder;

    /// What comes next.
    struct Step {
        std::size_t samples = 0; ///< encoded since the last step
        std::shared_ptr<Encoder> encoder = {}; ///< that has made the frames; null where no more are there yet
        std::size_t begin = 0; ///< the first of them
        std::size_t end = 0; ///< behind the last one
        bool isLast = false;
    };

    /// `format` belongs to the threads until this is destroyed. std::system_error where no thread can be had.
    SegmentLine(Format& format, const SegmentPlan& plan);
    /// Stops within a chunk.
    ~SegmentLine() { stop(); }
    SegmentLine(const SegmentLine&) = delete;
    SegmentLine& operator=(const SegmentLine&) = delete;

    /// An encoder's error where it failed. Not to be called again after that or the last step. Raises what a thread
    /// raised.
    Result<Step> next() MV_EXCLUDES(m_lock);
    /// So far.
    std::size_t joints() const { return m_joints; }

private:
    using SharedChunk = std::shared_ptr<const Chunk>;

    struct Segment {
        const std::size_t firstChunk;
        // Under the lock; nobody's any more when isRead is set.
        std::vector<SharedChunk> chunks; ///< but for the last segment the last one is the next segment's first
        bool isRead = false; ///< all of it
        bool isLast = false; ///< known then
        // The encoding thread's until it has set isEncoded, then the joining one's.
        std::shared_ptr<Encoder> encoder;
        Result<void> result; ///< of encoding
        bool isEncoded = false; ///< under the lock
    };
    using SharedSegment = std::shared_ptr<Segment>;

    /// Of a segment.
    struct Part {
        SharedChunk chunk;
        bool isShared; ///< with the next segment
        bool isEnd; ///< of the sound
    };

    // An encoder that has to go on goes on so far.
    static constexpr std::size_t ExtensionFrames = 16;

    void startThreads();
    void stop() MV_EXCLUDES(m_lock);
    void keepException() MV_EXCLUDES(m_lock);

    // On the reading thread.
    void read();
    void readSegments();
    bool isLastOfSound(const Chunk& chunk) const { return chunk.samples() < m_shape.chunkSamples(); }
    bool queue(SharedSegment segment) MV_EXCLUDES(m_lock);
    bool add(Segment& segment, SharedChunk chunk) MV_EXCLUDES(m_lock);
    void complete(Segment& segment, bool isLast) MV_EXCLUDES(m_lock);

    // On an encoding thread.
    void encode();
    SharedSegment takeSegment() MV_EXCLUDES(m_lock);
    Result<void> encodeSegment(Segment& segment);
    std::optional<Part> takeChunk(const Segment& segment, std::size_t number) MV_EXCLUDES(m_lock);
    bool report(std::size_t samples) MV_EXCLUDES(m_lock);

    // On the joining thread.
    bool canJoin() const MV_REQUIRES(m_lock);
    Result<Step> joinFront(Segment& earlier, Segment* later);
    Step stepTo(const Segment& segment, std::size_t end);
    /// The earlier one goes on until they can be joined, if need be to the later one's end.
    Result<std::optional<std::size_t>> join(Segment& earlier, Segment& later);
    Result<void> encodeUpTo(Encoder& encoder, const Segment& later, std::size_t frame);
    void replaceByEarlier(Segment& earlier, Segment& later);

    Format& m_format;
    const SegmentPlan m_plan;
    const SegmentShape m_shape = m_plan.shape();

    Mutex m_lock;
    std::condition_variable_any m_changed;
    std::deque<SharedSegment> m_segments MV_GUARDED_BY(m_lock); // not joined, in order
    std::size_t m_taken MV_GUARDED_BY(m_lock) = 0; // of them, by encoding threads
    std::size_t m_samples MV_GUARDED_BY(m_lock) = 0; // encoded, not told
    bool m_isRead MV_GUARDED_BY(m_lock) = false;
    bool m_isStopped MV_GUARDED_BY(m_lock) = false;
    std::exception_ptr m_raised MV_GUARDED_BY(m_lock);

    // The joining thread's.
    std::size_t m_done = 0; // the first frame that was not given out
    std::size_t m_joints = 0;

    std::vector<std::thread> m_threads; // last: they use all of the above
};

template <class Format>
SegmentLine<Format>::SegmentLine(Format& format, const SegmentPlan& plan)
    : m_format(format)
    , m_plan(plan)
{
    try {
        startThreads();
    } catch (...) {
        stop();
        throw;
    }
}

// With one encoder it can be done; each further one is a gain.
template <class Format> void SegmentLine<Format>::startThreads()
{
    m_threads.emplace_back(&SegmentLine::read, this);
    m_threads.emplace_back(&SegmentLine::encode, this);
    try {
        while (m_threads.size() <= m_plan.cores())
            m_threads.emplace_back(&SegmentLine::encode, this);
    } catch (const std::system_error&) {
    }
}

template <class Format> void SegmentLine<Format>::stop()
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

template <class Format> void SegmentLine<Format>::keepException()
{
    MutexLock hold(m_lock);
    if (!m_raised)
        m_raised = std::current_exception();
    m_changed.notify_all();
}

template <class Format> void SegmentLine<Format>::read()
{
    try {
        readSegments();
    } catch (...) {
        keepException();
    }
}

template <class Format> void SegmentLine<Format>::readSegments()
{
    SharedChunk first = m_format.readChunk();
    std::size_t firstChunk = 0;
    for (std::size_t number = 0;; ++number) {
        auto segment = std::make_shared<Segment>(firstChunk);
        const std::size_t own = m_plan.chunks(number);
        bool isLast = isLastOfSound(*first);
        if (!queue(segment) || !add(*segment, first))
            return;
        for (std::size_t i = 0; i < own && !isLast; ++i) {
            first = m_format.readChunk();
            isLast = isLastOfSound(*first);
            if (!add(*segment, first))
                return;
        }
        complete(*segment, isLast);
        if (isLast)
            return;
        firstChunk += own;
    }
}

template <class Format> bool SegmentLine<Format>::queue(SharedSegment segment)
{
    MutexLock hold(m_lock);
    while (!m_isStopped && m_segments.size() >= m_plan.segmentsAtOnce())
        m_changed.wait(m_lock);
    m_segments.push_back(std::move(segment));
    m_changed.notify_all();
    return !m_isStopped;
}

template <class Format> bool SegmentLine<Format>::add(Segment& segment, SharedChunk chunk)
{
    MutexLock hold(m_lock);
    segment.chunks.push_back(std::move(chunk));
    m_changed.notify_all();
    return !m_isStopped;
}

template <class Format> void SegmentLine<Format>::complete(Segment& segment, bool isLast)
{
    MutexLock hold(m_lock);
    segment.isRead = true;
    segment.isLast = isLast;
    m_isRead = isLast;
    m_changed.notify_all();
}

template <class Format> void SegmentLine<Format>::encode()
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
template <class Format> typename SegmentLine<Format>::SharedSegment SegmentLine<Format>::takeSegment()
{
    MutexLock hold(m_lock);
    while (!m_isStopped && !m_raised && m_taken == m_segments.size() && !m_isRead)
        m_changed.wait(m_lock);
    if (m_isStopped || m_raised || m_taken == m_segments.size())
        return nullptr;
    return m_segments[m_taken++];
}

template <class Format> Result<void> SegmentLine<Format>::encodeSegment(Segment& segment)
{
    MV_TRY(made, m_format.makeEncoder(segment.firstChunk * m_shape.chunkFrames));
    segment.encoder = std::move(made);
    for (std::size_t number = 0; auto part = takeChunk(segment, number); ++number) {
        MV_TRY_VOID(
            segment.encoder->encode(*part->chunk, 0, part->isShared ? m_shape.sharedFrames : m_shape.chunkFrames));
        // The next segment tells of what is shared.
        if (!report(part->isShared ? 0 : part->chunk->samples()))
            return {};
        if (part->isEnd)
            return segment.encoder->flush();
    }
    return {};
}

/// Nothing behind the last one, and when nobody wants it any more. Whether one is shared is known when the next one is
/// there, or all of the segment.
template <class Format>
std::optional<typename SegmentLine<Format>::Part> SegmentLine<Format>::takeChunk(
    const Segment& segment, std::size_t number)
{
    MutexLock hold(m_lock);
    while (!m_isStopped && !m_raised && !segment.isRead && number + 1 >= segment.chunks.size())
        m_changed.wait(m_lock);
    if (m_isStopped || m_raised || number >= segment.chunks.size())
        return std::nullopt;
    bool isLastOfSegment = number + 1 == segment.chunks.size();
    return Part { segment.chunks[number], isLastOfSegment && !segment.isLast, isLastOfSegment && segment.isLast };
}

template <class Format> bool SegmentLine<Format>::report(std::size_t samples)
{
    MutexLock hold(m_lock);
    m_samples += samples;
    m_changed.notify_all();
    return !m_isStopped;
}

/// True where the first segment is made, and what follows it too if that is any.
template <class Format> bool SegmentLine<Format>::canJoin() const
{
    if (m_segments.empty() || !m_segments[0]->isEncoded)
        return false;
    return !m_segments[0]->result || m_segments[0]->isLast || (m_segments.size() > 1 && m_segments[1]->isEncoded);
}

template <class Format> Result<typename SegmentLine<Format>::Step> SegmentLine<Format>::next()
{
    SharedSegment earlier;
    SharedSegment later;
    {
        MutexLock hold(m_lock);
        while (!m_raised && !canJoin() && m_samples == 0)
            m_changed.wait(m_lock);
        if (m_raised)
            std::rethrow_exception(m_raised);
        if (!canJoin())
            return Step { .samples = std::exchange(m_samples, 0) };
        earlier = m_segments[0];
        later = m_segments.size() > 1 ? m_segments[1] : nullptr;
    }
    MV_TRY(step, joinFront(*earlier, later.get()));
    MutexLock hold(m_lock);
    step.samples = std::exchange(m_samples, 0);
    m_segments.pop_front();
    --m_taken;
    m_changed.notify_all();
    return step;
}

template <class Format>
Result<typename SegmentLine<Format>::Step> SegmentLine<Format>::joinFront(Segment& earlier, Segment* later)
{
    MV_TRY_VOID(earlier.result);
    if (earlier.isLast)
        return stepTo(earlier, earlier.encoder->end());
    MV_TRY_VOID(later->result);
    MV_TRY(number, join(earlier, *later));
    if (number) {
        ++m_joints;
        return stepTo(earlier, *number);
    }
    replaceByEarlier(earlier, *later);
    return Step {};
}

template <class Format>
typename SegmentLine<Format>::Step SegmentLine<Format>::stepTo(const Segment& segment, std::size_t end)
{
    Step step { .encoder = segment.encoder, .begin = m_done, .end = std::max(m_done, end), .isLast = segment.isLast };
    m_done = step.end;
    return step;
}

template <class Format> Result<std::optional<std::size_t>> SegmentLine<Format>::join(Segment& earlier, Segment& later)
{
    Encoder& encoder = *earlier.encoder;
    const std::size_t end = (later.firstChunk + later.chunks.size() - 1) * m_shape.chunkFrames;
    std::size_t from = later.firstChunk * m_shape.chunkFrames + m_shape.listeningFrames;
    while (true) {
        if (auto found = m_format.join(encoder, *later.encoder, m_done, from, encoder.end()))
            return found;
        if (encoder.position() >= end)
            return std::optional<std::size_t> {};
        from = std::max(from, encoder.end());
        MV_TRY_VOID(encodeUpTo(encoder, later, std::min(end, encoder.position() + ExtensionFrames)));
    }
}

template <class Format>
Result<void> SegmentLine<Format>::encodeUpTo(Encoder& encoder, const Segment& later, std::size_t frame)
{
    while (encoder.position() < frame) {
        std::size_t inside = encoder.position() % m_shape.chunkFrames;
        const Chunk& chunk = *later.chunks[encoder.position() / m_shape.chunkFrames - later.firstChunk];
        MV_TRY_VOID(encoder.encode(chunk, inside, std::min(m_shape.chunkFrames - inside, frame - encoder.position())));
    }
    return {};
}

/// The earlier segment's encoder has made the later one's as well: it stands for both.
template <class Format> void SegmentLine<Format>::replaceByEarlier(Segment& earlier, Segment& later)
{
    later.encoder = std::move(earlier.encoder);
    const Chunk& last = *later.chunks.back();
    later.result = later.encoder->encode(last, 0, later.isLast ? m_shape.chunkFrames : m_shape.sharedFrames);
    if (later.result && later.isLast)
        later.result = later.encoder->flush();
}

} // namespace mv
