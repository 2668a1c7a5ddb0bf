#include "pictures/GifReader.h"

#include "pictures/GifInput.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

/// The four sweeps of an interlaced frame.
struct Sweep {
    int first, step;
};
constexpr Sweep Progressive[] { { 0, 1 } };
constexpr Sweep Interlaced[] { { 0, 8 }, { 4, 8 }, { 2, 4 }, { 1, 2 } };

std::span<const Sweep> sweepsOf(bool interlaced)
{
    if (interlaced)
        return Interlaced;
    return Progressive;
}

bool readIndices(GifFileType& gif, Bytes& indices)
{
    return DGifGetLine(&gif, indices.data(), static_cast<int>(indices.size())) == GIF_OK;
}

} // namespace

Result<PictureReaders> GifReader::open(const SharedSource& source)
{
    MV_TRY(input, GifInput::open(*source));
    std::unique_ptr<GifReader> reader(new GifReader(source));
    MV_TRY_VOID(reader->takeStart(input->gif(), input->transparentIndex()));
    PictureReaders readers;
    readers.push_back(std::move(reader));
    return readers;
}

Result<void> GifReader::takeStart(const GifFileType& gif, int transparentIndex)
{
    m_frame = { gif.Image.Left, gif.Image.Top, gif.Image.Width, gif.Image.Height, gif.Image.Interlace };
    if (m_frame.width == 0 || m_frame.height == 0)
        return Error { Error::Kind::Format, "a GIF with an empty frame" };
    // Encoders that leave the screen empty mean the frame.
    m_header.width = gif.SWidth != 0 ? gif.SWidth : m_frame.x + m_frame.width;
    m_header.height = gif.SHeight != 0 ? gif.SHeight : m_frame.y + m_frame.height;
    // A frame's own table covers the beginning of the common one.
    for (const ColorMapObject* table : { gif.SColorMap, gif.Image.ColorMap }) {
        for (int i = 0; table && i < table->ColorCount; ++i) {
            const GifColorType& color = table->Colors[i];
            m_colors[static_cast<std::size_t>(i)] = { color.Red, color.Green, color.Blue, 255 };
        }
    }
    if (transparentIndex >= 0)
        m_colors[static_cast<std::size_t>(transparentIndex)] = { 0, 0, 0, 0 };
    m_header.model = transparentIndex < 0 && coversScreen() ? PixelModel::Rgb : PixelModel::RgbAlpha;
    return checkPictureSize(static_cast<std::uint64_t>(m_header.width), static_cast<std::uint64_t>(m_header.height));
}

bool GifReader::coversScreen() const
{
    return m_frame.x == 0 && m_frame.y == 0 && m_frame.width >= m_header.width && m_frame.height >= m_header.height;
}

/// Puts a row of the frame where it belongs on the screen; what lies outside is cut off.
void GifReader::placeRow(const Bytes& indices, Bytes& row) const
{
    std::size_t channels = static_cast<std::size_t>(channelsOf(m_header.model));
    int end = std::min(m_frame.x + m_frame.width, m_header.width);
    if (m_frame.x >= end)
        return;
    std::uint8_t* to = row.data() + static_cast<std::size_t>(m_frame.x) * channels;
    const std::uint8_t* index = indices.data();
    for (int x = m_frame.x; x < end; ++x, to += channels)
        std::memcpy(to, m_colors[*index++].data(), channels);
}

Result<void> GifReader::decode(int, int, RowSink& sink)
{
    if (!sink.begin({ m_header.width, m_header.height, m_header.model }))
        return Error { Error::Kind::Limit, "a GIF too large to draw" };
    MV_TRY(input, GifInput::open(*m_source));
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
    auto deliverClear = [&](int from, int to) {
        for (int y = from; wanted && y < std::min(to, m_header.height); ++y)
            deliver(y, clearRow);
    };
    bool complete = input->hasPixels() && readIndices(input->gif(), indices);
    // The clear rows above a frame make no picture of one that has no row itself.
    if (!complete)
        return {};
    deliverClear(0, m_frame.y);
    for (const Sweep& sweep : sweepsOf(m_frame.interlaced)) {
        for (int y = sweep.first; complete && wanted && y < m_frame.height; y += sweep.step) {
            complete = y == 0 || readIndices(input->gif(), indices);
            if (!complete || m_frame.y + y >= m_header.height)
                continue;
            placeRow(indices, row);
            deliver(m_frame.y + y, row);
        }
    }
    if (complete)
        deliverClear(m_frame.y + m_frame.height, m_header.height);
    return {};
}

} // namespace mv
