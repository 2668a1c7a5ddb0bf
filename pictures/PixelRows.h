#pragma once

#include <cstdint>

namespace mv {

/// What the 8-bit channels of a pixel mean. Alpha is not multiplied in. Inks count as printing reverses them: 255
/// is no ink, 0 is full ink. Ycc is JPEG's brightness and two differences of colour: a linear form of Rgb, so that
/// pictures can be shrunk before the few pixels that are left are converted.
enum class PixelModel { Gray, GrayAlpha, Rgb, RgbAlpha, Ycc, Cmyk };

constexpr int channelsOf(PixelModel model)
{
    switch (model) {
    case PixelModel::Gray:
        return 1;
    case PixelModel::GrayAlpha:
        return 2;
    case PixelModel::Rgb:
    case PixelModel::Ycc:
        return 3;
    default:
        return 4;
    }
}

constexpr bool hasAlpha(PixelModel model) { return model == PixelModel::GrayAlpha || model == PixelModel::RgbAlpha; }

/// The raster that a reader delivers. A reader that shrinks while it decodes delivers fewer pixels than the picture
/// has; they then stand for `spanWidth` x `spanHeight` of its own pixels, fractions included: a JPEG of 1001 columns
/// at one eighth delivers 126 columns that stand for 125.125.
struct RowLayout {
    int width = 0;
    int height = 0;
    PixelModel model = PixelModel::Rgb;
    double spanWidth = 0; ///< 0: the same as `width`
    double spanHeight = 0;
};

/// Takes a decoded raster: begin() once, then every row from the top by row(), or every pixel once, in any order, by
/// scatter(). One raster uses only one of the two.
class RowSink {
public:
    virtual ~RowSink() = default;
    /// False when such a raster cannot be taken; nothing else may follow then.
    virtual bool begin(const RowLayout& layout) = 0;
    /// The next row. False when no more rows are needed.
    virtual bool row(const std::uint8_t* pixels) = 0;
    /// `count` pixels of row `y` at columns x, x + step, x + 2 * step...
    virtual void scatter(int y, int x, int step, const std::uint8_t* pixels, int count) = 0;
};

} // namespace mv
