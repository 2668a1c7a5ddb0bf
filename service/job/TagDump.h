#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mv {

/// One field of an MPEG-4 file's tag, for people who look at it.
struct DumpedField {
    enum class Kind : std::uint8_t {
        Text = 1,
        Number, ///< in `number`
        Pair, ///< index and total in `number` and `total`
        Artwork, ///< its form (MP4TagArtworkType) in `number`, its bytes in `total`
        Freeform, ///< a text under a name that a program made up
    };

    Kind kind {};
    std::string name; ///< as the file has it where it is freeform; of artwork empty
    std::string text; ///< bytes of the file, UTF-8 or not
    std::uint64_t number = 0;
    std::uint64_t total = 0;

    bool operator==(const DumpedField&) const = default;
};

/// All fields, in the order in which they are shown.
using TagDump = std::vector<DumpedField>;

void encodeTagDump(const TagDump& dump, Bytes& out);
/// From bytes that nobody vouches for. Format for whatever encodeTagDump does not write.
Result<TagDump> decodeTagDump(ByteView bytes);

} // namespace mv
