#pragma once

#include "Base/Core/Handle.h"

#include <memory>
#include <mivo/Source.h>
#include <string>

namespace mivo {

/// A whole path, or a descriptor and a name.
class SourceContent {
public:
    static std::shared_ptr<const SourceContent> of(const Source& source) { return source.m_content; }

    bool isOpened() const { return static_cast<bool>(file); }

    std::string name;
    mv::UniqueFd file;
};

} // namespace mivo
