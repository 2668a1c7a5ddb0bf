#include "id3/VbrHeader.h"

#include "Base/Core/ByteReader.h"

namespace mv {

namespace {

constexpr std::uint32_t XingHasFrames = 1;
constexpr std::uint32_t XingHasBytes = 2;
constexpr std::uint32_t XingHasToc = 4;
constexpr std::uint32_t XingHasQuality = 8;
constexpr std::size_t XingTocSize = 100;

/// Layer III's side information lies between the header and the table.
std::size_t sideInformationSize(const MpegHeader& header)
{
    if (header.version == MpegHeader::Version::Mpeg1)
        return header.isMono ? 17 : 32;
    return header.isMono ? 9 : 17;
}

/// The part behind the Xing fields: encoder name, 12 bytes of settings, two 12-bit sample counts.
void readEncoderPart(ByteReader reader, VbrHeader& vbr)
{
    constexpr std::size_t NameSize = 9;
    constexpr std::size_t SettingsSize = 12;
    ByteView name = reader.take(NameSize);
    reader.skip(SettingsSize);
    std::uint32_t delays = reader.u24be();
    std::string_view chars = charsOf(name);
    // Others fill the place with text or nothing; LAME before 3.90 with a longer name.
    bool known = (chars.starts_with("LAME") && !chars.starts_with("LAME3.8")) || chars.starts_with("Lavf")
        || chars.starts_with("Lavc");
    if (reader.failed() || !known)
        return;
    vbr.encoderDelay = delays >> 12;
    vbr.endPadding = delays & 0xFFF;
}

std::optional<VbrHeader> parseXing(ByteView frame, std::size_t offset)
{
    if (frame.size() < offset)
        return std::nullopt;
    ByteReader reader(frame.subspan(offset));
    std::string_view mark = charsOf(reader.take(4));
    if (mark != "Xing" && mark != "Info")
        return std::nullopt;
    VbrHeader vbr;
    std::uint32_t flags = reader.u32be();
    if (flags & XingHasFrames)
        vbr.frames = reader.u32be();
    if (flags & XingHasBytes)
        vbr.bytes = reader.u32be();
    if (flags & XingHasToc)
        reader.skip(XingTocSize);
    if (flags & XingHasQuality)
        reader.skip(4);
    if (reader.failed())
        return VbrHeader {};
    readEncoderPart(reader, vbr);
    return vbr;
}

std::optional<VbrHeader> parseVbri(ByteView frame)
{
    constexpr std::size_t Offset = MpegHeader::Size + 32;
    if (frame.size() < Offset)
        return std::nullopt;
    ByteReader reader(frame.subspan(Offset));
    if (charsOf(reader.take(4)) != "VBRI")
        return std::nullopt;
    constexpr std::size_t VersionDelayQuality = 6;
    reader.skip(VersionDelayQuality);
    VbrHeader vbr;
    vbr.bytes = reader.u32be();
    vbr.frames = reader.u32be();
    return reader.failed() ? VbrHeader {} : vbr;
}

} // namespace

std::optional<VbrHeader> VbrHeader::parse(const MpegHeader& header, ByteView frame)
{
    if (header.layer != 3)
        return std::nullopt;
    std::size_t offset = MpegHeader::Size + sideInformationSize(header);
    constexpr std::size_t CheckSumSize = 2;
    if (auto xing = parseXing(frame, offset))
        return xing;
    // Encoders disagree on whether the check sum moves the table.
    if (header.isProtected) {
        if (auto xing = parseXing(frame, offset + CheckSumSize))
            return xing;
    }
    return parseVbri(frame);
}

std::optional<std::uint64_t> VbrHeader::sampleCount(int samplesPerFrame) const
{
    if (!frames)
        return std::nullopt;
    std::uint64_t samples = std::uint64_t { *frames } * static_cast<std::uint64_t>(samplesPerFrame);
    std::uint64_t added = std::uint64_t { encoderDelay } + endPadding;
    return added < samples ? samples - added : samples;
}

} // namespace mv
