#pragma once

#include "Base/Core/Result.h"
#include "mp4/MetadataItems.h"
#include "system/FileContent.h"

namespace mv {

/// How a file becomes its edited self. Making the plan reads the structure and writes nothing; FileReplacement performs
/// it, whole or not at all.
struct EditPlan {
    enum class Layout {
        Unchanged, ///< the file holds the items already
        InPlace, ///< the movie box stays where it was, and as large as it was
        FreeSpace, ///< the movie box takes the free space around its old place too
        AtTheEnd, ///< the movie box lies behind everything else; its old place, if it was another, is free space now
        Shifted, ///< no other way: what followed the movie box has moved, and every offset to it with it
    };

    Layout layout = Layout::Unchanged;
    FileContent content; ///< stretches of the old file, and new bytes; empty for Unchanged
};

/// Plans `items` as the whole metadata list of the file. Fails with Unsupported where the change would need media moved
/// that something unknown may point to (encrypted samples, item locations, external media), with Format where the
/// file's structure is too damaged to be changed, with Limit for a movie box of absurd size.
Result<EditPlan> planEdit(StructureReader& reader, const MP4ItmfItemList& items);

/// Compares an edited file with what it was made from: the items are the planned ones, the tracks are the same.
Result<void> checkEdit(StructureReader& before, StructureReader& after, const MP4ItmfItemList& items);

} // namespace mv
