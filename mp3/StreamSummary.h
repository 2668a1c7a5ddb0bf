#pragma once

#include "Base/Core/Bytes.h"

#include <array>
#include <cstdint>
#include <vector>

namespace mv {

/// What an MP3 encoder's table says of a whole stream, gathered while its frames come by. Its size does not grow with
/// the stream.
class Mp3StreamSummary {
public:
    /// The next frame.
    void add(ByteView frame);

    /// Writes what was gathered into the frame with the table of an encoder that made a part of the stream, its end
    /// among it: numbers of frames and bytes, places to seek, check sums. What holds of each part stays, and so does
    /// the padding, which is the end's. False, and nothing changed, for a frame without such a table.
    bool describeIn(Bytes& tableFrame) const;

private:
    static constexpr std::size_t SeekEntries = 100;
    /// Places that are remembered: every so manieth frame's, half of them forgotten when there are too many.
    static constexpr std::size_t MaxPlaces = 4096;

    std::array<std::uint8_t, SeekEntries> seekTable(std::uint64_t tableSize) const;
    std::uint64_t placeOf(double frame) const;

    std::uint64_t m_frames = 0;
    std::uint64_t m_bytes = 0;
    std::uint16_t m_checksum = 0;
    std::uint64_t m_distance = 1; // frames between two remembered places
    std::vector<std::uint64_t> m_places;
};

} // namespace mv
