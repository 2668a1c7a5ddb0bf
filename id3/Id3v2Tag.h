#pragma once

#include "Base/Core/Bytes.h"
#include "system/ByteSource.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// Part of a file, in bytes.
struct TagExtent {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t end() const { return offset + size; }
    bool operator==(const TagExtent&) const = default;
};

/// One frame of an ID3v2 tag. The views stay valid as long as the tag it belongs to.
struct TagFrame {
    int majorVersion = 0; ///< of its tag
    /// Its name in v2.3, four characters: APIC for PIC, TYER for TYE and, in a v2.4 tag, TDRC. A v2.2 frame that has no
    /// such name keeps its three, a frame whose name is none what stands there.
    std::string id;
    /// Its content without the header, flags undone (unsynchronisation, compression, grouping, data length), in the
    /// form of its tag's version. Empty when not `readable`.
    ByteView body;
    /// Its name as stored, without what pads a v2.2 name in a later tag.
    std::string storedId;
    /// Header and content as stored in a tag of the tag's own version, to be carried byte for byte into another tag of
    /// that version. (Unsynchronisation of a whole v2.2 or v2.3 tag is undone in it.)
    ByteView stored;
    /// False for an encrypted frame, one that claims to unpack to more than is allowed, and one that does not unpack.
    bool readable = true;
    /// Of a frame of a v2.4 tag that is not readable: its content as v2.3 orders it, still encrypted or compressed, and
    /// the flags that say so.
    ByteView packed;
    std::uint16_t packedFlags = 0;
};

/// An ID3v2 tag, version 2.2, 2.3 or 2.4, taken apart under fixed bounds. Move-only: it owns what its frames show.
class Id3v2Tag {
public:
    static constexpr std::size_t HeaderSize = 10;
    static constexpr std::size_t FooterSize = 10;
    static constexpr std::size_t MaxFrames = 4096;

    struct Header {
        static constexpr std::uint8_t FooterFlag = 0x10;

        int majorVersion = 0; ///< 2, 3, 4, or another that is not read further
        std::uint8_t flags = 0;
        std::uint32_t bodySize = 0; ///< frames and padding, as the header claims
        bool hasFooter() const { return majorVersion == 4 && (flags & FooterFlag) != 0; }
        std::uint64_t totalSize() const
        {
            return HeaderSize + std::uint64_t { bodySize } + (hasFooter() ? FooterSize : 0);
        }
    };
    /// Nothing when the ten bytes are no tag header ("ID3", a sane version, a size without high bits).
    static std::optional<Header> parseHeader(ByteView bytes);
    /// The same for a footer ("3DI").
    static std::optional<Header> parseFooter(ByteView bytes);
    /// The header without a footer that it claims and that is not there: those ten bytes are audio, or the next tag.
    /// `behind` are the ten bytes behind the body, or fewer.
    static Header withoutFalseFooter(Header header, ByteView behind);
    /// Bytes of the tag at a place with what belongs to it; 0 where there is none. `tenAt` gives the ten bytes at a
    /// place, or fewer.
    static std::uint64_t sizeAt(std::uint64_t place, const std::function<Bytes(std::uint64_t place)>& tenAt);
    static std::uint64_t sizeAt(std::uint64_t place, const ByteSource& file);

    /// Takes the tag apart that lies at `offset` of a file of `fileSize` bytes. `body` is what lies behind the header,
    /// at most the header's bodySize of it; `unpackLimit` what its frames together may take beside it.
    static Id3v2Tag parse(
        const Header& header, std::uint64_t offset, std::uint64_t fileSize, Bytes body, std::size_t unpackLimit);

    Id3v2Tag(Id3v2Tag&&) = default;
    Id3v2Tag& operator=(Id3v2Tag&&) = default;

    const Header& header() const { return m_header; }
    int majorVersion() const { return m_header.majorVersion; }
    /// Where it lies in the file: header, extended header, frames, padding and footer. A tag that claims more than the
    /// file has ends with its last whole frame: its size is what is wrong, and audio may follow.
    TagExtent extent() const { return m_extent; }
    /// All frames in the order of the file, unknown ones too.
    const std::vector<TagFrame>& frames() const { return m_frames; }
    /// Bytes of memory that frames' content takes beside the tag as stored.
    std::size_t bytesUnpacked() const { return m_bytesUnpacked; }
    /// False when frames were or may have been left out: the tag is larger than the file or than the bounds, its
    /// version is unknown, the size of a frame leads nowhere, or a frame of a v2.4 tag is larger than what may be
    /// unpacked. Who rewrites such a tag would lose them.
    bool complete() const { return m_complete; }

private:
    Id3v2Tag() = default;
    friend class Id3v2Parser;

    Header m_header;
    TagExtent m_extent;
    Bytes m_bytes;
    std::deque<Bytes> m_unpacked;
    std::size_t m_bytesUnpacked = 0;
    std::size_t m_framesEnd = 0;
    std::vector<TagFrame> m_frames;
    bool m_complete = true;
};

} // namespace mv
