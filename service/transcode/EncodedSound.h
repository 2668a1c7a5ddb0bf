#pragma once

#include "service/transcode/LameLibrary.h"

#include "Base/Core/Bytes.h"

#include <memory>
#include <span>

namespace mv {

/// Bytes of the area that the encoding library writes a block into.
inline constexpr std::size_t Mp3BufferSize = 147'456;
/// The most frames a block can have: an MPEG 1 frame.
inline constexpr std::size_t MaxFrameSize = 1152;
/// One block of samples for the encoding library: two channels of 32-bit samples.
using SampleBlock = std::int32_t[2][MaxFrameSize];

/// A file's sound on its way through the encoding library, on threads of its own.
class EncodedSound {
public:
    /// What comes next of it.
    struct Block {
        std::int32_t frames = 0; ///< that were encoded since the last block
        int result = 0; ///< negative where the library failed, with its number
        Bytes mp3;
        bool isLast = false;
    };

    virtual ~EncodedSound() = default;
    /// The next block. Not to be called again after the last one or one with a negative result. Raises what a
    /// thread raised.
    virtual Block next() = 0;
    /// After the last block: the frame that the library has kept free for what it knows only now. Its size, which is
    /// larger than the area where it does not fit, and 0 where there is none.
    virtual std::size_t tagFrame(std::span<std::uint8_t> area) = 0;
};

} // namespace mv
