#pragma once

#include "mp3/StreamSummary.h"
#include "service/transcode/MVAudioDecoder.h"
#include "service/transcode/SegmentEncoder.h"
#include "service/transcode/SegmentPlan.h"
#include "system/Mutex.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <thread>

namespace mv {

/// Encodes one file's sound by several encoders at once. Each makes a segment, and begins so long before it that it
/// hears what the one before it hears; then the two streams are joined where a decoder cannot tell (mp3/FrameJoint.h).
/// What comes out depends on the plan, not on the threads.
///
/// One thread decodes, as many as the plan has cores encode, and whoever takes the blocks joins. Memory has the size of
/// the segments that are on their way, however long the sound is.
class SegmentedEncoding final : public EncodedSound {
public:
    /// An encoder of the library that is set up like all others, or null.
    using MakeLame = std::function<LameHandle()>;

    /// `first` makes the first segment, `makeLame`, called on the threads, the others. The decoder gives samples of 32
    /// bits for two channels and belongs to the threads until this is destroyed. std::system_error where no thread can
    /// be had.
    SegmentedEncoding(MVAudioDecoderBase& decoder, const LameLibrary& library, LameHandle first, MakeLame makeLame,
        const SegmentPlan& plan, std::size_t frameSize);
    /// Stops within a frame.
    ~SegmentedEncoding() override;
    SegmentedEncoding(const SegmentedEncoding&) = delete;
    SegmentedEncoding& operator=(const SegmentedEncoding&) = delete;

    Block next() override;
    std::size_t tagFrame(std::span<std::uint8_t> area) override;

private:
    struct Segment {
        std::size_t firstChunk = 0;
        std::vector<SharedChunk> chunks; ///< but for the last segment the last one is the next segment's first
        bool isLast = false;
        // The encoding thread's until it has set isEncoded, then the joining one's.
        std::unique_ptr<SegmentEncoder> encoder;
        int result = 0; ///< negative where it failed
        bool isEncoded = false; ///< under the lock
    };
    using SharedSegment = std::shared_ptr<Segment>;

    void startThreads();
    void stop() MV_EXCLUDES(m_lock);
    void keepException() MV_EXCLUDES(m_lock);

    // On the decoding thread.
    void read();
    void readSegments();
    SharedChunk readChunk();
    bool queue(SharedSegment segment) MV_EXCLUDES(m_lock);

    // On an encoding thread.
    void encode();
    SharedSegment takeSegment() MV_EXCLUDES(m_lock);
    int encodeSegment(Segment& segment);
    bool makeEncoder(Segment& segment);
    bool report(std::size_t samples) MV_EXCLUDES(m_lock);

    // On the thread that takes the blocks.
    Block joinFront(Segment& earlier, Segment* later);
    /// The earlier one goes on until they can be joined, if need be to the later one's end.
    std::optional<std::size_t> joint(Segment& earlier, Segment& later);
    int encodeUpTo(Segment& earlier, const Segment& later, std::size_t frame);
    void replaceByEarlier(Segment& earlier, Segment& later);
    Bytes take(Mp3FrameStream& stream, std::size_t end);

    MVAudioDecoderBase& m_decoder;
    const LameLibrary& m_library;
    LameHandle m_firstLame;
    const MakeLame m_makeLame;
    const SegmentPlan m_plan;
    const std::size_t m_frameSize;

    Mutex m_lock;
    std::condition_variable_any m_changed;
    std::deque<SharedSegment> m_segments MV_GUARDED_BY(m_lock); // not joined, in order
    std::size_t m_taken MV_GUARDED_BY(m_lock) = 0; // of them, by encoding threads
    std::size_t m_samples MV_GUARDED_BY(m_lock) = 0; // encoded, not told
    bool m_isRead MV_GUARDED_BY(m_lock) = false;
    bool m_isStopped MV_GUARDED_BY(m_lock) = false;
    std::exception_ptr m_raised MV_GUARDED_BY(m_lock);

    // The decoding thread's.
    Bytes m_pcm;
    SampleBlock m_block {};
    std::uint32_t m_blockFrames = 0; // of m_block, of them
    std::uint32_t m_blockUsed = 0; // went into a chunk
    bool m_decoderEnded = false;

    // The joining thread's.
    Mp3StreamSummary m_summary;
    std::size_t m_done = 0; // the first frame that was not given out
    std::size_t m_joints = 0;
    SharedSegment m_last;

    std::vector<std::thread> m_threads; // last: they use all of the above
};

} // namespace mv
