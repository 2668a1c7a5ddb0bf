#pragma once

#include "Base/Core/Bytes.h"
#include "pictures/PixelRows.h"

#include <array>
#include <memory>

namespace mv {

/// Turns pixels of one ICC profile into sRGB. Immutable; shared by threads. The last few are kept for the whole
/// process, because making one costs as much as a thumbnail.
class ColorConversion {
public:
    ~ColorConversion();
    ColorConversion(const ColorConversion&) = delete;
    ColorConversion& operator=(const ColorConversion&) = delete;

    /// Null when the bytes are no profile, or one of another colour model than `model`.
    static std::shared_ptr<const ColorConversion> fromProfile(ByteView profile, PixelModel model);

    /// Writes 4 bytes a pixel; an alpha that `model` has is carried over, otherwise it is 255.
    void toRgba(const std::uint8_t* pixels, std::uint8_t* rgba, std::size_t count) const;

private:
    ColorConversion(void* transform, PixelModel model)
        : m_transform(transform)
        , m_model(model)
    {
    }
    static std::shared_ptr<const ColorConversion> make(ByteView profile, PixelModel model);

    void* m_transform;
    PixelModel m_model;
};

/// Red, green and blue of JPEG's brightness and differences of colour, exact to the rounding of libjpeg.
inline std::array<std::uint8_t, 3> rgbOfYcc(const std::uint8_t* ycc)
{
    // The standard's factors (1.402, 0.344136, 0.714136, 1.772) in 65536ths.
    constexpr int Half = 32768;
    auto clamped = [](int value) { return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); };
    int y = ycc[0];
    int blue = ycc[1] - 128;
    int red = ycc[2] - 128;
    return { clamped(y + ((91881 * red + Half) >> 16)), clamped(y + ((-22554 * blue - 46802 * red + Half) >> 16)),
        clamped(y + ((116130 * blue + Half) >> 16)) };
}

/// Pixels of any model as red, green, blue, alpha in sRGB: by the profile where it is usable, else by plain rules
/// (gray three times; an ink takes its share away).
Bytes toSrgb(ByteView pixels, PixelModel model, ByteView profile);

} // namespace mv
