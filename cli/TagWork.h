#pragma once

#include "cli/CallsInOrder.h"
#include "cli/TagState.h"
#include "client/Media1Client.h"

#include <functional>
#include <memory>
#include <string>

namespace mv::cli {

/// What one file's tags are to become.
struct TagOrder {
    std::string file; ///< as given
    /// What to tell the service, by what is known of the file.
    std::function<MediaTags(const Facts& present)> tags;
    std::string cover; ///< what people are told of a new cover
    bool onlyDifferent = false; ///< tags that the file shows already are not written, and then it is not shown
    bool isDry = false;
};

/// Changes a file's tags, or shows what would change: reads the file, writes, and looks at what the service says of it
/// afterwards. The result has every field before and after. `media` outlives the work.
void changeTags(Media1Client& media, TagOrder order, CallsInOrder::Finish finish);

/// "picture, 600 x 600, 42 kB": a cover for people, by what the service says of it. Never fails: what is not known is
/// left out.
std::string coverText(Media1Client& media, const Bytes& picture);

} // namespace mv::cli
