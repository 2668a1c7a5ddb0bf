#pragma once

#include "Base/Core/Result.h"
#include "mp4/MetadataItems.h"
#include "platform/system/FileContent.h"

namespace mv {

/// How a file becomes its edited self. Making the plan reads the structure and writes nothing; FileReplacement performs
/// it, whole or not at all.
struct EditPlan {
    enum class Layout {
        InPlace, ///< the movie box stays where it was, and as large as it was
        FreeSpace, ///< the movie box takes the free space around its old place too
        AtTheEnd, ///< the movie box lies behind everything else; its old place, if it was another, is free space now
        Shifted, ///< no other way: what followed the movie box has moved, and every offset to it with it
    };

    Layout layout = Layout::InPlace;
    FileContent content; ///< stretches of the old file, and new bytes
};

} // namespace mv
