#include "pictures/GifReader.h"

#include "Base/Core/ByteReader.h"
#include "pictures/LzwDecoder.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::uint64_t ScreenBytes = 13; // signature and logical screen descriptor
constexpr std::uint64_t DescriptorBytes = 10;
// Comments and loop counts before the first frame; each block costs a read.
constexpr int MaxBlocks = 100'000;

constexpr std::uint8_t Extension = 0x21;
constexpr std::uint8_t Descriptor = 0x2C;
constexpr std::uint8_t GraphicControl = 0xF9;

std::size_t colorCount(std::uint8_t flags) { return flags & 0x80 ? std::size_t { 2 } << (flags & 7) : 0; }

/// The four sweeps of an interlaced frame.
struct Sweep {
    int first, step;
};
constexpr Sweep kProgressive[] { { 0, 1 } };
constexpr Sweep kInterlaced[] { { 0, 8 }, { 4, 8 }, { 2, 4 }, { 1, 2 } };

} // namespace

Result<PictureReaders> GifReader::open(const SharedSource& source)
{
    std::unique_ptr<GifReader> reader(new GifReader);
    reader->m_source = source;
    MV_TRY_VOID(reader->readStart(*source));
    PictureReaders readers;
    readers.push_back(std::move(reader));
    return readers;
}

Result<void> GifReader::readStart(const ByteSource& source)
{
    MV_TRY(start, source.bytesAt(0, ScreenBytes));
    ByteReader reader(start);
    reader.skip(6);
    m_header.width = reader.u16le();
    m_header.height = reader.u16le();
    std::size_t globalColors = colorCount(reader.u8());
    m_colors.fill({ 0, 0, 0, 255 });
    MV_TRY_VOID(readColors(source, ScreenBytes, globalColors));
    MV_TRY(frame, findFrame(source, ScreenBytes + globalColors * 3));
    MV_TRY_VOID(readFrame(source, frame));
    MV_TRY_VOID(
        checkPictureSize(static_cast<std::uint64_t>(m_header.width), static_cast<std::uint64_t>(m_header.height)));
    m_header.model = m_transparentIndex < 0 && coversScreen() ? PixelModel::Rgb : PixelModel::RgbAlpha;
    return {};
}

Result<void> GifReader::readColors(const ByteSource& source, std::uint64_t offset, std::size_t count)
{
    MV_TRY(table, source.bytesAt(offset, count * 3));
    for (std::size_t i = 0; i < count; i++)
        std::copy_n(&table[i * 3], 3, m_colors[i].begin());
    return {};
}

/// Passes the extensions before the first frame; the last graphic control among them is the frame's.
Result<std::uint64_t> GifReader::findFrame(const ByteSource& source, std::uint64_t offset)
{
    for (int count = 0; count < MaxBlocks; count++) {
        MV_TRY(type, source.bytesAt(offset, 1));
        if (type[0] == Descriptor)
            return offset;
        if (type[0] != Extension)
            return Error { Error::Kind::Format, "a GIF without a frame" };
        MV_TRY(label, source.bytesAt(offset + 1, 2));
        if (label[0] == GraphicControl && label[1] >= 4) {
            MV_TRY(control, source.bytesAt(offset + 3, 4));
            m_transparentIndex = control[0] & 1 ? control[3] : -1;
        }
        offset += 2;
        for (std::uint8_t length = label[1]; length != 0 && count < MaxBlocks; count++) {
            offset += 1U + length;
            MV_TRY(next, source.bytesAt(offset, 1));
            length = next[0];
        }
        offset++;
    }
    return Error { Error::Kind::Limit, "a GIF without a frame" };
}

Result<void> GifReader::readFrame(const ByteSource& source, std::uint64_t offset)
{
    MV_TRY(descriptor, source.bytesAt(offset, DescriptorBytes));
    ByteReader reader(descriptor);
    reader.skip(1);
    m_frame.x = reader.u16le();
    m_frame.y = reader.u16le();
    m_frame.width = reader.u16le();
    m_frame.height = reader.u16le();
    std::uint8_t flags = reader.u8();
    m_frame.interlaced = flags & 0x40;
    std::size_t localColors = colorCount(flags);
    MV_TRY_VOID(readColors(source, offset + DescriptorBytes, localColors));
    m_frame.dataOffset = offset + DescriptorBytes + localColors * 3;
    if (m_frame.width == 0 || m_frame.height == 0)
        return Error { Error::Kind::Format, "a GIF with an empty frame" };
    // Encoders that leave the screen empty mean the frame.
    if (m_header.width == 0)
        m_header.width = m_frame.x + m_frame.width;
    if (m_header.height == 0)
        m_header.height = m_frame.y + m_frame.height;
    if (m_transparentIndex >= 0)
        m_colors[static_cast<std::size_t>(m_transparentIndex)] = { 0, 0, 0, 0 };
    return {};
}

bool GifReader::coversScreen() const
{
    return m_frame.x == 0 && m_frame.y == 0 && m_frame.width >= m_header.width && m_frame.height >= m_header.height;
}

/// Puts a row of the frame where it belongs on the screen; what lies outside is cut off.
void GifReader::placeRow(const std::uint8_t* indices, Bytes& row) const
{
    std::size_t channels = static_cast<std::size_t>(channelsOf(m_header.model));
    int end = std::min(m_frame.x + m_frame.width, m_header.width);
    if (m_frame.x >= end)
        return;
    std::uint8_t* to = row.data() + static_cast<std::size_t>(m_frame.x) * channels;
    for (int x = m_frame.x; x < end; x++, to += channels)
        std::memcpy(to, m_colors[*indices++].data(), channels);
}

Result<void> GifReader::decode(int, int, RowSink& sink)
{
    if (!sink.begin({ m_header.width, m_header.height, m_header.model }))
        return Error { Error::Kind::Limit, "a GIF too large to draw" };
    LzwDecoder lzw(*m_source, m_frame.dataOffset);
    Bytes indices(static_cast<std::size_t>(m_frame.width));
    Bytes row(static_cast<std::size_t>(m_header.width) * channelsOf(m_header.model));
    const Bytes clearRow = row;

    bool wanted = true;
    auto deliver = [&](int y, const Bytes& pixels) {
        if (m_frame.interlaced)
            sink.scatter(y, 0, 1, pixels.data(), m_header.width);
        else
            wanted = wanted && sink.row(pixels.data());
    };
    // The clear rows above a frame make no picture of one that has no row itself.
    if (m_frame.y > 0
        && LzwDecoder(*m_source, m_frame.dataOffset).read(indices.data(), indices.size()) < indices.size())
        return {};
    for (int y = 0; y < std::min(m_frame.y, m_header.height); y++)
        deliver(y, clearRow);
    std::span<const Sweep> sweeps = kProgressive;
    if (m_frame.interlaced)
        sweeps = kInterlaced;
    bool complete = true;
    for (const Sweep& sweep : sweeps) {
        for (int y = sweep.first; complete && wanted && y < m_frame.height; y += sweep.step) {
            complete = lzw.read(indices.data(), indices.size()) == indices.size();
            if (!complete || m_frame.y + y >= m_header.height)
                continue;
            placeRow(indices.data(), row);
            deliver(m_frame.y + y, row);
        }
    }
    for (int y = m_frame.y + m_frame.height; complete && wanted && y < m_header.height; y++)
        deliver(y, clearRow);
    return {};
}

} // namespace mv
