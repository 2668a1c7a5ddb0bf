#pragma once

#include "service/include/MVMediaInfoBuilder.h"

namespace mv {

// What MediaDBCommonColumnReservedInt says of the play length.
inline constexpr std::int32_t MVBasicAudioDurationMeasured = 0;
inline constexpr std::int32_t MVBasicAudioNotSupported = 9; ///< another kind of file, or one that cannot be opened

/// Describes audio files whose tags are not read here, FLAC and Ogg: the title is the file's name, the play length
/// is measured. Entered on its own serving thread only; BASS_Init must have run.
class MVBasicAudioParser final : public MVMediaInfoBuilder {
public:
    /// Nothing when the file's attributes cannot be read. Any file that is there has a record; only for a FLAC or
    /// Ogg file that can be measured does it hold a play length.
    std::optional<Record> build(const OpenedFile& file) override;

    /// True when the file is called .flac or .ogg and could be measured; `duration` then is its length in seconds
    /// plus one. On false it is left alone, and what failed is logged unless the name was it.
    bool isSupportMediaTDuration(const OpenedFile& file, double& duration) const;
};

} // namespace mv
