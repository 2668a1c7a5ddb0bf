#include "pictures/RowKernels.h"

#include <algorithm>

// Bodies that are inlined into functions for several kinds of processors, and there become vectors of their widths.
#define MV_KERNEL [[gnu::always_inline]] inline

namespace mv {

namespace {

MV_KERNEL void sumBody(
    const float* const* rows, const float* weights, std::size_t count, float* __restrict to, std::size_t samples)
{
    std::size_t k = 0;
    if (count >= 4) {
        const float* __restrict a = rows[0];
        const float* __restrict b = rows[1];
        const float* __restrict c = rows[2];
        const float* __restrict d = rows[3];
        for (std::size_t i = 0; i < samples; ++i)
            to[i] = weights[0] * a[i] + weights[1] * b[i] + weights[2] * c[i] + weights[3] * d[i];
        k = 4;
    } else {
        std::fill_n(to, samples, 0.0F);
    }
    for (; k + 4 <= count; k += 4) {
        const float* __restrict a = rows[k];
        const float* __restrict b = rows[k + 1];
        const float* __restrict c = rows[k + 2];
        const float* __restrict d = rows[k + 3];
        const float wa = weights[k];
        const float wb = weights[k + 1];
        const float wc = weights[k + 2];
        const float wd = weights[k + 3];
        for (std::size_t i = 0; i < samples; ++i)
            to[i] += wa * a[i] + wb * b[i] + wc * c[i] + wd * d[i];
    }
    for (; k < count; ++k) {
        const float* __restrict a = rows[k];
        const float wa = weights[k];
        for (std::size_t i = 0; i < samples; ++i)
            to[i] += wa * a[i];
    }
}

MV_KERNEL void floatsBody(const std::uint8_t* __restrict from, float* __restrict to, std::size_t samples)
{
    for (std::size_t i = 0; i < samples; ++i)
        to[i] = static_cast<float>(from[i]);
}

void sumPlain(const float* const* rows, const float* weights, std::size_t count, float* to, std::size_t samples)
{
    sumBody(rows, weights, count, to, samples);
}

void floatsPlain(const std::uint8_t* from, float* to, std::size_t samples) { floatsBody(from, to, samples); }

#if defined(__x86_64__)

[[gnu::target("avx2")]] void sumAvx2(
    const float* const* rows, const float* weights, std::size_t count, float* to, std::size_t samples)
{
    sumBody(rows, weights, count, to, samples);
}

[[gnu::target("avx2")]] void floatsAvx2(const std::uint8_t* from, float* to, std::size_t samples)
{
    floatsBody(from, to, samples);
}

const bool hasAvx2 = __builtin_cpu_supports("avx2") > 0;

const auto sumKernel = hasAvx2 ? sumAvx2 : sumPlain;
const auto floatsKernel = hasAvx2 ? floatsAvx2 : floatsPlain;

#else

constexpr auto sumKernel = sumPlain;
constexpr auto floatsKernel = floatsPlain;

#endif

} // namespace

void sumWeightedRows(const std::vector<const float*>& rows, const float* weights, float* to, std::size_t samples)
{
    sumKernel(rows.data(), weights, rows.size(), to, samples);
}

void rowToFloats(const std::uint8_t* from, float* to, std::size_t samples) { floatsKernel(from, to, samples); }

} // namespace mv
