#include "service/job/RenderingCode.h"

namespace mv {

namespace {

constexpr std::string_view Category = "category";
constexpr std::string_view MaximumWidth = "maximum-width";
constexpr std::string_view MaximumHeight = "maximum-height";
constexpr std::string_view SwapsSides = "swaps-sides";
constexpr std::string_view MirrorsX = "mirrors-x";
constexpr std::string_view MirrorsY = "mirrors-y";
constexpr std::string_view FirstRow = "first-row";

} // namespace

void setRendering(Record& message, const PictureRendering& rendering)
{
    message.set(Category, std::int32_t { rendering.category });
    if (rendering.maximum) {
        message.set(MaximumWidth, double { rendering.maximum->width });
        message.set(MaximumHeight, double { rendering.maximum->height });
    }
    message.set(SwapsSides, rendering.orientation.swapsSides);
    message.set(MirrorsX, rendering.orientation.mirrorsX);
    message.set(MirrorsY, rendering.orientation.mirrorsY);
    message.set(FirstRow, std::int32_t { rendering.firstRow });
}

PictureRendering renderingOf(const Record& message)
{
    PictureRendering rendering;
    rendering.category = message.integer(Category).value_or(0);
    auto width = message.real(MaximumWidth);
    auto height = message.real(MaximumHeight);
    if (width && height)
        rendering.maximum = FloatSize { static_cast<float>(*width), static_cast<float>(*height) };
    rendering.orientation = { message.boolean(SwapsSides).value_or(false), message.boolean(MirrorsX).value_or(false),
        message.boolean(MirrorsY).value_or(false) };
    rendering.firstRow = message.integer(FirstRow).value_or(0);
    return rendering;
}

} // namespace mv
