#include "Base/Media/Orientation.h"

#include <cstdlib>
#include <cstring>

namespace mv {

Orientation Orientation::fromMatrix(const std::array<std::int32_t, 9>& matrix)
{
    std::int64_t a = matrix[0];
    std::int64_t b = matrix[1];
    std::int64_t c = matrix[3];
    std::int64_t d = matrix[4];
    Orientation result;
    result.swapsSides = std::llabs(b) > std::llabs(a);
    result.mirrorsX = (result.swapsSides ? c : a) < 0;
    result.mirrorsY = (result.swapsSides ? b : d) < 0;
    return result;
}

Orientation Orientation::fromTag(int value)
{
    constexpr std::array<Orientation, 8> Orientations { {
        { false, false, false }, // 1: upright
        { false, true, false }, { false, true, true }, // 3: upside down
        { false, false, true }, { true, false, false }, { true, true, false }, // 6: to be turned to the right
        { true, true, true }, { true, false, true }, // 8: to be turned to the left
    } };
    if (value < 1 || value > static_cast<int>(Orientations.size()))
        return {};
    return Orientations[static_cast<std::size_t>(value) - 1];
}

Bitmap turned(Bitmap picture, Orientation orientation)
{
    if (orientation == Orientation {})
        return picture;
    constexpr std::size_t Channels = 4;
    Bitmap result { picture.width, picture.height, Bytes(picture.pixels.size()) };
    if (orientation.swapsSides)
        std::swap(result.width, result.height);
    std::uint8_t* target = result.pixels.data();
    for (int row = 0; row < result.height; ++row) {
        for (int column = 0; column < result.width; ++column, target += Channels) {
            int x = orientation.mirrorsX ? result.width - 1 - column : column;
            int y = orientation.mirrorsY ? result.height - 1 - row : row;
            if (orientation.swapsSides)
                std::swap(x, y);
            std::size_t pixel
                = static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) + static_cast<std::size_t>(x);
            std::memcpy(target, picture.pixels.data() + pixel * Channels, Channels);
        }
    }
    return result;
}

} // namespace mv
