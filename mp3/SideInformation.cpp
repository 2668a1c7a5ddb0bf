#include "mp3/SideInformation.h"

#include "Base/Core/BitReader.h"

namespace mv {

namespace {

constexpr std::size_t ChecksumSize = 2;

std::size_t sideInformationSize(bool isFirstVersion, bool isMono)
{
    if (isFirstVersion)
        return isMono ? 17 : 32;
    return isMono ? 9 : 17;
}

/// Nothing with the window number that a switched granule cannot have.
std::optional<GranuleFacts> readGranule(BitReader& in, bool isFirstVersion)
{
    GranuleFacts facts;
    facts.bits = static_cast<std::uint16_t>(in.take(12));
    in.take(9); // big values
    facts.globalGain = static_cast<std::uint8_t>(in.take(8));
    in.take(isFirstVersion ? 4 : 9); // how scale factors are packed
    if (in.take(1) == 1) {
        facts.blockType = static_cast<BlockType>(in.take(2));
        facts.isMixed = in.take(1) == 1;
        in.take(2 * 5 + 3 * 3); // tables, gains of the short blocks
        if (facts.blockType == BlockType::Long)
            return std::nullopt;
    } else {
        in.take(3 * 5 + 4 + 3); // tables and their regions
    }
    in.take(isFirstVersion ? 3 : 2); // steps of scale factors, the table of the small values
    return facts;
}

} // namespace

std::optional<Mp3FrameFacts> Mp3FrameFacts::parse(const MpegHeader& header, ByteView bytes)
{
    bool isFirstVersion = header.version == MpegHeader::Version::Mpeg1;
    std::size_t front = MpegHeader::Size + (header.isProtected ? ChecksumSize : 0);
    std::size_t sideSize = sideInformationSize(isFirstVersion, header.isMono);
    Mp3FrameFacts facts { .size = header.frameSize() };
    if (header.layer != 3 || facts.size < front + sideSize || bytes.size() < front + sideSize)
        return std::nullopt;
    facts.room = facts.size - front - sideSize;
    facts.channels = header.isMono ? 1 : 2;
    facts.granules = isFirstVersion ? 2 : 1;
    BitReader in(bytes.subspan(front, sideSize));
    facts.mainDataBegin = in.take(isFirstVersion ? 9 : 8);
    // Private bits, and of the first version which scale factors the second granule has from the first one.
    if (isFirstVersion)
        in.take(header.isMono ? 5 + 4 : 3 + 8);
    else
        in.take(header.isMono ? 1 : 2);
    for (std::size_t granule = 0; granule < facts.granules; ++granule) {
        for (std::size_t channel = 0; channel < facts.channels; ++channel) {
            auto part = readGranule(in, isFirstVersion);
            if (!part)
                return std::nullopt;
            facts.parts[granule][channel] = *part;
        }
    }
    return in.failed() ? std::nullopt : std::optional(facts);
}

} // namespace mv
