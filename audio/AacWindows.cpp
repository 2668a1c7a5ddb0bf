#include "audio/AacWindows.h"

#include "Base/Core/BitReader.h"

namespace mv {

namespace {

// Elements of a raw data block (ISO 14496-3, 4.5.2.1).
constexpr unsigned SingleChannel = 0;
constexpr unsigned ChannelPair = 1;
constexpr unsigned Fill = 6;

/// The kind of the first element that does not fill room.
unsigned firstElement(BitReader& in)
{
    constexpr unsigned MoreFollows = 15;
    unsigned kind = in.take(3);
    while (kind == Fill && !in.failed()) {
        unsigned size = in.take(4);
        if (size == MoreFollows)
            size += in.take(8) - 1;
        in.skip(std::size_t { size } * 8);
        kind = in.take(3);
    }
    return kind;
}

/// The head of ics_info.
std::optional<AacWindows> readWindows(BitReader& in)
{
    bool isReserved = in.take(1) == 1;
    AacWindows windows { static_cast<AacWindows::Sequence>(in.take(2)), in.take(1) == 1 };
    bool isPredicted = false;
    if (windows.sequence != AacWindows::Sequence::Short) {
        in.skip(6); // bands
        isPredicted = in.take(1) == 1;
    }
    if (isReserved || isPredicted || in.failed())
        return std::nullopt;
    return windows;
}

} // namespace

std::optional<AacWindows> aacWindowsOf(ByteView packet, std::uint32_t channels)
{
    BitReader in(packet);
    if (channels < 1 || channels > 2 || firstElement(in) != (channels == 1 ? SingleChannel : ChannelPair))
        return std::nullopt;
    in.skip(4); // the element's number
    if (channels == 1)
        in.skip(8); // gain
    else if (in.take(1) == 0)
        return std::nullopt; // the second channel's windows stand behind the first one's sound
    return readWindows(in);
}

} // namespace mv
