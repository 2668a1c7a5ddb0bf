#include "mp3/FrameStream.h"

#include <algorithm>

namespace mv {

bool Mp3FrameStream::append(ByteView bytes)
{
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    while (m_isWell && parseFrame()) { }
    return m_isWell;
}

bool Mp3FrameStream::parseFrame()
{
    ByteView left = ByteView(m_bytes).subspan(m_parsed);
    if (left.size() < MpegHeader::Size)
        return false;
    auto header = MpegHeader::parse(left);
    m_isWell = header && !header->isFreeFormat() && (!m_header || header->continues(*m_header));
    if (!m_isWell || left.size() < header->frameSize())
        return false;
    auto facts = Mp3FrameFacts::parse(*header, left);
    m_isWell = facts && (m_frames.empty() || facts->channels == m_frames.front().facts.channels);
    if (!m_isWell)
        return false;
    ByteView content = left.subspan(MpegHeader::Size, facts->size - MpegHeader::Size);
    bool isRoom = !m_header && std::all_of(content.begin(), content.end(), [](std::uint8_t byte) { return byte == 0; });
    if (isRoom)
        m_tableRoom = facts->size;
    else
        m_frames.push_back({ m_parsed, *facts });
    m_header = m_header ? m_header : header;
    m_parsed += facts->size;
    return true;
}

ByteView Mp3FrameStream::bytes(std::size_t number) const
{
    return ByteView(m_bytes).subspan(frame(number).offset, facts(number).size);
}

std::size_t Mp3FrameStream::roomBetween(std::size_t from, std::size_t to) const
{
    std::size_t room = 0;
    for (; from < to; ++from)
        room += facts(from).room;
    return room;
}

Bytes Mp3FrameStream::mainDataBefore(std::size_t number, std::size_t count) const
{
    Bytes data(count);
    while (count > 0) {
        const Frame& before = frame(--number);
        std::size_t part = std::min(count, before.facts.room);
        auto end = m_bytes.begin() + static_cast<std::ptrdiff_t>(before.offset + before.facts.size);
        count -= part;
        std::copy(end - static_cast<std::ptrdiff_t>(part), end, data.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return data;
}

void Mp3FrameStream::replaceMainDataBefore(std::size_t number, ByteView data)
{
    while (!data.empty()) {
        const Frame& before = frame(--number);
        ByteView part = data.last(std::min(data.size(), before.facts.room));
        auto end = m_bytes.begin() + static_cast<std::ptrdiff_t>(before.offset + before.facts.size);
        std::copy(part.begin(), part.end(), end - static_cast<std::ptrdiff_t>(part.size()));
        data = data.first(data.size() - part.size());
    }
}

} // namespace mv
