#include "pictures/BmpReader.h"

#include "pictures/BmpRle.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace mv {

namespace {

/// One channel of pixels whose bits a mask tells apart.
class MaskedChannel {
public:
    explicit MaskedChannel(std::uint32_t mask, std::uint8_t without)
        : m_mask(mask)
    {
        if (mask == 0) {
            m_values.fill(without);
            return;
        }
        int low = std::countr_zero(mask);
        int bits = 32 - std::countl_zero(mask) - low;
        int used = std::min(bits, 8); // the rest is finer than the result
        m_shift = low + bits - used;
        unsigned largest = (1U << used) - 1;
        for (unsigned value = 0; value <= largest; ++value)
            m_values[value] = static_cast<std::uint8_t>((value * 255 + largest / 2) / largest);
    }

    std::uint8_t operator()(std::uint32_t pixel) const { return m_values[(pixel & m_mask) >> m_shift & 0xFF]; }

private:
    std::uint32_t m_mask;
    int m_shift = 0;
    std::array<std::uint8_t, 256> m_values {};
};

/// Makes pixels of the header's model out of the file's rows.
class RowExpander {
public:
    explicit RowExpander(const BmpHeader& header)
        : m_header(header)
        , m_channels { MaskedChannel(header.masks[0], 0), MaskedChannel(header.masks[1], 0),
            MaskedChannel(header.masks[2], 0), MaskedChannel(header.masks[3], 255) }
    {
    }

    void expand(const std::uint8_t* from, std::uint8_t* to) const
    {
        switch (m_header.depth) {
        case 16:
        case 32:
            expandMasked(from, to);
            break;
        case 24:
            expandTrueColor(from, to);
            break;
        default:
            expandPalette(from, to);
            break;
        }
    }

private:
    void expandPalette(const std::uint8_t* from, std::uint8_t* to) const
    {
        int depth = m_header.depth;
        int largest = (1 << depth) - 1;
        for (int x = 0; x < m_header.picture.width; ++x, to += 3) {
            std::size_t bit = static_cast<std::size_t>(x) * depth;
            int index = from[bit / 8] >> (8 - depth - static_cast<int>(bit % 8)) & largest;
            std::memcpy(to, m_header.colors[static_cast<std::size_t>(index)].data(), 3);
        }
    }
    void expandTrueColor(const std::uint8_t* from, std::uint8_t* to) const
    {
        for (int x = 0; x < m_header.picture.width; ++x, from += 3, to += 3) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
        }
    }
    void expandMasked(const std::uint8_t* from, std::uint8_t* to) const
    {
        int bytes = m_header.depth / 8;
        int channels = channelsOf(m_header.picture.model);
        for (int x = 0; x < m_header.picture.width; ++x, from += bytes, to += channels) {
            std::uint32_t pixel = static_cast<std::uint32_t>(from[0] | from[1] << 8);
            if (bytes == 4)
                pixel |= static_cast<std::uint32_t>(from[2]) << 16 | static_cast<std::uint32_t>(from[3]) << 24;
            for (int c = 0; c < channels; ++c)
                to[c] = m_channels[static_cast<std::size_t>(c)](pixel);
        }
    }

    const BmpHeader& m_header;
    std::array<MaskedChannel, 4> m_channels;
};

/// The rows of a plain file by their place in it, some of them read at once in the direction that they are asked for.
class StoredRows {
public:
    StoredRows(const ByteSource& source, const BmpHeader& header)
        : m_source(source)
        , m_header(header)
        , m_perBlock(static_cast<int>(std::clamp<std::uint64_t>(BlockBytes / header.rowBytes(), 1, MaxSourceSide)))
    {
    }

    /// Null for a row that is not there as a whole.
    const std::uint8_t* at(int row)
    {
        if (row < m_first || row >= m_first + m_count)
            read(row);
        std::size_t start = static_cast<std::size_t>(row - m_first) * m_header.rowBytes();
        return start + m_header.rowBytes() <= m_filled ? &m_block[start] : nullptr;
    }

private:
    static constexpr std::uint64_t BlockBytes = 64u << 10;

    void read(int row)
    {
        m_first = m_header.topDown ? row : std::max(0, row - m_perBlock + 1);
        m_count = m_header.topDown ? std::min(m_perBlock, m_header.picture.height - row) : row - m_first + 1;
        m_block.resize(static_cast<std::size_t>(m_count) * m_header.rowBytes());
        m_filled = m_source.readUpTo(
            m_header.dataOffset + static_cast<std::uint64_t>(m_first) * m_header.rowBytes(), m_block);
    }

    const ByteSource& m_source;
    const BmpHeader& m_header;
    int m_perBlock;
    int m_first = 0;
    int m_count = 0;
    std::size_t m_filled = 0;
    Bytes m_block;
};

} // namespace

Result<PictureReaders> BmpReader::open(const SharedSource& source)
{
    MV_TRY(header, readBmpHeader(*source));
    PictureReaders readers;
    readers.emplace_back(new BmpReader(source, std::move(header)));
    return readers;
}

Result<void> BmpReader::decode(int, int, RowSink& sink)
{
    if (!sink.begin({ m_header.picture.width, m_header.picture.height, m_header.picture.model }))
        return Error { Error::Kind::Limit, "a BMP too large to draw" };
    if (m_header.coding == BmpCoding::Plain)
        decodePlain(sink);
    else
        BmpRle(*m_source, m_header).decode(sink);
    return {};
}

/// Most files hold the bottom row first. Of one that is cut short the top is missing then and stays black.
void BmpReader::decodePlain(RowSink& sink) const
{
    int height = m_header.picture.height;
    Bytes pixels(static_cast<std::size_t>(m_header.picture.width) * channelsOf(m_header.picture.model));
    RowExpander expander(m_header);
    StoredRows rows(*m_source, m_header);
    bool complete = m_source->size() >= m_header.dataOffset + m_header.rowBytes();
    for (int y = 0; complete && y < height; ++y) {
        const std::uint8_t* row = rows.at(m_header.topDown ? y : height - 1 - y);
        if (!row && m_header.topDown)
            return;
        if (row)
            expander.expand(row, pixels.data());
        else
            std::fill(pixels.begin(), pixels.end(), std::uint8_t { 0 });
        if (!sink.row(pixels.data()))
            return;
    }
}

} // namespace mv
