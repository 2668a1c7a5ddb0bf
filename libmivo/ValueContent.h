#pragma once

#include "Base/Media/Value.h"

#include <memory>
#include <mivo/Value.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mivo {

/// A value as the service's clients know it; never of a null.
class ValueContent {
public:
    explicit ValueContent(mv::Value held)
        : value(std::move(held))
    {
    }

    explicit ValueContent(std::vector<std::string> held)
        : value(mv::OtherKind())
        , texts(std::move(held))
    {
    }

    const mv::Value value;
    /// In place of the value, which is of another kind then: no record of the service's has a list.
    const std::optional<std::vector<std::string>> texts;

    static Value wrapped(mv::Value content)
    {
        Value made;
        if (!content.isNull())
            made.m_content = std::make_shared<const ValueContent>(std::move(content));
        return made;
    }
    static mv::Value unwrapped(const Value& one) { return one.m_content ? one.m_content->value : mv::Value(); }
};

} // namespace mivo
