#pragma once

#include "Base/Core/Result.h"
#include "arguments/Arguments.h"
#include "cli/ExitStatus.h"
#include "client/MediaRequests.h"

#include <initializer_list>
#include <string>

namespace mv::cli {

/// How a command mirrors a folder.
struct MirrorOrder {
    const char* command;
    const char* ending = ""; ///< of what is encoded: "mp3"
    MediaEncoding encoding; ///< with its format
    std::string how; ///< the same in words that a state keeps: what was made otherwise is made anew
    bool carriesTags = true;
    bool replaces = false; ///< files in the way that no mirror has made, too
    bool removes = false; ///< what has no source any more
};

/// The order that the options of all commands with --mirror give; its encoding and words are the command's. Fails with
/// a sentence where there are not two folders, or one of the `other` options.
Result<MirrorOrder> mirrorOrderFrom(
    const char* command, const Arguments& arguments, std::initializer_list<const char*> others);

/// Makes the second folder a mirror of the first: lossless sound encoded, other sound and pictures of covers copied,
/// only what has changed, as many at once as --jobs and --cores say. Tells what was done, and what failed.
ExitStatus mirrorFolder(const MirrorOrder& order, const Arguments& arguments);

} // namespace mv::cli
