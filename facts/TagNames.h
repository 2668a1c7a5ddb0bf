#pragma once

#include "facts/FactNames.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace mv {

/// What can be written of a file's tags, in every format.
enum class TagKey : std::uint8_t {
    Title,
    Album,
    Artist,
    AlbumArtist,
    Composer,
    Genre,
    Comment,
    Date,
    Track,
    TrackTotal,
    Disc,
    DiscTotal,
};

/// The fact of each TagKey, in its order; its type there is the type of what sets it.
inline constexpr std::array TagKeyFacts { fact::Title, fact::Album, fact::Artist, fact::AlbumArtist, fact::Composer,
    fact::Genre, fact::Comment, fact::ContentCreated, fact::TrackNumber, fact::TrackTotal, fact::DiscNumber,
    fact::DiscTotal };
inline constexpr std::size_t TagKeyCount = TagKeyFacts.size();

/// The picture's key; no fact has it.
inline constexpr std::string_view FrontCoverKey = "mivo:frontCover";

/// The key of that fact; nothing for what is not written.
constexpr std::optional<TagKey> tagKeyOf(std::string_view fact)
{
    const auto* found = std::find(TagKeyFacts.begin(), TagKeyFacts.end(), fact);
    return found == TagKeyFacts.end() ? std::nullopt : std::optional(static_cast<TagKey>(found - TagKeyFacts.begin()));
}

/// The type of what sets it.
constexpr FactType typeOf(TagKey key) { return FactRows[*factRowOf(TagKeyFacts[static_cast<std::size_t>(key)])].type; }

} // namespace mv
