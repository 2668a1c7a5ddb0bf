#pragma once

#include "id3/Id3v2Tag.h"
#include "service/tags/Id3Frame.h"

namespace mv {

/// A frame of the tag that is written.
struct NewFrame {
    std::string id; ///< in v2.3
    bool isNameless = false; ///< many readers stop at such a one
    bool isPlainComment = false;
    std::string userName; ///< UTF-8; of a text of the user's, of which FFmpeg makes the field that is called so
    bool isFrontCover = false;
    std::string text; ///< of places alone
    Bytes bytes; ///< with its header

    /// As it stands in a tag of the same version. Sizes are written as the version has them, which not every program
    /// does.
    static NewFrame carried(const TagFrame& frame, bool tagUnsynchronised);
    /// One of v2.3.
    static NewFrame carried(const Id3Frame& frame);
    /// One with that body, of which nothing else is known.
    static NewFrame made(int version, std::string_view id, ByteView body);
};

} // namespace mv
