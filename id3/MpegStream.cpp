#include "id3/MpegStream.h"

#include "id3/FrameContent.h"
#include "id3/FreeFormat.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

// What a search looks at: the place where a header may be, and the frames behind it that prove it.
constexpr std::size_t ProofSpan = MpegStream::ProvingFrames * MpegHeader::MaxFrameSize;

std::size_t slotOf(const MpegHeader& header) { return static_cast<std::size_t>(header.slotSize()); }

} // namespace

std::optional<MpegFrame> MpegStream::frameAt(std::uint64_t offset)
{
    auto header = MpegHeader::parse(m_window.look(offset, MpegHeader::Size));
    if (!header)
        return std::nullopt;
    MpegFrame frame { offset, *header, sizeOf(*header) };
    if (frame.size < MpegHeader::Size)
        return std::nullopt;
    return frame;
}

std::optional<MpegFrame> MpegStream::frameBehind(const MpegFrame& frame)
{
    auto header = MpegHeader::parse(m_window.look(frame.end(), MpegHeader::Size));
    if (!header || !header->continues(frame.header))
        return std::nullopt;
    return MpegFrame { frame.end(), *header, sizeOf(*header) };
}

std::size_t MpegStream::sizeOf(const MpegHeader& header) const
{
    if (!header.isFreeFormat())
        return header.frameSize();
    // All frames are of one size but for the padding.
    return m_freeFormatSize + (header.isPadded && m_freeFormatSize > 0 ? slotOf(header) : 0);
}

/// Patterns in pictures, sounds and programs look like layer I, in rows of any length.
bool MpegStream::isPossible(const MpegFrame& frame)
{
    return frame.header.layer != 1
        || hasPossibleContent(frame.header, m_window.look(frame.offset, frame.size), frame.size);
}

std::optional<MpegFrame> MpegStream::beginFreeFormat(std::uint64_t offset)
{
    auto header = MpegHeader::parse(m_window.look(offset, MpegHeader::Size));
    if (!header || !header->isFreeFormat())
        return std::nullopt;
    std::size_t size = mv::freeFormatSize(*header, m_window.look(offset, freeFormatProofSize(*header)));
    if (size == 0)
        return std::nullopt;
    m_freeFormatSize = size - (header->isPadded ? slotOf(*header) : 0);
    return MpegFrame { offset, *header, size };
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
        if (!next || !isPossible(*next))
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
        if (!frame || !isPossible(*frame))
            continue;
        Chain chain = chainFrom(*frame);
        if (chain.frames >= ProvingFrames || (chain.reachesEnd && chain.frames >= 2))
            return frame;
    }
    return std::nullopt;
}

} // namespace mv
