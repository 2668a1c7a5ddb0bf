#include "pictures/jpeg/JpegBlockScaler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace mv {

namespace {

template <int Lanes> using Floats [[gnu::vector_size(Lanes * sizeof(float))]] = float;

/// Adds `factor` times the vector at `from`.
template <int Lanes> void addTimes(Floats<Lanes>& sum, const float* from, float factor)
{
    Floats<Lanes> value;
    std::memcpy(&value, from, sizeof value);
    sum += value * factor;
}

template <int Lanes> void store(const Floats<Lanes>& samples, std::uint8_t* to, int count)
{
    float values[Lanes];
    std::memcpy(values, &samples, sizeof values);
    std::uint8_t bytes[Lanes];
    for (int x = 0; x < Lanes; ++x) {
        float value = values[x] < 0 ? 0.0F : values[x];
        bytes[x] = static_cast<std::uint8_t>(static_cast<int>(value > 255 ? 255.0F : value));
    }
    std::memcpy(to, bytes, static_cast<std::size_t>(count));
}

/// What frequency `u` adds to sample `x` of `samples` that stand for eight pixels.
float share(int u, int x, int samples)
{
    double wave = std::cos((2 * x + 1) * u * std::numbers::pi / (2 * samples));
    double weight = u == 0 ? std::sqrt(1.0 / samples) : std::sqrt(2.0 / samples);
    return static_cast<float>(wave * weight * std::sqrt(samples / 8.0));
}

} // namespace

JpegBlockScaler::JpegBlockScaler(int across, int down, const JpegTables::QuantTable& quant, bool plainEdges)
    : m_across(across)
    , m_down(down)
    , m_meanQuant(quant[0])
{
    for (int u = 0; u < JpegBlockSide; ++u) {
        for (int x = 0; x < across && u < across; ++x)
            m_columns[static_cast<std::size_t>(u)][static_cast<std::size_t>(x)] = share(u, x, across);
        for (int y = 0; y < down && u < down; ++y)
            m_rows[static_cast<std::size_t>(u)][static_cast<std::size_t>(y)] = share(u, y, down);
    }
    for (int place = 0; place < JpegBlockCoefficients; ++place) {
        std::size_t p = static_cast<std::size_t>(place);
        if (JpegZigzag[p] % JpegBlockSide >= across || JpegZigzag[p] / JpegBlockSide >= down)
            continue;
        if (plainEdges && across == 2 && down == 2 && JpegZigzag[p] == JpegBlockSide + 1)
            continue;
        m_lastPlace = place;
        m_slots[p] = { static_cast<float>(quant[p]), JpegZigzag[p] };
    }
}

/// `Across` and `Down` are 0 where the compiler need not know them.
template <int Lanes, int Across, int Down>
void JpegBlockScaler::scaleIn(const Block& block, int diagonal, std::uint8_t* to, std::size_t stride) const
{
    using Vector = Floats<Lanes>;
    const int across = Across ? Across : m_across;
    const int down = Down ? Down : m_down;
    // Few coefficients are multiplied whether they are 0 or not.
    constexpr bool Small = Across > 0 && Across <= 4 && Down <= 4;
    const int rows = Small ? down : std::min(down, diagonal + 1);
    Vector spread[JpegBlockSide];
    for (int v = 0; v < rows; ++v) {
        const float* row = &block[static_cast<std::size_t>(v) * JpegBlockSide];
        const int columns = Small ? across : std::min(across, diagonal - v + 1);
        Vector sum = {};
        for (int u = 0; u < columns; ++u)
            addTimes<Lanes>(sum, m_columns[static_cast<std::size_t>(u)].data(), row[u]);
        spread[v] = sum;
    }
    // The odd frequencies have the opposite sign in the mirrored row.
    for (int y = 0; y < (down + 1) / 2; ++y) {
        Vector even = spread[0] * m_rows[0][static_cast<std::size_t>(y)] + 128.5F;
        for (int v = 2; v < rows; v += 2)
            even += spread[v] * m_rows[static_cast<std::size_t>(v)][static_cast<std::size_t>(y)];
        Vector odd = {};
        for (int v = 1; v < rows; v += 2)
            odd += spread[v] * m_rows[static_cast<std::size_t>(v)][static_cast<std::size_t>(y)];
        store<Lanes>(even + odd, to + static_cast<std::size_t>(y) * stride, across);
        store<Lanes>(even - odd, to + static_cast<std::size_t>(down - 1 - y) * stride, across);
    }
}

void JpegBlockScaler::scale(const Block& block, int last, std::uint8_t* to, std::size_t stride) const
{
    switch (m_across * 10 + m_down) {
    case 21:
        return scaleIn<4, 2, 1>(block, 0, to, stride);
    case 22:
        return scaleIn<4, 2, 2>(block, 0, to, stride);
    case 33:
        return scaleIn<4, 3, 3>(block, 0, to, stride);
    case 42:
        return scaleIn<4, 4, 2>(block, 0, to, stride);
    case 44:
        return scaleIn<4, 4, 4>(block, 0, to, stride);
    default:
        break;
    }
    // Everything behind the diagonal on which the last coefficient stands is 0.
    int natural = JpegZigzag[static_cast<std::size_t>(last)];
    int diagonal = natural / JpegBlockSide + natural % JpegBlockSide;
    switch (m_across * 10 + m_down) {
    case 63:
        return scaleIn<8, 6, 3>(block, diagonal, to, stride);
    case 66:
        return scaleIn<8, 6, 6>(block, diagonal, to, stride);
    case 84:
        return scaleIn<8, 8, 4>(block, diagonal, to, stride);
    case 88:
        return scaleIn<8, 8, 8>(block, diagonal, to, stride);
    default:
        return m_across <= 4 ? scaleIn<4, 0, 0>(block, diagonal, to, stride)
                             : scaleIn<8, 0, 0>(block, diagonal, to, stride);
    }
}

} // namespace mv
