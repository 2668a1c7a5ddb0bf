#pragma once

#include "audio/M4aFile.h"
#include "service/include/MVMP4ExporterBase.h"
#include "service/transcode/AacSegments.h"
#include "service/transcode/SegmentLine.h"

namespace mv {

/// One file on its way to AAC in an MPEG-4 file by several encoders at once, on the thread that runs it.
/// MP4ExporterImpl converts with one.
class AacEncodingJob {
public:
    /// For sound of `bitrate` bit/s. The references outlive the job.
    AacEncodingJob(const OpenedFile& source, std::uint32_t bitrate, MVMP4ExporterDelegate& progress);

    /// An error where the source cannot be opened.
    OSStatus open();
    /// Of an opened source. False for what is left to one encoder: short sound, more than two channels, a rate that AAC
    /// does not have.
    bool isForSegments() const;
    /// MVMP4ExporterCancelled when the delegate wants to stop. The destination has a file when it went well, and else
    /// what it had.
    OSStatus run(OutputPlace& destination, unsigned cores);

private:
    using Line = SegmentLine<AacSegments>;

    void makeEncoder();
    SegmentShape shape() const { return AacSegments::shape(m_encoder->framesPerPacket()); }
    Result<void> encode(M4aFile& file, unsigned cores);
    Result<std::uint64_t> write(Line& line, M4aFile& file);
    bool report(std::size_t samples);

    const OpenedFile& m_sourceFile;
    MVMP4ExporterDelegate& m_progress;
    AacEncoderSettings m_settings;
    std::unique_ptr<MVExtAudioFile> m_source;
    std::unique_ptr<AacEncoder> m_encoder; // the first segment's; null where there can be none
    std::int64_t m_total = 0; // samples that are announced
    std::int64_t m_done = 0;
    std::int32_t m_percent = 0; // that was told
};

} // namespace mv
