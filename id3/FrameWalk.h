#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace mv {

/// Steps over the frames of an ID3v2 tag by their names and sizes; does not look into them.
///
/// A frame whose name is none (lower case, blanks, another script) is stepped over like any other when its size leads
/// to what can only be the right place: another frame, padding, or the end of the tag.
class FrameWalk {
public:
    /// `bytes` is the tag behind its header, unsynchronisation of the whole tag undone. Keeps a reference to it.
    FrameWalk(int majorVersion, ByteView bytes, bool hasExtendedHeader);

    /// The next frame, header included; nothing at padding, at the end, and where the walk cannot go on.
    std::optional<ByteView> next();
    /// The place behind the last frame.
    std::size_t position() const { return m_position; }
    /// Once there is no next frame: false when more may follow that was not found, because a size leads nowhere.
    bool reachedEnd() const { return m_reachedEnd; }

    std::size_t headerSize() const { return m_version == 2 ? 6 : 10; }
    /// The name of a frame as stored: three or four characters, a v2.2 name in a later tag without what pads it.
    std::string nameOf(ByteView frame) const;

private:
    std::size_t idSize() const { return m_version == 2 ? 3 : 4; }
    ByteView at(std::size_t position) const;
    std::size_t paddingBegin() const;
    bool isName(ByteView bytes) const;
    bool isPaddedShortName(ByteView bytes) const;
    bool mayBeFrame(ByteView bytes) const;
    struct Sizes {
        std::uint32_t own = 0; ///< as the version writes it
        std::uint32_t other = 0; ///< as the other version writes it; often the same
    };
    Sizes sizesAt(std::size_t position) const;
    bool isLoneZero(std::uint64_t position) const;
    bool isBorder(std::uint64_t position) const;
    bool isProvenBorder(std::uint64_t position, std::uint32_t frameSize) const;
    std::optional<std::uint32_t> sizeOfOddFrame(std::size_t position) const;
    std::optional<std::uint32_t> frameSize();
    void stepOverExtendedHeader();

    int m_version;
    ByteView m_bytes;
    mutable std::optional<std::size_t> m_paddingBegin; ///< from here on all bytes are zero; once a proof has asked
    std::size_t m_position = 0;
    bool m_reachedEnd = true;
    bool m_hasOtherSizes = false; ///< a frame's size led to a border only as the other version writes it
    mutable int m_oddSteps = 0; ///< that proofs took until now
};

} // namespace mv
