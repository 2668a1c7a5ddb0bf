#pragma once

#include "audio/AudioBackend.h"
#include "system/InputFile.h"

#include <optional>

namespace mv {

/// Where the samples of a WAVE file lie and what they are.
struct WaveFile {
    AudioSourceFormat format;
    std::uint64_t start = 0; ///< of the samples in the file
    SampleKind kind = SampleKind::Signed16; ///< of the samples when decoded
    std::uint32_t sampleBytes = 2; ///< of one sample in the file; 3 become a Signed32

    /// The usual kind of file alone: one format chunk that means uncompressed samples and says so without
    /// contradiction, one data chunk, any other chunks around them. Nothing for all others, good or bad.
    static std::optional<WaveFile> read(const ByteSource& file);
};

} // namespace mv
