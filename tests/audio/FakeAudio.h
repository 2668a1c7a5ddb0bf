#pragma once

#include "audio/AudioBackend.h"

#include <vector>

namespace mv::test {

/// A source whose runs of frames, and what follows them, a test lays down.
class FakeSource final : public AudioSource {
public:
    AudioSourceFormat announced;
    SampleKind kind = SampleKind::Signed16;
    bool planar = false;
    /// Each run is the bytes of its planes (one when interleaved).
    struct Run {
        std::uint32_t frames = 0;
        std::vector<Bytes> planes;
    };
    std::vector<Run> runs;
    OSStatus failure = noErr; ///< after the last run
    std::uint32_t channelsGiven = 0; ///< when not 0, a lie about the runs

    const AudioSourceFormat& format() const override { return announced; }
    Result<DecodedFrames> next() override
    {
        if (m_next == runs.size() && failure != noErr)
            return Error { Error::Kind::Io, "as told", failure };
        if (m_next == runs.size())
            return DecodedFrames {};
        const Run& run = runs[m_next++];
        m_planes.clear();
        for (const Bytes& plane : run.planes)
            m_planes.push_back(plane.data());
        std::uint32_t channels = channelsGiven ? channelsGiven : announced.description.mChannelsPerFrame;
        return DecodedFrames { kind, planar, channels, run.frames, m_planes.data() };
    }

private:
    std::size_t m_next = 0;
    std::vector<const std::uint8_t*> m_planes;
};

/// The bytes of values in native order.
template <class T> Bytes bytesOfValues(const std::vector<T>& values)
{
    auto* first = reinterpret_cast<const std::uint8_t*>(values.data());
    return { first, first + values.size() * sizeof(T) };
}

} // namespace mv::test
