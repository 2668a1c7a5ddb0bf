#pragma once

#include "Base/Media/Record.h"
#include "system/OutputPlace.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace mv {

// Attribute keys; each constant's string is its own name. MVMP3EncoderStereoModeAttribte lacks its u; clients know
// it so.
inline constexpr std::string_view MVAudioEncoderSamplingRateAttribute = "MVAudioEncoderSamplingRateAttribute";
inline constexpr std::string_view MVAudioEncoderBitrateAttribute = "MVAudioEncoderBitrateAttribute";
inline constexpr std::string_view MVAudioEncoderVBRAttribute = "MVAudioEncoderVBRAttribute";
inline constexpr std::string_view MVMP3EncoderStereoModeAttribte = "MVMP3EncoderStereoModeAttribte";
inline constexpr std::string_view MVMP3EncoderQualityAttribute = "MVMP3EncoderQualityAttribute";
/// Boolean, absent by default: convert every input exactly as a listener expects instead of by the fixed rules.
inline constexpr std::string_view MVAudioEncoderExactConversionAttribute = "MVAudioEncoderExactConversionAttribute";

inline constexpr std::string_view MVAudioEncoderErrorDomain = "MVAudioEncoderErrorDomain";

/// What an encoder reports to its delegate. Code 3 is never produced; the numbers are what clients know.
struct NSError {
    std::string domain;
    std::int32_t code = 0;
};

inline constexpr std::int32_t MVAudioEncoderErrorInput = 1; ///< the decoder cannot open the input
inline constexpr std::int32_t MVAudioEncoderErrorParameters = 2; ///< the library refused its parameters
inline constexpr std::int32_t MVAudioEncoderErrorOutput = 4; ///< the output cannot be opened for writing
inline constexpr std::int32_t MVAudioEncoderErrorTagSize = 5; ///< a tag frame exceeds the output buffer
inline constexpr std::int32_t MVAudioEncoderErrorWrite = 6; ///< a write came short or a seek failed
inline constexpr std::int32_t MVAudioEncoderErrorEncoder = 7; ///< the library failed
inline constexpr std::int32_t MVAudioEncoderErrorBuffer = 8; ///< the library's output buffer was too small

template <class File, class Output> class MVAudioEncoderBaseOf;

/// Supplied by the client. Called on the encoding thread, in order; every message is sent, so all are implemented.
template <class File, class Output> class MVAudioEncoderDelegateOf {
public:
    using Encoder = MVAudioEncoderBaseOf<File, Output>;

    virtual ~MVAudioEncoderDelegateOf() = default;
    /// The delegate that hears of one job, for a delegate that keeps something about each: asked for when the job
    /// begins, on the job's thread, and dropped there when it ends. Null: this one hears of every job itself.
    virtual std::shared_ptr<MVAudioEncoderDelegateOf> delegateOfJob(Encoder&) { return nullptr; }
    virtual void encoderDidStart(Encoder& encoder) = 0;
    /// True cancels the job. An unreachable delegate counts as asking to cancel.
    virtual bool shouldEncodeStop() = 0;
    /// Whole percent, growing; the first one can be above 1.
    virtual void encoderProgress(Encoder& encoder, float percent) = 0;
    virtual void encoderDidFailWithError(Encoder& encoder, const NSError& error) = 0;
    virtual void encoderDidEnd(Encoder& encoder) = 0;
};

/// Encodes audio files. Attributes persist between jobs. `File` and `Output` are how what is read and what is made are
/// named: by a client by their Paths, behind the bus by what was opened and by where it is to be put.
template <class File, class Output> class MVAudioEncoderBaseOf {
public:
    using Delegate = MVAudioEncoderDelegateOf<File, Output>;

    virtual ~MVAudioEncoderBaseOf() = default;
    /// Copies every entry into the attributes; keys not given keep their values.
    virtual void setAttributes(const Record& attributes) = 0;
    virtual Record attributes() const = 0;
    /// Starts a job on a thread of its own and returns at once.
    virtual void encodeOnThreadFileOutputFile(const File& input, const Output& output) = 0;
    /// True when no error occurred (success or cancellation).
    virtual bool encodeFileOutputFile(const File& input, const Output& output) = 0;
    /// Null means none. A job keeps the delegate that was set when it started alive until it ends.
    virtual void setDelegate(std::shared_ptr<Delegate> delegate) = 0;
};

/// What the service implements, and what it tells. No place is null.
using MVAudioEncoderBase = MVAudioEncoderBaseOf<OpenedFile, SharedPlace>;
using MVAudioEncoderDelegate = MVAudioEncoderDelegateOf<OpenedFile, SharedPlace>;

} // namespace mv
