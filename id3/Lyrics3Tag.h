#pragma once

#include "Base/Core/Bytes.h"

#include <string_view>
#include <vector>

namespace mv {

/// A field of a block of version 2; views into it.
struct Lyrics3Field {
    std::string_view name; ///< three letters
    ByteView content;
    ByteView stored; ///< with its name and size
};

/// The fields of a block of version 2, from "LYRICSBEGIN" to its closing mark.
struct Lyrics3Fields {
    std::vector<Lyrics3Field> fields; ///< up to one that cannot be read
    bool isWhole = false; ///< true when there is none such

    static Lyrics3Fields of(ByteView block);
    /// A block of these fields; empty for none.
    Bytes block() const;
};

/// The texts of a Lyrics3 block, in an unknown code page like ID3v1's. Empty where the block has none.
struct Lyrics3Tag {
    Bytes title; ///< ETT: ID3v1's title in full length
    Bytes artist; ///< EAR
    Bytes album; ///< EAL
    Bytes information; ///< INF
    bool hasLyrics = false;
    Bytes lyrics; ///< LYR; of version 1 all of the block
    bool lyricsHaveTimes = false; ///< IND says that the lyrics carry time stamps

    /// `block` is the whole block from "LYRICSBEGIN" to its closing mark.
    static Lyrics3Tag parse(ByteView block, bool isVersion2);
};

} // namespace mv
