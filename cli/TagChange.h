#pragma once

#include "Base/Core/Result.h"
#include "arguments/Arguments.h"
#include "client/MediaRequests.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// A field of a tag that the tool can change.
struct TagField {
    enum class Kind { Text, Texts, Date, Number, Picture };

    const char* name; ///< of its option
    std::string_view key; ///< of the fact; the cover's is FrontCoverTag
    Kind kind;
    std::string_view totalKey = {}; ///< of a number's total
};

std::span<const TagField> tagFields();

/// The fields' names, in the fields' order, and "art", which is another name of the cover.
inline constexpr std::array TagFieldNames { "title", "artist", "album", "album-artist", "composer", "genre", "date",
    "comment", "track", "disc", "cover", "art" };

/// Null for a name that none has.
const TagField* tagFieldNamed(std::string_view name);

/// What a command line asks of a field.
struct TagChange {
    const TagField* field = nullptr;
    TagValue value; ///< nothing: the field is to be emptied
    int total = 0; ///< of a number: "3/12" has one; 0 for none
};

/// Fails with a sentence at a number or date that is none, text that is no UTF-8, a field that is set and emptied, or a
/// picture that cannot be read (Error::Kind::Io).
Result<std::vector<TagChange>> tagChanges(const Arguments& arguments);

/// A new number whose total is not named leaves the one that the file has, unless that is smaller: then it goes.
void removeSmallerTotals(MediaTags& tags, const Facts& present);

/// What the service is to be told for a file of which `present` is known. With a number goes its total, too.
MediaTags tagsFor(const std::vector<TagChange>& changes, const Facts& present);

/// A cover as tags hold it: JPEG and PNG as they are, unless PNG is not wanted; every other picture becomes a JPEG.
Result<Bytes> coverFrom(Bytes picture, bool keepsPng);

} // namespace mv::cli
