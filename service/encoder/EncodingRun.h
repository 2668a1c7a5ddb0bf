#pragma once

#include "Base/Media/Record.h"
#include "system/OutputPlace.h"

#include <cstdint>
#include <functional>

namespace mv {

/// Hears of one encoding job, on the thread that runs it.
class EncodingListener {
public:
    virtual ~EncodingListener() = default;
    virtual void started() = 0;
    /// Asked before every block; true cancels.
    virtual bool shouldStop() = 0;
    virtual void progress(float percent) = 0; ///< whole, growing
    virtual void failed(std::int32_t code) = 0; ///< MVAudioEncoderError...
    virtual void ended() = 0; ///< not after a failure or a cancel
};

/// Encodes one file with these attributes, on the calling thread: an encoder does not know where and by what. True when
/// no error occurred (success or cancellation). Called on several threads at once.
using EncodingRun = std::function<bool(
    const Record& attributes, EncodingListener& listener, const OpenedFile& input, OutputPlace& output)>;

} // namespace mv
