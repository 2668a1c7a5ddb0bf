#pragma once

#include "id3/TagReader.h"
#include "service/tagedit/Id3NewFrame.h"

#include <vector>

namespace mv {

/// The first byte of a frame's text: behind its header and the encoding.
inline constexpr std::size_t FrameTextBegin = 10 + 1;
/// Behind the language, too.
inline constexpr std::size_t CommentTextBegin = FrameTextBegin + 3;

/// True for a part of the date, by its name in v2.3 or v2.4: a year, a day, a time, a time stamp.
bool isDate(const NewFrame& frame);
/// True for a date that is told where there is none: that of the release or of the original.
bool isDateOfOther(const NewFrame& frame);

/// True for a frame that holds nothing but zeros and byte order marks from that byte on. Of what is compressed or
/// encrypted nothing is known: it is not empty.
bool isEmptyFrame(const NewFrame& frame, std::size_t begin);

/// The frames of the counting tags as those of one. Of several tags the first that says something counts for it, as it
/// does where they are read. A tag keeps its version; v2.2, and tags of several versions together, become v2.3.
struct Id3OldFrames {
    int version = 4; ///< 3 or 4
    bool isConverted = false;
    std::vector<NewFrame> frames; ///< those without names behind the others

    explicit Id3OldFrames(const TagSet& tags);
};

} // namespace mv
