#pragma once

#include "Base/Core/Result.h"
#include "facts/Facts.h"
#include "system/OpenedFile.h"

#include <string_view>

namespace mv {

/// What a description is to hold beside what every description holds.
struct FactsWish {
    bool pictures = false; ///< the embedded pictures themselves, at most MaxFactPictures
};

/// Everything that is known of a file of sound, moving pictures or a picture, whatever its format: what it is by its
/// content, its tags, its streams, the camera's facts. `name` is the file's name without its folder; it may be empty,
/// and counts only where the content leaves the type open. A fact that is not known is left out.
///
/// Headers and tags are read, never media; of what has no header of its own the frames are walked. FFmpeg is asked only
/// for formats that nothing else here reads (Matroska, AVI, FLV, MPEG programme and transport streams, ASF with
/// pictures, raw AAC and AMR), which raises LibraryNotLoaded where it may not be loaded.
///
/// The errors' names are describeErrorName's. Safe on several threads at once.
Result<Facts> describe(const OpenedFile& file, std::string_view name, const FactsWish& wish);

/// Loads what descriptions on this thread otherwise load when it is first needed, FFmpeg aside: for a process that is
/// about to be closed to the file system.
void prepareDescribing();

} // namespace mv
