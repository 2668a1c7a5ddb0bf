#pragma once

#include "service/tagedit/TagEdit.h"

#include <string>
#include <string_view>

namespace mv::test {

/// The content of a file with the changes, which passes its check; "error: ..." where there is none.
std::string edited(std::string_view file, const TagChanges& changes);

inline TagChanges titleChange(std::string title)
{
    TagChanges changes;
    changes[TagKey::Title] = title.empty() ? TagChanges::Values() : TagChanges::Values { std::move(title) };
    return changes;
}

std::string littleEndian(std::uint32_t value);

} // namespace mv::test
