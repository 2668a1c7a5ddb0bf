#include "pictures/PngReader.h"

#include "Base/Core/ByteReader.h"
#include "pictures/Inflater.h"
#include "pictures/PngFilter.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t InputBytes = 64u << 10;
constexpr std::size_t OutputBytes = 64u << 10;

/// The pixel data of all its chunks, decompressed.
class PixelStream {
public:
    PixelStream(const ByteSource& source, std::uint64_t firstChunk)
        : m_source(source)
        , m_offset(firstChunk)
        , m_input(InputBytes)
        , m_output(OutputBytes)
    {
    }

    /// False when the data ends before.
    bool read(std::uint8_t* target, std::size_t count)
    {
        while (count > 0) {
            if (m_used == m_filled && !refill())
                return false;
            std::size_t part = std::min(count, m_filled - m_used);
            std::memcpy(target, &m_output[m_used], part);
            m_used += part;
            target += part;
            count -= part;
        }
        return true;
    }

private:
    bool refill()
    {
        m_used = 0;
        // The decompressor may still hold pixels when all of its input is used up, so it is asked first.
        while ((m_filled = m_inflater.inflate(m_output)) == 0) {
            if (!m_inflater.wantsInput() || !readInput())
                return false;
        }
        return true;
    }
    bool readInput()
    {
        while (m_left == 0) {
            if (!enterChunk())
                return false;
        }
        std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(m_left, m_input.size()));
        std::size_t count = m_source.readUpTo(m_offset, { m_input.data(), wanted });
        m_offset += count;
        m_left -= count;
        if (m_left == 0)
            m_offset += 4; // its checksum; the compressed stream has its own structure to fail on
        m_inflater.giveInput({ m_input.data(), count });
        return count > 0;
    }
    bool enterChunk()
    {
        std::uint8_t start[8];
        if (m_source.readUpTo(m_offset, start) != sizeof start)
            return false;
        ByteReader reader(start);
        m_left = reader.u32be();
        m_offset += sizeof start;
        if (m_left == 0)
            m_offset += 4;
        return reader.u32be() == fourCC("IDAT");
    }

    const ByteSource& m_source;
    std::uint64_t m_offset;
    std::uint64_t m_left = 0; ///< of the chunk
    Bytes m_input;
    Bytes m_output;
    std::size_t m_used = 0;
    std::size_t m_filled = 0;
    Inflater m_inflater;
};

/// Makes 8-bit pixels of the header's model out of unfiltered rows.
class RowExpander {
public:
    explicit RowExpander(const PngHeader& header)
        : m_header(header)
        , m_channels(channelsOf(header.picture.model))
    {
    }

    /// May answer `row` itself when there is nothing to do.
    const std::uint8_t* expand(const std::uint8_t* row, int width)
    {
        if (m_header.depth == 8 && !m_header.palette && !m_header.hasTransparent)
            return row;
        m_pixels.resize(static_cast<std::size_t>(width) * m_channels);
        if (m_header.palette)
            expandPalette(row, width);
        else if (m_header.depth == 16)
            expandWide(row, width);
        else
            expandNarrow(row, width);
        return m_pixels.data();
    }

private:
    int sampleAt(const std::uint8_t* row, std::size_t index) const
    {
        if (m_header.depth == 8)
            return row[index];
        std::size_t bit = index * m_header.depth;
        int shift = 8 - m_header.depth - static_cast<int>(bit % 8);
        return row[bit / 8] >> shift & ((1 << m_header.depth) - 1);
    }
    void expandPalette(const std::uint8_t* row, int width)
    {
        std::uint8_t* to = m_pixels.data();
        for (int x = 0; x < width; ++x, to += m_channels) {
            const auto& color = m_header.colors[static_cast<std::size_t>(sampleAt(row, static_cast<std::size_t>(x)))];
            std::memcpy(to, color.data(), static_cast<std::size_t>(m_channels));
        }
    }
    void expandNarrow(const std::uint8_t* row, int width)
    {
        int largest = (1 << m_header.depth) - 1;
        std::uint8_t* to = m_pixels.data();
        for (int x = 0; x < width; ++x, to += m_channels) {
            bool transparent = m_header.hasTransparent;
            for (int c = 0; c < m_header.samples; ++c) {
                int sample = sampleAt(row, static_cast<std::size_t>(x) * m_header.samples + c);
                transparent = transparent && sample == m_header.transparent[static_cast<std::size_t>(c)];
                to[c] = static_cast<std::uint8_t>(sample * 255 / largest);
            }
            if (m_header.hasTransparent)
                to[m_header.samples] = transparent ? 0 : 255;
        }
    }
    void expandWide(const std::uint8_t* row, int width)
    {
        std::uint8_t* to = m_pixels.data();
        for (int x = 0; x < width; ++x, to += m_channels) {
            bool transparent = m_header.hasTransparent;
            for (int c = 0; c < m_header.samples; ++c, row += 2) {
                unsigned sample = static_cast<unsigned>(row[0] << 8 | row[1]);
                transparent = transparent && sample == m_header.transparent[static_cast<std::size_t>(c)];
                to[c] = static_cast<std::uint8_t>((sample * 255 + 32895) >> 16);
            }
            if (m_header.hasTransparent)
                to[m_header.samples] = transparent ? 0 : 255;
        }
    }

    const PngHeader& m_header;
    int m_channels;
    Bytes m_pixels;
};

/// Columns x, x + dx... of rows y, y + dy...
struct Pass {
    int x, y, dx, dy;
};

constexpr Pass Whole { 0, 0, 1, 1 };
constexpr Pass Interlaced[] {
    { 0, 0, 8, 8 },
    { 4, 0, 8, 8 },
    { 0, 4, 4, 8 },
    { 2, 0, 4, 4 },
    { 0, 2, 2, 4 },
    { 1, 0, 2, 2 },
    { 0, 1, 1, 2 },
};

/// Decodes one pass; false when the data ends or no more rows are wanted.
bool decodePass(const PngHeader& header, const Pass& pass, PixelStream& stream, RowSink& sink)
{
    int width = (header.picture.width - pass.x + pass.dx - 1) / pass.dx;
    if (width <= 0)
        return true;
    std::size_t rowBytes = header.rowBytes(width);
    // The byte before a row names its filter.
    Bytes current(rowBytes + 1 + PngFilterSlack);
    Bytes above(rowBytes + 1 + PngFilterSlack);
    RowExpander expander(header);
    for (int y = pass.y; y < header.picture.height; y += pass.dy) {
        if (!stream.read(current.data(), rowBytes + 1)
            || !undoPngFilter(current[0], &current[1], &above[1], rowBytes, header.filterDistance()))
            return false;
        const std::uint8_t* pixels = expander.expand(&current[1], width);
        if (header.interlaced)
            sink.scatter(y, pass.x, pass.dx, pixels, width);
        else if (!sink.row(pixels))
            return false;
        std::swap(current, above);
    }
    return true;
}

} // namespace

Result<PictureReaders> PngReader::open(const SharedSource& source)
{
    MV_TRY(header, readPngHeader(*source));
    PictureReaders readers;
    readers.emplace_back(new PngReader(source, std::move(header)));
    return readers;
}

Result<void> PngReader::decode(int, int, RowSink& sink)
{
    if (!sink.begin({ m_header.picture.width, m_header.picture.height, m_header.picture.model }))
        return Error { Error::Kind::Limit, "a PNG too large to draw" };
    PixelStream stream(*m_source, m_header.dataOffset);
    if (!m_header.interlaced) {
        decodePass(m_header, Whole, stream, sink);
        return {};
    }
    for (const Pass& pass : Interlaced) {
        if (!decodePass(m_header, pass, stream, sink))
            break;
    }
    return {};
}

} // namespace mv
