#include "id3/FrameWalk.h"

#include "Base/Core/ByteReader.h"
#include "id3/FrameNames.h"
#include "id3/Syncsafe.h"

#include <algorithm>

namespace mv {

namespace {

// Frames with odd names in a row that a proof steps over.
constexpr int MaxOddRun = 1024;
// And that all proofs of a walk step over: a tag of millions of tiny odd frames costs no more than that.
constexpr int MaxOddSteps = 1 << 20;

bool isNameCharacter(std::uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

} // namespace

FrameWalk::FrameWalk(int majorVersion, ByteView bytes, bool hasExtendedHeader)
    : m_version(majorVersion)
    , m_bytes(bytes)
{
    if (hasExtendedHeader && m_version != 2)
        stepOverExtendedHeader();
}

ByteView FrameWalk::at(std::size_t position) const { return m_bytes.subspan(std::min(position, m_bytes.size())); }

std::size_t FrameWalk::paddingBegin() const
{
    if (!m_paddingBegin) {
        auto last = std::find_if(m_bytes.rbegin(), m_bytes.rend(), [](std::uint8_t byte) { return byte != 0; });
        m_paddingBegin = static_cast<std::size_t>(m_bytes.rend() - last);
    }
    return *m_paddingBegin;
}

/// Also a v2.2 name with a zero byte or blank behind it, which a wide-spread program wrote into later tags.
bool FrameWalk::isName(ByteView bytes) const
{
    if (bytes.size() < idSize() || !std::all_of(bytes.begin(), bytes.begin() + 3, isNameCharacter))
        return false;
    return m_version == 2 || isNameCharacter(bytes[3]) || isPaddedShortName(bytes);
}

bool FrameWalk::isPaddedShortName(ByteView bytes) const
{
    return m_version != 2 && (bytes[3] == 0 || bytes[3] == ' ')
        && v23FrameId(charsOf(bytes.first(3)), m_version).size() == 4;
}

std::string FrameWalk::nameOf(ByteView frame) const
{
    return std::string(charsOf(frame.first(isPaddedShortName(frame) ? 3 : idSize())));
}

/// Anything but zero bytes, which are padding; only the last of four may be one.
bool FrameWalk::mayBeFrame(ByteView bytes) const
{
    return bytes.size() >= headerSize() && std::find(bytes.begin(), bytes.begin() + 3, 0) == bytes.begin() + 3;
}

FrameWalk::Sizes FrameWalk::sizesAt(std::size_t position) const
{
    ByteView header = at(position);
    if (m_version == 2) {
        std::uint32_t size = ByteReader(header.subspan(3, 3)).u24be();
        return { size, size };
    }
    ByteView field = header.subspan(4, 4);
    std::uint32_t plain = ByteReader(field).u32be();
    if (!isSyncsafe(field))
        return { plain, plain };
    return m_version == 4 ? Sizes { syncsafe32(field), plain } : Sizes { plain, syncsafe32(field) };
}

/// True at a zero byte behind which there are others: inside of a frame, or at padding with something in it.
bool FrameWalk::isLoneZero(std::uint64_t position) const
{
    return position < m_bytes.size() && m_bytes[static_cast<std::size_t>(position)] == 0 && position < paddingBegin();
}

/// True when a frame may end here: at the end of the tag, at padding, or at the next frame.
bool FrameWalk::isBorder(std::uint64_t position) const
{
    if (position > m_bytes.size())
        return false;
    ByteView rest = at(static_cast<std::size_t>(position));
    return rest.empty() || rest[0] == 0 || isName(rest) || sizeOfOddFrame(static_cast<std::size_t>(position));
}

/// The same without trust, for the end of a frame with an odd name: padding reaches to the end and is not taken for the
/// size of an empty frame, and a next frame lies in the tag.
bool FrameWalk::isProvenBorder(std::uint64_t position, std::uint32_t frameSize) const
{
    for (int odd = 0; odd < MaxOddRun && position <= m_bytes.size(); ++odd) {
        if (++m_oddSteps > MaxOddSteps)
            return false;
        if (position >= paddingBegin())
            return frameSize > 0;
        auto place = static_cast<std::size_t>(position);
        if (!mayBeFrame(at(place)))
            return false;
        Sizes sizes = sizesAt(place);
        std::uint64_t content = position + headerSize();
        if (isName(at(place)))
            return content + std::min(sizes.own, sizes.other) <= m_bytes.size();
        frameSize = sizes.own;
        position = content + frameSize;
    }
    return false;
}

std::optional<std::uint32_t> FrameWalk::sizeOfOddFrame(std::size_t position) const
{
    if (!mayBeFrame(at(position)))
        return std::nullopt;
    Sizes sizes = sizesAt(position);
    for (std::uint32_t size : { sizes.own, sizes.other }) {
        if (isProvenBorder(std::uint64_t { position } + headerSize() + size, size))
            return size;
    }
    return std::nullopt;
}

/// The size that the version writes, unless only the other way of writing it leads to a border. UTF-16 and pictures
/// have many zeros: one inside of the tag is a border only where the other way leads to none that is better, and at the
/// zeros of padding a frame ends as the frames before it did. Nothing for a frame that reaches over the tag's end.
std::optional<std::uint32_t> FrameWalk::frameSize()
{
    if (!isName(at(m_position)))
        return sizeOfOddFrame(m_position);
    const Sizes sizes = sizesAt(m_position);
    const std::uint64_t content = m_position + headerSize();
    std::uint32_t size = sizes.own;
    if (sizes.other != sizes.own) {
        const std::uint64_t own = content + sizes.own;
        const std::uint64_t other = content + sizes.other;
        const bool isWrong = !isBorder(own);
        const bool isZero = !isWrong && own < m_bytes.size() && at(static_cast<std::size_t>(own))[0] == 0;
        bool isDoubtful = isWrong || (isZero && !isLoneZero(other) && (isLoneZero(own) || m_hasOtherSizes));
        if (isDoubtful && isBorder(other)) {
            size = sizes.other;
            m_hasOtherSizes |= isWrong;
        }
    }
    return content + size <= m_bytes.size() ? std::optional(size) : std::nullopt;
}

std::optional<ByteView> FrameWalk::next()
{
    ByteView rest = at(m_position);
    // What is shorter than a header holds no frame.
    if (!m_reachedEnd || rest.size() < headerSize() || rest[0] == 0)
        return std::nullopt;
    auto size = frameSize();
    if (!size) {
        m_reachedEnd = false;
        return std::nullopt;
    }
    ByteView frame = rest.first(headerSize() + *size);
    m_position += frame.size();
    return frame;
}

/// v2.3 does not count the size field itself, v2.4 does and writes it syncsafe; each is written the other way, too.
void FrameWalk::stepOverExtendedHeader()
{
    constexpr std::uint64_t Smallest = 6;
    if (m_bytes.size() < 4 || paddingBegin() == 0 || isName(m_bytes))
        return;
    std::uint32_t plain = ByteReader(m_bytes).u32be();
    std::uint64_t exclusive = std::uint64_t { plain } + 4;
    std::uint64_t inclusive = syncsafe32(m_bytes);
    const std::uint64_t inOrder[]
        = { m_version == 3 ? exclusive : inclusive, m_version == 3 ? inclusive : exclusive, plain, inclusive + 4 };
    auto size = std::find_if(
        std::begin(inOrder), std::end(inOrder), [&](std::uint64_t each) { return each >= Smallest && isBorder(each); });
    if (size != std::end(inOrder))
        m_position = static_cast<std::size_t>(*size);
    else
        m_reachedEnd = sizeOfOddFrame(0).has_value();
}

} // namespace mv
