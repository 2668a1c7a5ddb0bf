#include "mp3/StreamSummary.h"

#include "id3/MpegHeader.h"

#include <algorithm>

namespace mv {

namespace {

// Offsets from the mark "Xing" or "Info" on, as LAME writes the table: all four flags set.
constexpr std::size_t FlagsOffset = 4;
constexpr std::size_t FramesOffset = 8;
constexpr std::size_t BytesOffset = 12;
constexpr std::size_t SeekOffset = 16;
constexpr std::size_t LengthOffset = 148;
constexpr std::size_t ChecksumOffset = 152;
constexpr std::size_t TableChecksumOffset = 154;
constexpr std::size_t TableSize = 156;
constexpr std::uint8_t AllFlags = 0x0f;

/// CRC-16 with the polynomial 0x8005, the least significant bit first.
constexpr std::array<std::uint16_t, 256> checksumTable()
{
    std::array<std::uint16_t, 256> table {};
    for (unsigned i = 0; i < table.size(); ++i) {
        unsigned value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = value & 1 ? value >> 1 ^ 0xA001 : value >> 1;
        table[i] = static_cast<std::uint16_t>(value);
    }
    return table;
}

std::uint16_t checksum(std::uint16_t sum, ByteView bytes)
{
    static constexpr auto Table = checksumTable();
    for (std::uint8_t byte : bytes)
        sum = static_cast<std::uint16_t>(sum >> 8 ^ Table[(sum ^ byte) & 0xff]);
    return sum;
}

void put(Bytes& bytes, std::size_t offset, std::uint64_t value, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
        bytes[offset + i] = static_cast<std::uint8_t>(value >> 8 * (size - 1 - i));
}

/// Where the table's mark stands in the frame; its end where there is none.
std::size_t tableOffset(ByteView frame)
{
    for (std::string_view mark : { "Xing", "Info" }) {
        std::size_t offset = charsOf(frame).substr(0, 64).find(mark);
        if (offset != std::string_view::npos && frame.size() - offset >= TableSize
            && frame[offset + FlagsOffset + 3] == AllFlags)
            return offset;
    }
    return frame.size();
}

constexpr std::uint64_t MaxNumber = 0xffffffff;

} // namespace

void Mp3StreamSummary::add(ByteView frame)
{
    if (m_frames % m_distance == 0) {
        if (m_places.size() == MaxPlaces) {
            for (std::size_t i = 0; i < MaxPlaces / 2; ++i)
                m_places[i] = m_places[2 * i];
            m_places.resize(MaxPlaces / 2);
            m_distance *= 2;
        }
        m_places.push_back(m_bytes);
    }
    ++m_frames;
    m_bytes += frame.size();
    m_checksum = checksum(m_checksum, frame);
}

bool Mp3StreamSummary::describeIn(Bytes& tableFrame) const
{
    std::size_t table = tableOffset(tableFrame);
    if (table == tableFrame.size())
        return false;
    std::uint64_t size = std::min(m_bytes + tableFrame.size(), MaxNumber);
    put(tableFrame, table + FramesOffset, std::min(m_frames, MaxNumber), 4);
    put(tableFrame, table + BytesOffset, size, 4);
    auto seeks = seekTable(tableFrame.size());
    std::copy(seeks.begin(), seeks.end(), tableFrame.begin() + static_cast<std::ptrdiff_t>(table + SeekOffset));
    put(tableFrame, table + LengthOffset, size, 4);
    put(tableFrame, table + ChecksumOffset, m_checksum, 2);
    put(tableFrame, table + TableChecksumOffset, checksum(0, ByteView(tableFrame).first(table + TableChecksumOffset)),
        2);
    return true;
}

/// For each hundredth of the time how many 256ths of the bytes lie before it, the table's own among them.
std::array<std::uint8_t, Mp3StreamSummary::SeekEntries> Mp3StreamSummary::seekTable(std::uint64_t tableSize) const
{
    std::array<std::uint8_t, SeekEntries> table {};
    for (std::size_t i = 1; i < SeekEntries && m_bytes > 0; ++i) {
        std::uint64_t place = placeOf(static_cast<double>(i * m_frames) / SeekEntries) + tableSize;
        table[i] = static_cast<std::uint8_t>(std::min<std::uint64_t>(256 * place / (m_bytes + tableSize), 255));
    }
    return table;
}

/// Between two remembered places as if all frames there had one size.
std::uint64_t Mp3StreamSummary::placeOf(double frame) const
{
    double index = frame / static_cast<double>(m_distance);
    auto before = std::min(static_cast<std::size_t>(index), m_places.size() - 1);
    bool isLast = before + 1 == m_places.size();
    auto end = static_cast<double>(isLast ? m_bytes : m_places[before + 1]);
    double width = isLast ? static_cast<double>(m_frames - before * m_distance) / static_cast<double>(m_distance) : 1;
    auto begin = static_cast<double>(m_places[before]);
    return static_cast<std::uint64_t>(begin + (end - begin) * (index - static_cast<double>(before)) / width);
}

} // namespace mv
