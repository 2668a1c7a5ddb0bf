#pragma once

#include "cli/mirror/MirrorState.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace mv::cli {

/// A file that is to be mirrored.
struct MirrorFile {
    std::string path; ///< below the source
    std::uint64_t size = 0;
    std::int64_t modified = 0; ///< nanoseconds since 1970
};

/// What differs between a folder and its mirror.
struct MirrorPlan {
    std::vector<MirrorFile> changed; ///< to be made, in the order of the files
    std::vector<MirrorEntry> unchanged;
};

/// The size of what is in the mirror at that path; nothing where no regular file is.
using MadeSize = std::function<std::optional<std::uint64_t>(const std::string& to)>;

/// A file is unchanged that has its size and time, whose copy has the size that was made, and whose copy was made with
/// the settings of now (or copied as it is).
MirrorPlan mirrorPlan(
    const MirrorState& state, const std::vector<MirrorFile>& files, const std::string& how, const MadeSize& madeSize);

/// What nothing makes any more: entries whose names none of the sources has now, but for those of sources that are
/// there and could not be read.
using MirrorNames = std::map<std::string, std::string>; ///< of the mirror, and of their sources
std::vector<MirrorEntry> goneFrom(
    const MirrorState& state, const MirrorNames& names, const std::set<std::string>& unreadSources);

/// "a/b.flac" with another ending: "a/b.mp3".
std::string withEnding(const std::string& path, std::string_view ending);

/// Whether a mirror takes files of that name along: sound, and pictures that are called as covers are ("cover.jpg").
bool isMirrored(const std::string& name);
bool isCoverName(const std::string& name);

} // namespace mv::cli
