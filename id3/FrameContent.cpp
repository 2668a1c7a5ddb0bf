#include "id3/FrameContent.h"

#include "Base/Core/BitReader.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t CheckSumSize = 2;
constexpr std::uint8_t JointStereo = 1;

/// Layer I: 4 bits for each of 32 bands and channels say how many bits a sample takes; 15 is forbidden.
bool hasPossibleAllocation(const MpegHeader& header, std::uint8_t modeByte, ByteView content, std::size_t size)
{
    constexpr unsigned Bands = 32;
    constexpr unsigned Forbidden = 15;
    constexpr std::size_t ScaleFactorBits = 6;
    constexpr std::size_t SamplesOfBand = 12;
    unsigned channels = header.isMono ? 1 : 2;
    // From this band on both channels share their samples.
    unsigned bound = modeByte >> 6 == JointStereo ? 4 * ((modeByte >> 4 & 3) + 1U) : Bands;
    BitReader reader(content);
    std::size_t bits = 0;
    for (unsigned band = 0; band < Bands; ++band) {
        unsigned coded = band < bound ? channels : 1;
        for (unsigned i = 0; i < coded; ++i) {
            unsigned allocation = reader.take(4);
            if (allocation == Forbidden)
                return false;
            if (allocation > 0)
                bits += SamplesOfBand * (allocation + 1) + ScaleFactorBits * (channels - coded + 1);
        }
    }
    return reader.position() + bits <= size * 8;
}

/// One granule of one channel: its length in bits, or nothing where a value is forbidden.
std::optional<unsigned> granuleBits(BitReader& reader, bool isMpeg1)
{
    constexpr unsigned MaxBigValues = 288;
    unsigned length = reader.take(12);
    bool possible = reader.take(9) <= MaxBigValues;
    reader.skip(8 + (isMpeg1 ? 4 : 9)); // gain, scale factors
    if (reader.take(1) == 1) { // window switching
        possible = possible && reader.take(2) != 0;
        reader.skip(1 + 2 * 5 + 3 * 3);
    } else {
        reader.skip(3 * 5 + 4 + 3);
    }
    reader.skip(isMpeg1 ? 3 : 2);
    return possible ? std::optional(length) : std::nullopt;
}

/// Layer III: the granules' bits lie in the frame and in what frames before it left free.
bool hasPossibleSideInformation(const MpegHeader& header, ByteView content, std::size_t size)
{
    bool isMpeg1 = header.version == MpegHeader::Version::Mpeg1;
    int channels = header.isMono ? 1 : 2;
    BitReader reader(content);
    std::size_t reservoir = reader.take(isMpeg1 ? 9 : 8);
    if (isMpeg1)
        reader.skip((header.isMono ? 5 : 3) + 4 * channels);
    else
        reader.skip(channels);
    std::size_t bits = 0;
    for (int i = 0; i < (isMpeg1 ? 2 : 1) * channels; ++i) {
        auto length = granuleBits(reader, isMpeg1);
        if (!length)
            return false;
        bits += *length;
    }
    return reader.position() + bits <= (size + reservoir) * 8;
}

} // namespace

bool hasPossibleContent(const MpegHeader& header, ByteView bytes, std::size_t size)
{
    std::size_t begin = MpegHeader::Size + (header.isProtected ? CheckSumSize : 0);
    if (size < begin)
        return false;
    if (bytes.size() < size || header.layer == 2)
        return true;
    ByteView content = bytes.first(size).subspan(begin);
    return header.layer == 1 ? hasPossibleAllocation(header, bytes[3], content, content.size())
                             : hasPossibleSideInformation(header, content, content.size());
}

} // namespace mv
