#include "pictures/jpeg/JpegStrips.h"

#include "pictures/ColorConversion.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace mv {

namespace {

// Pixels are written four bytes at a time, whatever they have.
constexpr std::size_t RowSlack = 4;

PixelModel modelOf(JpegColors colors)
{
    switch (colors) {
    case JpegColors::Gray:
        return PixelModel::Gray;
    case JpegColors::Ycc:
        return PixelModel::Ycc;
    case JpegColors::Rgb:
        return PixelModel::Rgb;
    default:
        return PixelModel::Cmyk;
    }
}

void interleave3(std::uint8_t* to, const std::array<const std::uint8_t*, 4>& from, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i, to += 3) {
        std::array<std::uint8_t, 4> pixel { from[0][i], from[1][i], from[2][i], 0 };
        std::memcpy(to, pixel.data(), pixel.size());
    }
}

void interleave4(std::uint8_t* to, const std::array<const std::uint8_t*, 4>& from, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i, to += 4) {
        for (std::size_t c = 0; c < 4; ++c)
            to[c] = from[c][i];
    }
}

void repeatTwice(const std::uint8_t* __restrict from, std::uint8_t* __restrict to, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        to[2 * i] = from[i];
        to[2 * i + 1] = from[i];
    }
}

void repeat(const std::uint8_t* from, std::uint8_t* to, std::size_t count, std::size_t times)
{
    for (std::size_t i = 0; i < count; ++i)
        std::memset(&to[i * times], from[i], times);
}

/// The inks are the complements of the colours that the first three components stand for.
void inksOfYcck(std::uint8_t* pixels, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i, pixels += 4) {
        std::array<std::uint8_t, 3> rgb = rgbOfYcc(pixels);
        for (std::size_t c = 0; c < 3; ++c)
            pixels[c] = static_cast<std::uint8_t>(255 - rgb[c]);
    }
}

} // namespace

Result<JpegStrips> JpegStrips::make(
    const JpegFrame& frame, const JpegShrinkPlan& plan, const std::vector<JpegTables::QuantTable>& quant)
{
    JpegStrips strips(frame, plan);
    std::size_t expected = static_cast<std::size_t>(channelsOf(modelOf(plan.colors)));
    if (frame.components.size() != expected || quant.size() != expected)
        return Error { Error::Kind::Unsupported, "components that do not fit the colours" };
    for (std::size_t i = 0; i < expected; ++i)
        MV_TRY_VOID(strips.addPart(frame.components[i], quant[i]));
    strips.m_width = (frame.width * plan.numerator + JpegBlockSide - 1) / JpegBlockSide;
    strips.m_height = (frame.height * plan.numerator + JpegBlockSide - 1) / JpegBlockSide;
    strips.m_pixels.resize(static_cast<std::size_t>(strips.m_width) * expected + RowSlack);
    strips.m_spread.resize(expected);
    return strips;
}

Result<void> JpegStrips::addPart(const JpegComponent& component, const JpegTables::QuantTable& quant)
{
    int ratioAcross = m_frame.maxH / component.h;
    int ratioDown = m_frame.maxV / component.v;
    if (ratioAcross * component.h != m_frame.maxH || ratioDown * component.v != m_frame.maxV || ratioAcross == 3
        || ratioDown == 3)
        return Error { Error::Kind::Unsupported, "samples between those of other components" };
    // A coarse component gives as many samples as the others where its block has them to give.
    int across = std::min(m_plan.numerator * ratioAcross, JpegBlockSide);
    int down = std::min(m_plan.numerator * ratioDown, JpegBlockSide);
    if (m_plan.coarseColours)
        across = down = m_plan.numerator;
    Part part;
    part.scaler = JpegBlockScaler(across, down, quant, m_plan.plainEdges);
    part.repeatAcross = m_plan.numerator * ratioAcross / across;
    part.repeatDown = m_plan.numerator * ratioDown / down;
    if (part.repeatAcross * across != m_plan.numerator * ratioAcross
        || part.repeatDown * down != m_plan.numerator * ratioDown)
        return Error { Error::Kind::Unsupported, "samples between those of other components" };
    part.stride = static_cast<std::size_t>(m_frame.unitsAcross()) * component.h * across;
    part.samples.resize(part.stride * component.v * down);
    m_parts.push_back(std::move(part));
    return {};
}

std::uint8_t* JpegStrips::place(std::size_t component, int column, int row)
{
    Part& part = m_parts[component];
    return &part.samples[static_cast<std::size_t>(row) * part.scaler.down() * part.stride
        + static_cast<std::size_t>(column) * part.scaler.across()];
}

void JpegStrips::fill(std::size_t component, int column, int row, int mean)
{
    const Part& part = m_parts[component];
    std::uint8_t sample = part.scaler.mean(mean);
    std::uint8_t* to = place(component, column, row);
    for (int y = 0; y < part.scaler.down(); ++y, to += part.stride)
        std::memset(to, sample, static_cast<std::size_t>(part.scaler.across()));
}

void JpegStrips::fill(std::size_t component, int column, int row, const JpegBlockScaler::Block& block, int last)
{
    m_parts[component].scaler.scale(block, last, place(component, column, row), m_parts[component].stride);
}

RowLayout JpegStrips::layout() const
{
    double shrunk = m_plan.numerator / static_cast<double>(JpegBlockSide);
    return { m_width, m_height, modelOf(m_plan.colors), m_frame.width * shrunk, m_frame.height * shrunk };
}

const std::uint8_t* JpegStrips::spreadRow(std::size_t component, int y)
{
    const Part& part = m_parts[component];
    const std::uint8_t* row = &part.samples[static_cast<std::size_t>(y / part.repeatDown) * part.stride];
    if (part.repeatAcross == 1)
        return row;
    Bytes& spread = m_spread[component];
    spread.resize(part.stride * part.repeatAcross);
    if (y % part.repeatDown == 0) {
        if (part.repeatAcross == 2)
            repeatTwice(row, spread.data(), part.stride);
        else
            repeat(row, spread.data(), part.stride, static_cast<std::size_t>(part.repeatAcross));
    }
    return spread.data();
}

const std::uint8_t* JpegStrips::pixelRow(int y)
{
    std::size_t count = static_cast<std::size_t>(m_width);
    std::array<const std::uint8_t*, 4> rows {};
    for (std::size_t i = 0; i < m_parts.size(); ++i)
        rows[i] = spreadRow(i, y);
    if (m_parts.size() == 1)
        return rows[0];
    if (m_parts.size() == 3) {
        interleave3(m_pixels.data(), rows, count);
        return m_pixels.data();
    }
    interleave4(m_pixels.data(), rows, count);
    if (m_plan.colors == JpegColors::Ycck)
        inksOfYcck(m_pixels.data(), count);
    if (m_plan.invertInks) {
        for (std::uint8_t& sample : m_pixels)
            sample = static_cast<std::uint8_t>(255 - sample);
    }
    return m_pixels.data();
}

bool JpegStrips::deliver(RowSink& sink)
{
    int rows = std::min(m_plan.numerator * m_frame.maxV, m_height - m_delivered);
    for (int y = 0; y < rows; ++y) {
        ++m_delivered;
        if (!sink.row(pixelRow(y)))
            return false;
    }
    return m_delivered < m_height;
}

} // namespace mv
