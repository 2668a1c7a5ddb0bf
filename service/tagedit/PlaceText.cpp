#include "service/tagedit/PlaceText.h"

namespace mv {

std::string placeText(std::string_view old, const TagChanges& changes, TagKey place, TagKey total)
{
    auto slash = old.find('/');
    std::string number(old.substr(0, slash));
    std::string of(slash == std::string_view::npos ? std::string_view() : old.substr(slash + 1));
    auto take = [&](std::string& part, TagKey key) {
        if (changes.isNamed(key))
            part = changes.number(key) == 0 ? std::string() : std::to_string(changes.number(key));
    };
    take(number, place);
    take(of, total);
    if (of.empty())
        return number;
    return (number.empty() ? "0" : number) + "/" + of;
}

} // namespace mv
