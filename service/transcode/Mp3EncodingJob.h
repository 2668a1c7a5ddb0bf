#pragma once

#include "Base/Media/Record.h"
#include "service/encoder/EncodingRun.h"
#include "service/transcode/EncodedSound.h"
#include "service/transcode/LameLibrary.h"
#include "service/transcode/MVAudioDecoder.h"
#include "service/transcode/Mp3Segments.h"
#include "system/OutputPlace.h"

#include <functional>
#include <memory>

namespace mv {

/// What jobs are made of, so that a test can put in its own.
struct MP3EncoderParts {
    const LameLibrary* library; ///< must outlive the encoder
    std::function<std::unique_ptr<MVAudioDecoder>()> makeDecoder; ///< null means it could not be made
    /// How many encoders may make one file at once; one gives the same bytes wherever it runs. More than one are only
    /// used with exact conversion, and where the encoder need not change the sample rate.
    unsigned cores = 1;

    /// The real ones.
    static MP3EncoderParts standard(unsigned cores = 1);
};

/// One file on its way to MP3, on the thread that runs it. Knows neither bus nor encoder.
class Mp3EncodingJob {
public:
    /// With the encoder's attributes as they are when the job begins. All references outlive the job.
    Mp3EncodingJob(const MP3EncoderParts& parts, Record attributes, EncodingListener& listener, const OpenedFile& input,
        OutputPlace& output);
    ~Mp3EncodingJob() { closeLibrary(); }
    Mp3EncodingJob(const Mp3EncodingJob&) = delete;
    Mp3EncodingJob& operator=(const Mp3EncodingJob&) = delete;

    /// True when no error occurred (success or cancellation). The output is opened when the input is known to be sound
    /// and the library has taken its parameters.
    bool run();

private:
    std::int32_t prepare();
    std::int32_t openDecoder();
    std::int32_t setUpLibrary(lame_t lame) const;
    void setBitRate(lame_t lame) const;
    /// A further encoder like the job's own.
    LameHandle makeLame() const;
    void checkAttributes() const;
    std::int32_t openOutput();
    void logParameters() const;
    std::int32_t encode();
    std::unique_ptr<EncodedSound> startEncoding();
    bool isForSegments() const;
    std::int32_t encodeBlocks(EncodedSound& sound);
    std::int32_t writeTagFrame(EncodedSound& sound);
    void reportProgress(std::int32_t frames);
    std::int32_t cleanUp(std::int32_t error);
    void closeLibrary();

    std::int32_t attribute(std::string_view key) const { return m_attributes.integer(key).value_or(0); }
    bool flag(std::string_view key) const { return m_attributes.boolean(key).value_or(false); }

    const MP3EncoderParts& m_parts;
    const LameLibrary& m_library;
    const Record m_attributes;
    EncodingListener& m_listener;
    const OpenedFile& m_input;
    OutputPlace& m_output;
    lame_t m_lame = nullptr; // owned
    std::unique_ptr<MVAudioDecoder> m_decoder;
    std::unique_ptr<FileInPlace> m_file; // null until it was opened
    PcmFormat m_format;
    std::uint32_t m_frameSize = 0;
    std::size_t m_id3Size = 0;
    Bytes m_mp3;
    std::int64_t m_framesDone = 0;
    float m_lastPercent = -1.0f;
    bool m_cancelled = false;
};

/// An encoder's jobs as such jobs, in this process.
EncodingRun encodingOfParts(MP3EncoderParts parts);
inline EncodingRun standardEncoding(unsigned cores = 1) { return encodingOfParts(MP3EncoderParts::standard(cores)); }

} // namespace mv
