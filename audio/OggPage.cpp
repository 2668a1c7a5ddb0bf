#include "audio/OggPage.h"

#include "Base/Core/ByteReader.h"

#include <array>
#include <string_view>

namespace mv {

namespace {

constexpr std::string_view Capture = "OggS";
constexpr std::size_t ChecksumOffset = 22;
constexpr std::size_t ChecksumSize = 4;

constexpr std::array<std::uint32_t, 256> CrcTable = [] {
    std::array<std::uint32_t, 256> table {};
    for (std::uint32_t value = 0; value < 256; ++value) {
        std::uint32_t crc = value << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x80000000 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
        table[value] = crc;
    }
    return table;
}();

std::uint32_t crc32(std::uint32_t state, ByteView bytes)
{
    for (std::uint8_t byte : bytes)
        state = state << 8 ^ CrcTable[state >> 24 ^ byte];
    return state;
}

} // namespace

std::uint32_t oggChecksum(ByteView page)
{
    constexpr std::array<std::uint8_t, ChecksumSize> Zeros {};
    std::uint32_t state = crc32(0, page.first(ChecksumOffset));
    state = crc32(state, Zeros);
    return crc32(state, page.subspan(ChecksumOffset + ChecksumSize));
}

std::optional<OggPage> OggPage::parse(ByteView bytes)
{
    constexpr unsigned BeginsStreamFlag = 2;
    ByteReader reader(bytes);
    if (charsOf(reader.take(Capture.size())) != Capture || reader.u8() != 0)
        return std::nullopt;
    OggPage page;
    page.beginsStream = reader.u8() & BeginsStreamFlag;
    page.granule = reader.u64le();
    page.serial = reader.u32le();
    page.number = reader.u32le();
    std::uint32_t checksum = reader.u32le();
    std::size_t bodySize = 0;
    for (std::uint8_t segment : reader.take(reader.u8())) {
        bodySize += segment;
        page.packetEnds += segment < 255; // a full one goes on in the next
    }
    page.body = reader.take(bodySize);
    if (reader.failed())
        return std::nullopt;
    page.size = reader.position();
    if (oggChecksum(bytes.first(page.size)) != checksum)
        return std::nullopt;
    return page;
}

std::optional<OggPage> OggPage::find(ByteView bytes, std::size_t& from)
{
    std::string_view text = charsOf(bytes);
    for (std::size_t at = text.find(Capture, from); at != text.npos; at = text.find(Capture, at + 1)) {
        if (auto page = parse(bytes.subspan(at))) {
            from = at;
            return page;
        }
    }
    return std::nullopt;
}

} // namespace mv
