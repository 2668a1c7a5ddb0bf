#pragma once

#include "audio/AudioBackend.h"

#include "Base/Core/Bytes.h"

namespace mv::test {

/// All that a source of interleaved samples gives.
struct DecodedSource {
    AudioSourceFormat format;
    SampleKind kind = SampleKind::Signed16; ///< of the last samples
    Bytes samples;
    bool ended = false; ///< at its end, with neither an error nor planes before

    explicit DecodedSource(AudioSource& source)
        : format(source.format())
    {
        while (true) {
            auto frames = source.next();
            if (!frames || frames->planar)
                return;
            if (frames->count == 0)
                break;
            kind = frames->kind;
            const std::uint8_t* start = frames->planes[0];
            samples.insert(samples.end(), start, start + sampleSize() * frames->channels * frames->count);
        }
        ended = true;
    }

private:
    std::size_t sampleSize() const
    {
        return kind == SampleKind::Unsigned8 ? 1
            : kind == SampleKind::Signed16   ? 2
            : kind == SampleKind::Float64    ? 8
                                             : 4;
    }
};

} // namespace mv::test
