#pragma once

#include "mp4/Box.h"

#include <string>
#include <vector>

namespace mv {

/// An item of QuickTime's metadata: named by a key instead of four characters. Its payload is that of an iTunes item.
struct KeyedItem {
    std::string key; ///< without "com.apple.quicktime." in front
    Box box;
};

/// Those of a movie, in order: of its own meta box, where it has one, and of those in its user data, where their
/// handler is 'mdta'. At most MaxMetadataItems.
std::vector<KeyedItem> keyedItems(
    StructureReader& reader, const std::optional<Box>& metaBox, const std::vector<Box>& userData);

} // namespace mv
