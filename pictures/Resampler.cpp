#include "pictures/Resampler.h"

#include "pictures/RowKernels.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

// Boxes shrink only down to this many times the target, so that the Lanczos weights still shape what is seen.
constexpr int BoxReserve = 3;
// 256 rows of 255 still fit the 16-bit sums; whatever ratio is left, the weights take.
constexpr int MaxBox = 256;
std::uint8_t timesAlpha(unsigned value, unsigned alpha)
{
    unsigned product = value * alpha + 128;
    return static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
}

template <int Channels> void premultiplyRow(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels)
{
    for (std::size_t i = 0; i < pixels; ++i, from += Channels, to += Channels) {
        unsigned alpha = from[Channels - 1];
        for (int c = 0; c < Channels - 1; ++c)
            to[c] = timesAlpha(from[c], alpha);
        to[Channels - 1] = static_cast<std::uint8_t>(alpha);
    }
}

void premultiply(int channels, const std::uint8_t* from, std::uint8_t* to, std::size_t pixels)
{
    if (channels == 2)
        premultiplyRow<2>(from, to, pixels);
    else
        premultiplyRow<4>(from, to, pixels);
}

void addRow(std::uint16_t* __restrict sums, const std::uint8_t* __restrict row, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        sums[i] = static_cast<std::uint16_t>(sums[i] + row[i]);
}

int boxFor(int source, int target)
{
    // In 64 bits: a target may be as large as a thumbnail may be.
    return static_cast<int>(std::clamp<std::int64_t>(source / (std::int64_t { target } * BoxReserve), 1, MaxBox));
}

} // namespace

Resampler::Resampler(int targetWidth, int targetHeight, int lobes)
    : m_targetWidth(targetWidth)
    , m_targetHeight(targetHeight)
    , m_lobes(lobes)
{
}

bool Resampler::begin(const RowLayout& layout)
{
    if (layout.width < 1 || layout.height < 1)
        return false;
    m_layout = layout;
    m_channels = channelsOf(layout.model);
    double spanWidth = layout.spanWidth > 0 ? layout.spanWidth : layout.width;
    double spanHeight = layout.spanHeight > 0 ? layout.spanHeight : layout.height;
    m_pixels.assign(static_cast<std::size_t>(m_targetWidth) * m_targetHeight * m_channels, 0);
    m_copy = layout.model != PixelModel::Ycc && layout.width == m_targetWidth && layout.height == m_targetHeight
        && spanWidth == layout.width && spanHeight == layout.height;
    if (m_copy)
        return true;

    m_boxWidth = boxFor(layout.width, m_targetWidth);
    m_boxHeight = boxFor(layout.height, m_targetHeight);
    m_middleWidth = (layout.width + m_boxWidth - 1) / m_boxWidth;
    m_middleHeight = (layout.height + m_boxHeight - 1) / m_boxHeight;
    LanczosTaps columns(m_middleWidth, spanWidth / m_boxWidth / m_targetWidth, m_targetWidth, m_lobes);
    m_columns = ColumnKernels(columns, m_targetWidth, layout.model);
    m_rows = LanczosTaps(m_middleHeight, spanHeight / m_boxHeight / m_targetHeight, m_targetHeight, m_lobes);
    m_ringRows = m_rows.maxCount() + 1;
    std::size_t samples = static_cast<std::size_t>(m_middleWidth) * m_channels;
    m_middle.assign(static_cast<std::size_t>(m_ringRows), Row(samples));
    m_sum.assign(samples + ColumnKernels::Slack, 0);
    return true;
}

bool Resampler::row(const std::uint8_t* pixels)
{
    if (m_rowsTaken >= m_layout.height)
        return false;
    std::size_t count = static_cast<std::size_t>(m_layout.width);
    if (m_copy) {
        std::size_t stride = count * m_channels;
        std::memcpy(&m_pixels[stride * m_rowsTaken], pixels, stride);
        return ++m_rowsTaken < m_layout.height;
    }
    if (hasAlpha(m_layout.model)) {
        m_premultiplied.resize(count * m_channels);
        premultiply(m_channels, pixels, m_premultiplied.data(), count);
        pixels = m_premultiplied.data();
    }
    ++m_rowsTaken;
    accumulate(pixels);
    return m_rowsTaken < m_layout.height;
}

void Resampler::accumulate(const std::uint8_t* pixels)
{
    std::size_t samples = static_cast<std::size_t>(m_layout.width) * m_channels;
    if (m_boxWidth == 1 && m_boxHeight == 1) {
        rowToFloats(pixels, middleRow(m_middleCount).data(), samples);
        pushMiddleRow();
        return;
    }
    if (m_rowsInBox == 0)
        m_boxSums.assign(pixels, pixels + samples);
    else
        addRow(m_boxSums.data(), pixels, samples);
    if (++m_rowsInBox == m_boxHeight || m_rowsTaken == m_layout.height)
        closeBoxRow();
}

/// The boxes that are not cut off by the edge; their width is known to the compiler, or 0 for any. Tells their number.
template <int Channels, int Width> int Resampler::averageWholeBoxes(float* middle) const
{
    const int width = Width ? Width : m_boxWidth;
    const int boxes = m_layout.width / width;
    const std::uint16_t* sums = m_boxSums.data();
    const float scale = 1.0F / (static_cast<float>(width) * static_cast<float>(m_rowsInBox));
    for (int box = 0; box < boxes; ++box, middle += Channels) {
        std::uint32_t total[Channels] = {};
        for (int column = 0; column < width; ++column, sums += Channels) {
            for (int c = 0; c < Channels; ++c)
                total[c] += sums[c];
        }
        for (int c = 0; c < Channels; ++c)
            middle[c] = static_cast<float>(total[c]) * scale;
    }
    return boxes;
}

template <int Channels> void Resampler::averageBoxes(float* middle) const
{
    int boxes = m_boxWidth == 1 ? averageWholeBoxes<Channels, 1>(middle)
        : m_boxWidth == 2       ? averageWholeBoxes<Channels, 2>(middle)
        : m_boxWidth == 3       ? averageWholeBoxes<Channels, 3>(middle)
                                : averageWholeBoxes<Channels, 0>(middle);
    int left = m_layout.width - boxes * m_boxWidth;
    if (left == 0)
        return;
    const std::uint16_t* sums = &m_boxSums[static_cast<std::size_t>(boxes) * m_boxWidth * Channels];
    std::uint32_t total[Channels] = {};
    for (int i = 0; i < left * Channels; ++i)
        total[i % Channels] += sums[i];
    for (int c = 0; c < Channels; ++c)
        middle[boxes * Channels + c] = static_cast<float>(total[c]) / static_cast<float>(left * m_rowsInBox);
}

void Resampler::closeBoxRow()
{
    float* middle = middleRow(m_middleCount).data();
    switch (m_channels) {
    case 1:
        averageBoxes<1>(middle);
        break;
    case 2:
        averageBoxes<2>(middle);
        break;
    case 3:
        averageBoxes<3>(middle);
        break;
    default:
        averageBoxes<4>(middle);
        break;
    }
    m_rowsInBox = 0;
    pushMiddleRow();
}

void Resampler::pushMiddleRow()
{
    ++m_middleCount;
    makeOutputRows();
}

void Resampler::makeOutputRows()
{
    while (m_nextOutput < m_targetHeight && m_rows.first(m_nextOutput) + m_rows.count(m_nextOutput) <= m_middleCount) {
        sumRows(m_nextOutput);
        m_columns.shrink(m_sum.data(), &m_pixels[static_cast<std::size_t>(m_nextOutput) * m_targetWidth * m_channels]);
        ++m_nextOutput;
    }
}

void Resampler::sumRows(int output)
{
    int first = m_rows.first(output);
    int count = m_rows.count(output);
    m_rowsToSum.clear();
    for (int k = 0; k < count; ++k)
        m_rowsToSum.push_back(middleRow(first + k).data());
    sumWeightedRows(
        m_rowsToSum, m_rows.weights(output), m_sum.data(), static_cast<std::size_t>(m_middleWidth) * m_channels);
}

bool Resampler::beginScatter()
{
    if (m_copy)
        return true;
    std::size_t cells = static_cast<std::size_t>(m_middleWidth) * m_middleHeight;
    if (cells * m_channels > MaxScatterSums)
        return false;
    m_scatterSums.assign(cells * m_channels, 0);
    m_scatterCounts.assign(cells, 0);
    return true;
}

void Resampler::scatter(int y, int x, int step, const std::uint8_t* pixels, int count)
{
    if (m_rowsTaken == 0 && !beginScatter())
        return;
    m_rowsTaken = 1;
    m_scattered = true;
    if (m_copy) {
        std::uint8_t* to = &m_pixels[static_cast<std::size_t>(y) * m_targetWidth * m_channels];
        for (int i = 0; i < count; ++i)
            std::memcpy(to + (static_cast<std::size_t>(x) + static_cast<std::size_t>(i) * step) * m_channels,
                pixels + static_cast<std::size_t>(i) * m_channels, static_cast<std::size_t>(m_channels));
        return;
    }
    std::size_t samples = static_cast<std::size_t>(count) * m_channels;
    if (hasAlpha(m_layout.model)) {
        m_premultiplied.resize(samples);
        premultiply(m_channels, pixels, m_premultiplied.data(), static_cast<std::size_t>(count));
        pixels = m_premultiplied.data();
    }
    std::size_t base = static_cast<std::size_t>(y / m_boxHeight) * m_middleWidth;
    for (int i = 0; i < count; ++i, x += step) {
        std::size_t cell = base + static_cast<std::size_t>(x / m_boxWidth);
        ++m_scatterCounts[cell];
        for (int c = 0; c < m_channels; ++c)
            m_scatterSums[cell * m_channels + c] += *pixels++;
    }
}

void Resampler::finishScatter()
{
    for (int y = 0; y < m_middleHeight; ++y) {
        std::size_t cell = static_cast<std::size_t>(y) * m_middleWidth;
        float* middle = middleRow(y).data();
        for (int x = 0; x < m_middleWidth; ++x, cell++) {
            float scale = m_scatterCounts[cell] ? 1.0F / static_cast<float>(m_scatterCounts[cell]) : 0.0F;
            for (int c = 0; c < m_channels; ++c)
                *middle++ = static_cast<float>(m_scatterSums[cell * m_channels + c]) * scale;
        }
        pushMiddleRow();
    }
}

void Resampler::repeatLastRow()
{
    if (m_scattered)
        return;
    std::size_t stride = static_cast<std::size_t>(m_targetWidth) * m_channels;
    for (int y = m_rowsTaken; y < m_targetHeight; ++y)
        std::memcpy(&m_pixels[stride * y], &m_pixels[stride * (m_rowsTaken - 1)], stride);
}

Result<Bytes> Resampler::finish()
{
    if (m_rowsTaken == 0)
        return Error { Error::Kind::Format, "no row of the picture could be decoded" };
    if (m_copy) {
        repeatLastRow();
        return std::move(m_pixels);
    }
    if (m_scattered) {
        finishScatter();
        return std::move(m_pixels);
    }
    if (m_rowsInBox > 0)
        closeBoxRow();
    while (m_nextOutput < m_targetHeight) {
        middleRow(m_middleCount) = middleRow(m_middleCount - 1);
        pushMiddleRow();
    }
    return std::move(m_pixels);
}

} // namespace mv
