#pragma once

#include "audio/WaveFile.h"

#include "Base/Core/Bytes.h"

#include <memory>
#include <vector>

namespace mv {

/// The samples of a WAVE file, as FFmpeg would decode them and without its 130 libraries: a process that sees
/// nothing but such files never loads them.
class WaveSource final : public AudioSource {
public:
    /// Null for what is not a WaveFile: let another source try, and say what is wrong.
    static std::unique_ptr<AudioSource> open(SharedSource file);

    const AudioSourceFormat& format() const override { return m_wave.format; }
    Result<DecodedFrames> next() override;

private:
    WaveSource(SharedSource file, const WaveFile& wave);
    void widen(std::size_t samples);

    SharedSource m_file;
    WaveFile m_wave;
    std::uint32_t m_frameBytes; // in the file
    std::int64_t m_done = 0;
    Bytes m_block;
    std::vector<std::int32_t> m_wide; // samples of three bytes as four
    const std::uint8_t* m_plane = nullptr;
};

} // namespace mv
