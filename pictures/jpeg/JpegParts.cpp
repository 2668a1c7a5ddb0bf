#include "pictures/jpeg/JpegParts.h"

#include "Base/Core/ByteReader.h"
#include "pictures/jpeg/JpegMarkerWalk.h"

#include <algorithm>

namespace mv {

namespace {

constexpr int MaxSampling = 4;
constexpr std::size_t MaxComponents = 4;
// A mean of a block has 11 bits; the standard's largest number, and the shift that still fits 16 bits.
constexpr int MaxNumberBits = 15;
constexpr int MaxLowBit = 13;

Error unsupported(const char* what) { return { Error::Kind::Unsupported, what }; }
Error malformed(const char* what) { return { Error::Kind::Format, what }; }

constexpr int ceilDivide(std::int64_t value, int by) { return static_cast<int>((value + by - 1) / by); }

} // namespace

int JpegFrame::blocksAcross(const JpegComponent& component) const
{
    return ceilDivide(std::int64_t { width } * component.h, maxH * JpegBlockSide);
}

int JpegFrame::blocksDown(const JpegComponent& component) const
{
    return ceilDivide(std::int64_t { height } * component.v, maxV * JpegBlockSide);
}

Result<JpegFrame> JpegFrame::parse(int marker, ByteView segment)
{
    if (marker < 0xC0 || marker > 0xC2)
        return unsupported("a JPEG that is lossless or not Huffman-coded");
    ByteReader reader(segment);
    JpegFrame frame;
    frame.progressive = marker == 0xC2;
    int precision = reader.u8();
    frame.height = reader.u16be();
    frame.width = reader.u16be();
    std::size_t count = reader.u8();
    if (precision != 8 || frame.width == 0 || frame.height == 0 || count == 0 || count == 2 || count > MaxComponents)
        return unsupported("a JPEG of an odd kind");
    for (std::size_t i = 0; i < count; ++i) {
        JpegComponent component;
        component.id = reader.u8();
        int sampling = reader.u8();
        component.h = sampling >> 4;
        component.v = sampling & 15;
        component.quantTable = reader.u8();
        if (component.h < 1 || component.h > MaxSampling || component.v < 1 || component.v > MaxSampling
            || component.quantTable >= static_cast<int>(JpegTables::Slots))
            return unsupported("a JPEG of odd components");
        frame.components.push_back(component);
    }
    if (reader.failed())
        return malformed("a short frame header");
    // The blocks of a single component stand one after the other whatever its sampling says.
    if (count == 1)
        frame.components[0].h = frame.components[0].v = 1;
    for (const JpegComponent& component : frame.components) {
        frame.maxH = std::max(frame.maxH, component.h);
        frame.maxV = std::max(frame.maxV, component.v);
    }
    return frame;
}

Result<JpegScanHeader> JpegScanHeader::parse(const JpegFrame& frame, ByteView segment)
{
    ByteReader reader(segment);
    JpegScanHeader scan;
    std::size_t count = reader.u8();
    if (count == 0 || count > frame.components.size())
        return malformed("a scan of too many components");
    for (std::size_t i = 0; i < count; ++i) {
        int id = reader.u8();
        int tables = reader.u8();
        auto found = std::find_if(frame.components.begin(), frame.components.end(),
            [&](const JpegComponent& component) { return component.id == id; });
        Part part { static_cast<std::size_t>(found - frame.components.begin()), tables >> 4, tables & 15 };
        bool again = std::any_of(
            scan.parts.begin(), scan.parts.end(), [&](const Part& other) { return other.component == part.component; });
        if (found == frame.components.end() || again || part.dcTable >= static_cast<int>(JpegTables::Slots)
            || part.acTable >= static_cast<int>(JpegTables::Slots))
            return malformed("a scan of components that are not there");
        scan.parts.push_back(part);
    }
    scan.spectralStart = reader.u8();
    scan.spectralEnd = reader.u8();
    int bits = reader.u8();
    scan.high = bits >> 4;
    scan.low = bits & 15;
    bool means = scan.spectralStart == 0;
    if (reader.failed() || scan.spectralStart > scan.spectralEnd || scan.spectralEnd > 63 || scan.low > MaxLowBit)
        return malformed("a scan of an odd range");
    if (frame.progressive && (means ? scan.spectralEnd != 0 : count != 1))
        return malformed("a progressive scan of an odd range");
    return scan;
}

Result<void> JpegTables::take(int marker, ByteView segment)
{
    if (marker == jpeg_marker::QuantTables)
        return takeQuant(segment);
    if (marker == jpeg_marker::HuffmanTables)
        return takeHuffman(segment);
    if (marker == jpeg_marker::RestartInterval) {
        ByteReader reader(segment);
        restartInterval = reader.u16be();
        if (reader.failed())
            return malformed("a short restart interval");
    }
    return {};
}

Result<void> JpegTables::takeQuant(ByteView segment)
{
    ByteReader reader(segment);
    while (!reader.atEnd() && !reader.failed()) {
        int head = reader.u8();
        QuantTable table {};
        for (std::uint16_t& value : table)
            value = head >> 4 ? reader.u16be() : reader.u8();
        if (reader.failed() || (head & 15) >= static_cast<int>(Slots))
            return unsupported("a quantisation table of an odd size");
        quant[static_cast<std::size_t>(head & 15)] = table;
    }
    return {};
}

Result<void> JpegTables::takeHuffman(ByteView segment)
{
    ByteReader reader(segment);
    while (!reader.atEnd() && !reader.failed()) {
        int head = reader.u8();
        ByteView counts = reader.take(16);
        std::size_t total = 0;
        for (std::uint8_t count : counts)
            total += count;
        ByteView symbols = reader.take(total);
        if (reader.failed() || total > 256 || (head & 15) >= static_cast<int>(Slots) || head >> 4 > 1)
            return malformed("a Huffman table of an odd size");
        bool means = head >> 4 == 0;
        if (means && std::any_of(symbols.begin(), symbols.end(), [](int symbol) { return symbol > MaxNumberBits; }))
            return malformed("a Huffman table of odd symbols");
        auto& slot = (means ? dc : ac)[static_cast<std::size_t>(head & 15)];
        slot = HuffmanCode { Bytes(counts.begin(), counts.end()), Bytes(symbols.begin(), symbols.end()) };
    }
    return {};
}

} // namespace mv
