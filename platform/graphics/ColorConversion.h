#pragma once

#include "Base/Core/Bytes.h"
#include "platform/graphics/PixelRows.h"

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

/// Pixels of any model as red, green, blue, alpha in sRGB: by the profile where it is usable, else by plain rules
/// (gray three times; an ink takes its share away).
Bytes toSrgb(ByteView pixels, PixelModel model, ByteView profile);

} // namespace mv
