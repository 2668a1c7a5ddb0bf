#pragma once

#include "Base/Core/Bytes.h"

#include <optional>

namespace mv {

/// The texts of a Lyrics3 block, in an unknown code page like ID3v1's. Empty where the block has none.
struct Lyrics3Tag {
    Bytes title; ///< ETT: ID3v1's title in full length
    Bytes artist; ///< EAR
    Bytes album; ///< EAL
    Bytes information; ///< INF
    bool hasLyrics = false;
    bool lyricsHaveTimes = false; ///< IND says that the lyrics carry time stamps

    /// `block` is the whole block from "LYRICSBEGIN" to its closing mark.
    static Lyrics3Tag parse(ByteView block, bool isVersion2);
};

} // namespace mv
