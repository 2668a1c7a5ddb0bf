#include "platform/graphics/LanczosTaps.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mv {

namespace {

constexpr double Lobes = 3;

double lanczos(double x)
{
    if (std::fabs(x) < 1e-9)
        return 1;
    if (std::fabs(x) >= Lobes)
        return 0;
    double turn = std::numbers::pi * x;
    return Lobes * std::sin(turn) * std::sin(turn / Lobes) / (turn * turn);
}

} // namespace

LanczosTaps::LanczosTaps(int inputCount, double ratio, int outputCount)
    : m_first(static_cast<std::size_t>(outputCount))
    , m_count(static_cast<std::size_t>(outputCount))
{
    double reach = Lobes * std::max(1.0, ratio);
    m_stride = static_cast<std::size_t>(std::min<double>(2 * std::ceil(reach) + 2, inputCount));
    m_weights.assign(m_stride * static_cast<std::size_t>(outputCount), 0);
    for (int output = 0; output < outputCount; output++)
        setRow(output, inputCount, ratio);
}

void LanczosTaps::setRow(int output, int inputCount, double ratio)
{
    double stretch = std::max(1.0, ratio);
    double centre = (output + 0.5) * ratio - 0.5;
    int first = std::clamp(static_cast<int>(std::ceil(centre - Lobes * stretch)), 0, inputCount - 1);
    int last = std::clamp(static_cast<int>(std::floor(centre + Lobes * stretch)), first, inputCount - 1);
    last = std::min(last, first + static_cast<int>(m_stride) - 1);

    float* row = &m_weights[static_cast<std::size_t>(output) * m_stride];
    double sum = 0;
    for (int input = first; input <= last; input++) {
        double weight = lanczos((input - centre) / stretch);
        row[input - first] = static_cast<float>(weight);
        sum += weight;
    }
    // Past an edge that lies far outside (a ratio that is not the true one) nothing has weight: take the edge.
    if (sum < 1e-6) {
        std::fill(row, row + (last - first + 1), 0.0F);
        row[centre < first ? 0 : last - first] = 1;
        sum = 1;
    }
    for (int input = first; input <= last; input++)
        row[input - first] = static_cast<float>(row[input - first] / sum);
    m_first[static_cast<std::size_t>(output)] = first;
    m_count[static_cast<std::size_t>(output)] = last - first + 1;
    m_maxCount = std::max(m_maxCount, last - first + 1);
}

} // namespace mv
