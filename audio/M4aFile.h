#pragma once

#include "audio/AacEncoder.h"
#include "audio/M4aHeader.h"
#include "system/OutputPlace.h"

#include <memory>

namespace mv {

/// An MPEG-4 audio file whose packets come one after the other. The code of its errors is an OSStatus.
class M4aFile {
public:
    /// `settings` are those that the encoder was made with.
    M4aFile(std::unique_ptr<OutputFile> file, const AacEncoderSettings& settings, const AacEncoder& encoder);

    std::uint32_t channels() const { return m_track.channels; }
    Result<void> append(ByteView packet);
    /// Writes what stands in front of the packets and gives the file its name. `frames` are to be heard.
    Result<void> finish(std::uint64_t frames);

private:
    Result<void> flush();

    std::unique_ptr<OutputFile> m_file;
    M4aTrack m_track;
    Bytes m_packets; // not written yet
    std::uint64_t m_size = 0; // written
};

} // namespace mv
