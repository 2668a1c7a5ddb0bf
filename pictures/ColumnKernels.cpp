#include "pictures/ColumnKernels.h"

#include <algorithm>
#include <bit>
#include <cstring>

// Bodies that are inlined into functions for several kinds of processors, and there become vectors of their widths.
#define MV_KERNEL [[gnu::always_inline]] inline

namespace mv {

namespace {

using Float4 [[gnu::vector_size(16)]] = float;
using Float8 [[gnu::vector_size(32)]] = float;
using Int4 [[gnu::vector_size(16)]] = int;
using Byte16 [[gnu::vector_size(16)]] = std::uint8_t;

/// A row in the making.
struct ColumnRow {
    const float* sums = nullptr;
    std::uint8_t* to = nullptr;
    std::size_t count = 0;
};

MV_KERNEL void load(const float* from, Float4& value) { std::memcpy(&value, from, sizeof value); }
MV_KERNEL void load(const float* from, Float8& value) { std::memcpy(&value, from, sizeof value); }

/// The weighted sum of so many pixels. In two sums, so that an addition need not wait for the one before.
template <int Channels> MV_KERNEL void sumPixels(const float* from, const float* weights, int count, Float4& sum)
{
    Float8 both = {};
    int k = 0;
    for (; k + 2 <= count; k += 2, from += 2 * Channels, weights += 8) {
        Float4 even;
        Float4 odd;
        Float8 weight;
        load(from, even);
        load(from + Channels, odd);
        load(weights, weight);
        both += __builtin_shufflevector(even, odd, 0, 1, 2, 3, 4, 5, 6, 7) * weight;
    }
    sum = __builtin_shufflevector(both, both, 0, 1, 2, 3);
    if (k < count) {
        Float4 last;
        Float4 weight;
        load(from, last);
        load(weights, weight);
        sum += last * weight;
    }
    sum += __builtin_shufflevector(both, both, 4, 5, 6, 7);
}

/// The standard's factors; what is shrunk in JPEG's own colours becomes red, green and blue before it is rounded.
MV_KERNEL void yccToRgb(Float4& value)
{
    Float4 bright = __builtin_shufflevector(value, value, 0, 0, 0, 0);
    Float4 blue = __builtin_shufflevector(value, value, 1, 1, 1, 1) - 128.0F;
    Float4 red = __builtin_shufflevector(value, value, 2, 2, 2, 2) - 128.0F;
    value = blue * Float4 { 0, -0.344136F, 1.772F, 0 } - red * Float4 { -1.402F, 0.714136F, 0, 0 } + bright;
}

MV_KERNEL void divideByAlpha(Float4& value)
{
    float opacity = std::clamp(value[3], 0.0F, 255.0F);
    value *= opacity > 0 ? 255.0F / opacity : 0.0F;
    value[3] = opacity;
}

/// Rounds and clamps all four at once.
template <std::size_t Count> MV_KERNEL void store(Float4 value, std::uint8_t* to)
{
    value += 0.5F;
    value = value > 0 ? value : Float4 {};
    Int4 whole = __builtin_convertvector(value < 255 ? value : Float4 {} + 255.0F, Int4);
    Byte16 bytes = std::bit_cast<Byte16>(whole);
    bytes = __builtin_shufflevector(bytes, bytes, 0, 4, 8, 12, 0, 4, 8, 12, 0, 4, 8, 12, 0, 4, 8, 12);
    std::memcpy(to, &bytes, Count);
}

template <PixelModel Model> MV_KERNEL void finishPixel(Float4& value)
{
    if constexpr (Model == PixelModel::Ycc)
        yccToRgb(value);
    if constexpr (Model == PixelModel::RgbAlpha)
        divideByAlpha(value);
}

/// Pixels of three or four channels.
template <PixelModel Model, class Pixel>
MV_KERNEL void shrinkBody(const Pixel* pixels, const float* weights, std::size_t stride, const ColumnRow& givenRow)
{
    // What is stored cannot change it then.
    const ColumnRow row = givenRow;
    constexpr int Channels = channelsOf(Model);
    std::uint8_t* to = row.to;
    Float4 value;
    // Four bytes are stored faster than three; the next pixel overwrites the last of them.
    for (std::size_t x = 0; x + 1 < row.count; ++x, to += Channels, weights += stride) {
        sumPixels<Channels>(row.sums + pixels[x].first * Channels, weights, pixels[x].count, value);
        finishPixel<Model>(value);
        store<4>(value, to);
    }
    const Pixel& last = pixels[row.count - 1];
    sumPixels<Channels>(row.sums + last.first * Channels, weights, last.count, value);
    finishPixel<Model>(value);
    store<Channels>(value, to);
}

/// One channel, or one and alpha.
template <PixelModel Model, class Pixel>
void shrinkFew(const Pixel* pixels, const float* weights, std::size_t stride, const ColumnRow& row)
{
    constexpr int Channels = channelsOf(Model);
    std::uint8_t* to = row.to;
    for (std::size_t x = 0; x < row.count; ++x, to += Channels, weights += stride) {
        const float* from = row.sums + pixels[x].first * Channels;
        float sums[2] = {};
        for (int k = 0; k < pixels[x].count; ++k) {
            for (int c = 0; c < Channels; ++c)
                sums[c] += from[k * Channels + c] * weights[static_cast<std::ptrdiff_t>(k) * 4];
        }
        Float4 value = { sums[0], 0, 0, sums[1] };
        if (hasAlpha(Model))
            divideByAlpha(value);
        value[1] = value[3];
        store<Channels>(value, to);
    }
}

template <class Pixel> struct Kernel {
    using Function = void (*)(const Pixel*, const float*, std::size_t, const ColumnRow&);

    template <PixelModel Model>
    static void plain(const Pixel* pixels, const float* weights, std::size_t stride, const ColumnRow& row)
    {
        shrinkBody<Model>(pixels, weights, stride, row);
    }

#if defined(__x86_64__)
    template <PixelModel Model>
    [[gnu::target("avx2")]] static void avx2(
        const Pixel* pixels, const float* weights, std::size_t stride, const ColumnRow& row)
    {
        shrinkBody<Model>(pixels, weights, stride, row);
    }

    template <PixelModel Model> static Function best()
    {
        return __builtin_cpu_supports("avx2") ? avx2<Model> : plain<Model>;
    }
#else
    template <PixelModel Model> static Function best() { return plain<Model>; }
#endif

    static Function of(PixelModel model)
    {
        switch (model) {
        case PixelModel::Gray:
            return shrinkFew<PixelModel::Gray>;
        case PixelModel::GrayAlpha:
            return shrinkFew<PixelModel::GrayAlpha>;
        case PixelModel::Ycc:
            return best<PixelModel::Ycc>();
        case PixelModel::RgbAlpha:
            return best<PixelModel::RgbAlpha>();
        case PixelModel::Cmyk:
            return best<PixelModel::Cmyk>();
        default:
            return best<PixelModel::Rgb>();
        }
    }
};

} // namespace

ColumnKernels::ColumnKernels(const LanczosTaps& taps, int width, PixelModel model)
    : m_model(model)
    , m_pixels(static_cast<std::size_t>(width))
    , m_stride(static_cast<std::size_t>(taps.maxCount()) * 4)
    , m_weights(m_stride * static_cast<std::size_t>(width))
{
    float* to = m_weights.data();
    for (int x = 0; x < width; ++x, to += m_stride) {
        m_pixels[static_cast<std::size_t>(x)] = { taps.first(x), taps.count(x) };
        for (int k = 0; k < taps.count(x); ++k)
            std::fill_n(to + static_cast<std::ptrdiff_t>(k) * 4, 4, taps.weights(x)[k]);
    }
}

void ColumnKernels::shrink(const float* sums, std::uint8_t* to) const
{
    Kernel<Pixel>::of(m_model)(m_pixels.data(), m_weights.data(), m_stride, { sums, to, m_pixels.size() });
}

} // namespace mv
