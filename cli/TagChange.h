#pragma once

#include "Base/Core/Result.h"
#include "Base/Media/Record.h"
#include "arguments/Arguments.h"
#include "cli/TagTotals.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace mv::cli {

/// A field of a tag that the tool can change.
struct TagField {
    enum class Kind { Text, Number, Picture };

    const char* name; ///< of its option
    std::string_view key;
    Kind kind;
};

std::span<const TagField> tagFields();

/// The fields' names, in the fields' order.
inline constexpr std::array TagFieldNames { "title", "artist", "album", "album-artist", "composer", "genre", "date",
    "comment", "track", "disc", "art" };

/// What a command line asks of a tag.
struct TagChange {
    const TagField* field = nullptr;
    Value value; ///< null: the field is to be emptied
    int total = 0; ///< of a number: "3/12" has one; 0 for none
};

/// Fails with a sentence at an unknown field, a number that is none, or a picture that cannot be read.
Result<std::vector<TagChange>> tagChanges(const Arguments& arguments);

/// The record that the tag updater is to get for a file of that media type, so that the changes are made and nothing
/// else changes. Fails where the format has no such field.
Result<Record> recordForUpdate(std::int32_t mediaType, const Record& current, const std::vector<TagChange>& changes);

/// The totals that the file is to have after the changes, where that is not what the service makes of them: those that
/// were asked for, and for a track of an MP3 file, whose total the service drops, the present one if it still fits.
TagTotals totalsForUpdate(std::int32_t mediaType, const TagTotals& present, const std::vector<TagChange>& changes);

/// True when the record that the file has now shows the change.
bool isDone(const TagChange& change, const Record& now);

} // namespace mv::cli
