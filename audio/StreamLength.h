#pragma once

#include "system/InputFile.h"

namespace mv {

/// What a stream decodes to, found without decoding it.
struct StreamLength {
    std::uint32_t sampleRate = 0; ///< Hz, never 0
    std::uint32_t channels = 0; ///< never 0
    std::uint64_t frames = 0; ///< samples of each channel
};

/// A native FLAC file, ID3v2 tags in front of it skipped. The total of its first header where there is one; else the
/// end of the last whole frame. Error kinds: Unsupported (no FLAC), Format (FLAC that cannot be decoded), Io.
Result<StreamLength> measureFlac(const ByteSource& file);

/// Where the last whole frame of a native FLAC file ends, whatever the total of the header says: a file that was cut
/// off has less. Error kinds as above.
Result<std::uint64_t> flacFramesByTail(const ByteSource& file);

/// The first Vorbis, Opus or FLAC stream of an Ogg file, whichever comes first; Vorbis and Opus with all links of a
/// chain. In a chain of several sample rates every link counts by its time at the first one's rate. Error kinds as
/// above.
Result<StreamLength> measureOgg(const ByteSource& file);
/// Whether an Ogg file is one stream of undamaged Vorbis or Opus pages from its first byte to its last, which began
/// when its time did: decoding it then gives as many frames as measureOgg says. Reads the whole file.
bool isWholeOggStream(const ByteSource& file);
/// The same, but a stream other than FLAC is Unsupported.
Result<StreamLength> measureOggFlac(const ByteSource& file);

} // namespace mv
