#include "pictures/LanczosTaps.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mv {

namespace {

double lanczos(double x, int lobes)
{
    if (std::fabs(x) < 1e-9)
        return 1;
    if (std::fabs(x) >= lobes)
        return 0;
    double turn = std::numbers::pi * x;
    double slow = std::sin(turn / lobes);
    // The sine of three times the angle, or of twice as much.
    double fast = lobes == 3 ? slow * (3 - 4 * slow * slow) : 2 * slow * std::cos(turn / lobes);
    return lobes * fast * slow / (turn * turn);
}

} // namespace

LanczosTaps::LanczosTaps(int inputCount, double ratio, int outputCount, int lobes)
    : m_first(static_cast<std::size_t>(outputCount))
    , m_count(static_cast<std::size_t>(outputCount))
{
    double reach = lobes * std::max(1.0, ratio);
    m_stride = static_cast<std::size_t>(std::min<double>(2 * std::ceil(reach) + 2, inputCount));
    m_weights.assign(m_stride * static_cast<std::size_t>(outputCount), 0);
    for (int output = 0; output < outputCount; ++output)
        setRow(output, inputCount, ratio, lobes);
}

void LanczosTaps::setRow(int output, int inputCount, double ratio, int lobes)
{
    double stretch = std::max(1.0, ratio);
    double centre = (output + 0.5) * ratio - 0.5;
    int from = static_cast<int>(std::ceil(centre - lobes * stretch));
    int to = static_cast<int>(std::floor(centre + lobes * stretch));
    int first = std::clamp(from, 0, inputCount - 1);
    int last = std::clamp(to, first, std::min(inputCount, first + static_cast<int>(m_stride)) - 1);

    std::vector<double> weights(static_cast<std::size_t>(last - first + 1));
    double sum = 0;
    for (int input = from; input <= to; ++input) {
        double weight = lanczos((input - centre) / stretch, lobes);
        weights[static_cast<std::size_t>(std::clamp(input, first, last) - first)] += weight;
        sum += weight;
    }
    float* row = &m_weights[static_cast<std::size_t>(output) * m_stride];
    for (std::size_t i = 0; i < weights.size(); ++i)
        row[i] = static_cast<float>(weights[i] / sum);
    m_first[static_cast<std::size_t>(output)] = first;
    m_count[static_cast<std::size_t>(output)] = last - first + 1;
    m_maxCount = std::max(m_maxCount, last - first + 1);
}

} // namespace mv
