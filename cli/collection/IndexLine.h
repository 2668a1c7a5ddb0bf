#pragma once

#include "cli/collection/FileStamp.h"
#include "cli/facts/FactForms.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace mv::cli {

/// A line of an index, without its end: a JSON object with the path, the file's URI, which tells any name to the byte,
/// the stamp under "file", and what FactWriter has of the file or of the failure.
///
///     {"path":"/music/a.mp3","xesam:url":"file:///music/a.mp3","file":{"size":1,"mtime":"1.000000000","inode":1},...}
std::string indexLine(const DescribedFile& file, const FileStamp& stamp);
std::string indexLine(const std::string& path, const FactFailure& failure, const FileStamp& stamp);

/// No line is longer: the service gives a file less text than this.
inline constexpr std::size_t MostIndexLineBytes = std::size_t { 64 } << 20;

/// What an update needs to know of a line.
struct IndexEntry {
    std::string path;
    FileStamp stamp;
    /// A failure that says nothing of the file's content: it may be another one the next time.
    bool isWorthAnotherTry = false;
};

/// Nothing for a line that indexLine did not write.
std::optional<IndexEntry> readIndexLine(std::string_view line);

/// Whether a line that indexLine writes may begin so. Nothing does, too.
bool mayBeginIndexLine(std::string_view text);

} // namespace mv::cli
