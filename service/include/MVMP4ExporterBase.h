#pragma once

#include "system/OutputPlace.h"

#include <cstdint>
#include <memory>

namespace mv {

/// Supplied by the client; called while a job runs, on the job's thread.
class MVMP4ExporterDelegate {
public:
    virtual ~MVMP4ExporterDelegate() = default;
    /// Whole percent done. False cancels the job. An unreachable delegate counts as asking to cancel.
    virtual bool MP4ExporterProgress(std::int32_t percent) = 0;
};

/// What a conversion gives that its delegate has cancelled.
inline constexpr std::int32_t MVMP4ExporterCancelled = -1;

/// Exports movies to MPEG-4 and converts audio to AAC; one job at a time in the whole process. `File` and `Output` are
/// how what is read and what is made are named: by a client by their Paths, behind the bus by what was opened and by
/// where it is to be put.
template <class File, class Output> class MVMP4ExporterBaseOf {
public:
    virtual ~MVMP4ExporterBaseOf() = default;
    /// A QuickTime error code, 0 for success. `delegate` may be null and is used only during the call.
    virtual std::int32_t exportWithDelegateFromPathToMp4Path(
        MVMP4ExporterDelegate* delegate, const File& source, const Output& destination)
        = 0;
    /// 0 for success, MVMP4ExporterCancelled, or the first error code of the audio files. `bitrate` in
    /// bits per second.
    virtual std::int32_t convertToAacWithDelegateFromPathToMp4PathBitrate(
        MVMP4ExporterDelegate* delegate, const File& source, const Output& destination, std::int32_t bitrate)
        = 0;
    /// True when an enabled track of the file holds Apple Lossless audio; any failure is false.
    virtual bool isAlacAudio(const File& file) = 0;
};

/// What the service implements. No place is null.
using MVMP4ExporterBase = MVMP4ExporterBaseOf<OpenedFile, SharedPlace>;

} // namespace mv
