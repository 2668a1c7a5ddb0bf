#include "thumbnailer/ThumbnailTypes.h"

#include "Base/Core/Text.h"

#include <algorithm>

namespace mv {

namespace {

struct Row {
    std::string_view ending;
    std::string_view type;
};

constexpr Row Rows[] = {
#include <ThumbnailTypes.inc>
};

} // namespace

std::string_view thumbnailTypeOf(std::string_view name)
{
    auto dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return {};
    std::string_view ending = name.substr(dot + 1);
    auto row = std::ranges::find_if(Rows, [&](const Row& each) { return equalIgnoringAsciiCase(each.ending, ending); });
    return row == std::end(Rows) ? std::string_view() : row->type;
}

} // namespace mv
