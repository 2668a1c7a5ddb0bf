#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "facts/TagNames.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// Numbers of a place: what every format holds.
inline constexpr std::int32_t MaxTagNumber = 65535;

/// What is to become of a file's tags: values of the keys that are named, none of them where the key is to go. Texts
/// are UTF-8, not empty, without zero bytes; numbers are decimal. Everything that is not named stays.
struct TagChanges {
    using Values = std::vector<std::string>;

    std::array<std::optional<Values>, TagKeyCount> values;
    std::optional<Bytes> frontCover; ///< JPEG or PNG; of no bytes where it is to go

    std::optional<Values>& operator[](TagKey key) { return values[static_cast<std::size_t>(key)]; }
    const std::optional<Values>& operator[](TagKey key) const { return values[static_cast<std::size_t>(key)]; }
    bool isNamed(TagKey key) const { return (*this)[key].has_value(); }
    /// The same texts and numbers, all of which are to go: for a second place that says them. Without the cover.
    TagChanges removalOfTexts() const;
    /// False where all that is named is to go.
    bool setsAnything() const;
    /// The number that is set; 0 where the key is to go.
    std::uint16_t number(TagKey key) const;

    bool operator==(const TagChanges&) const = default;
};

/// True for the front of an ISO 8601 date and time, as precise as one likes: "1999", "2010-05", "2010-05-04",
/// "2016-05-31T17", "2016-05-31T17:01", "2016-05-31T17:01:35+02:00", "...Z".
bool isTagDate(std::string_view text);

/// "image/jpeg" or "image/png" by the first bytes; empty for anything else.
std::string_view coverMimeType(ByteView picture);

/// Changes as bytes, from the host to a worker.
Bytes encodeTagChanges(const TagChanges& changes);
/// Format for bytes that encodeTagChanges does not write.
Result<TagChanges> decodeTagChanges(ByteView bytes);

} // namespace mv
