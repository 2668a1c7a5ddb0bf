#include "tests/pictures/PictureMaker.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mv::test {

Bitmap photo(int width, int height)
{
    Bitmap bitmap { width, height, Bytes(static_cast<std::size_t>(width) * height * 4) };
    std::uint8_t* to = bitmap.pixels.data();
    std::uint32_t noise = 12345;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, to += 4) {
            double u = static_cast<double>(x) / width;
            double v = static_cast<double>(y) / height;
            double rings = std::sin(60 * std::hypot(u - 0.4, v - 0.6)) * 40;
            bool box = u > 0.6 && u < 0.8 && v > 0.2 && v < 0.5;
            noise = noise * 1664525 + 1013904223;
            double grain = static_cast<double>(noise >> 24) / 16 - 8;
            to[0] = static_cast<std::uint8_t>(std::clamp(40 + 170 * u + rings + grain, 0.0, 255.0));
            to[1] = static_cast<std::uint8_t>(std::clamp(200 - 150 * v + rings + grain, 0.0, 255.0));
            to[2] = static_cast<std::uint8_t>(std::clamp((box ? 220.0 : 60.0) + 40 * u * v + grain, 0.0, 255.0));
            to[3] = 255;
        }
    }
    return bitmap;
}

Bitmap plain(int width, int height, Color color)
{
    Bitmap bitmap { width, height, {} };
    for (int i = 0; i < width * height; ++i)
        bitmap.pixels.insert(bitmap.pixels.end(), { color.red, color.green, color.blue, color.alpha });
    return bitmap;
}

double meanDifference(const Bitmap& a, const Bitmap& b)
{
    if (a.width != b.width || a.height != b.height)
        return -1;
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        sum += i % 4 == 3 ? 0 : std::abs(a.pixels[i] - b.pixels[i]);
    return sum / (static_cast<double>(a.pixels.size()) * 3 / 4);
}

double psnr(const Bitmap& a, const Bitmap& b)
{
    if (a.width != b.width || a.height != b.height)
        return -1;
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i)
        sum += i % 4 == 3 ? 0 : std::pow(a.pixels[i] - b.pixels[i], 2);
    double mean = sum / (static_cast<double>(a.pixels.size()) * 3 / 4);
    return mean == 0 ? 100 : 10 * std::log10(255 * 255 / mean);
}

namespace {

double lanczos3(double x)
{
    if (x == 0)
        return 1;
    if (std::fabs(x) >= 3)
        return 0;
    double turn = std::numbers::pi * x;
    return 3 * std::sin(turn) * std::sin(turn / 3) / (turn * turn);
}

/// Makes `target` vectors of `length` out of `count` of them that stand one after the other.
std::vector<double> referenceAxis(const std::vector<double>& from, int count, std::size_t length, int target)
{
    std::vector<double> to(static_cast<std::size_t>(target) * length);
    double ratio = static_cast<double>(count) / target;
    double stretch = std::max(1.0, ratio);
    for (int i = 0; i < target; ++i) {
        double centre = (i + 0.5) * ratio - 0.5;
        double* sum = &to[static_cast<std::size_t>(i) * length];
        double weights = 0;
        int last = static_cast<int>(std::floor(centre + 3 * stretch));
        for (int k = static_cast<int>(std::ceil(centre - 3 * stretch)); k <= last; ++k) {
            double weight = lanczos3((k - centre) / stretch);
            const double* row = &from[static_cast<std::size_t>(std::clamp(k, 0, count - 1)) * length];
            for (std::size_t n = 0; n < length; ++n)
                sum[n] += weight * row[n];
            weights += weight;
        }
        for (std::size_t n = 0; n < length; ++n)
            sum[n] /= weights;
    }
    return to;
}

} // namespace

Bitmap referenceLanczos(const Bitmap& source, int width, int height)
{
    std::vector<double> samples(source.pixels.begin(), source.pixels.end());
    std::vector<double> rows
        = referenceAxis(samples, source.height, static_cast<std::size_t>(source.width) * 4, height);
    std::vector<double> result;
    for (int y = 0; y < height; ++y) {
        auto start = rows.begin() + static_cast<std::ptrdiff_t>(y) * source.width * 4;
        std::vector<double> columns
            = referenceAxis({ start, start + static_cast<std::ptrdiff_t>(source.width) * 4 }, source.width, 4, width);
        result.insert(result.end(), columns.begin(), columns.end());
    }
    Bitmap bitmap { width, height, {} };
    for (double value : result)
        bitmap.pixels.push_back(static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)));
    return bitmap;
}

} // namespace mv::test
