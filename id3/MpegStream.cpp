#include "id3/MpegStream.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

// Above every frame of the free format: 640 kbit/s at 8 kHz.
constexpr std::size_t MaximumFreeFrameSize = 5760 + 1;
// Each try looks at thousands of bytes; a file of nothing but such headers must not cost minutes.
constexpr int MaximumFreeFormatTries = 1000;
// What a search looks at: the place where a header may be, and the frames behind it that prove it.
constexpr std::size_t ProofSpan = MpegStream::ProvingFrames * MpegHeader::MaximumFrameSize;

} // namespace

std::optional<MpegFrame> MpegStream::frameAt(std::uint64_t offset)
{
    auto header = MpegHeader::parse(m_window.look(offset, MpegHeader::Size));
    if (!header)
        return std::nullopt;
    MpegFrame frame { offset, *header, header->frameSize() };
    if (header->isFreeFormat())
        frame.size = freeFormatSize(offset, *header);
    if (frame.size < MpegHeader::Size)
        return std::nullopt;
    return frame;
}

std::optional<MpegFrame> MpegStream::frameBehind(const MpegFrame& frame)
{
    auto header = MpegHeader::parse(m_window.look(frame.end(), MpegHeader::Size));
    if (!header || !header->continues(frame.header))
        return std::nullopt;
    MpegFrame next { frame.end(), *header, header->frameSize() };
    if (header->isFreeFormat()) {
        // All frames are of one size but for the padding.
        auto slot = static_cast<std::size_t>(header->slotSize());
        next.size = frame.size - (frame.header.isPadded ? slot : 0) + (header->isPadded ? slot : 0);
    }
    return next;
}

std::size_t MpegStream::freeFormatSize(std::uint64_t offset, const MpegHeader& header)
{
    constexpr std::size_t SmallestFrame = 24;
    if (++m_freeFormatTries > MaximumFreeFormatTries)
        return 0;
    ByteView bytes = m_window.look(offset, 3 * MaximumFreeFrameSize);
    auto matches = [&](std::size_t at) {
        auto found = MpegHeader::parse(bytes.subspan(std::min(at, bytes.size())));
        return found && found->continues(header) ? found : std::nullopt;
    };
    auto slot = static_cast<std::size_t>(header.slotSize());
    std::size_t limit = std::min(bytes.size(), MaximumFreeFrameSize);
    for (std::size_t size = SmallestFrame; size < limit; ++size) {
        auto second = bytes[size] == 0xFF ? matches(size) : std::nullopt;
        if (!second)
            continue;
        std::size_t unpadded = size - (header.isPadded ? slot : 0);
        if (matches(size + unpadded + (second->isPadded ? slot : 0)))
            return size;
    }
    return 0;
}

MpegStream::Chain MpegStream::chainFrom(const MpegFrame& first)
{
    Chain chain { 1, false };
    MpegFrame frame = first;
    while (chain.frames < ProvingFrames) {
        if (frame.end() + MpegHeader::Size > end()) {
            chain.reachesEnd = true;
            break;
        }
        auto next = frameBehind(frame);
        if (!next)
            break;
        frame = *next;
        ++chain.frames;
    }
    return chain;
}

std::optional<std::uint64_t> MpegStream::findSync(std::uint64_t from, std::uint64_t until)
{
    constexpr std::size_t Look = std::size_t { 4 } << 10;
    while (from < until) {
        ByteView bytes = m_window.look(from, Look + ProofSpan);
        bytes = bytes.first(std::min(bytes.size(), Look));
        if (bytes.size() < 2)
            return std::nullopt;
        const std::uint8_t* begin = bytes.data();
        const std::uint8_t* last = begin + bytes.size() - 1;
        const std::uint8_t* at = begin;
        while (at < last) {
            at = static_cast<const std::uint8_t*>(std::memchr(at, 0xFF, static_cast<std::size_t>(last - at)));
            if (!at)
                break;
            if (at[1] >= 0xE0) {
                std::uint64_t place = from + static_cast<std::uint64_t>(at - begin);
                return place < until ? std::optional(place) : std::nullopt;
            }
            ++at;
        }
        from += bytes.size() - 1;
    }
    return std::nullopt;
}

std::optional<MpegFrame> MpegStream::findProven(std::uint64_t from, std::uint64_t until)
{
    for (auto sync = findSync(from, until); sync; sync = findSync(*sync + 1, until)) {
        auto frame = frameAt(*sync);
        if (!frame)
            continue;
        Chain chain = chainFrom(*frame);
        if (chain.frames >= ProvingFrames || (chain.reachesEnd && chain.frames >= 2))
            return frame;
    }
    return std::nullopt;
}

} // namespace mv
