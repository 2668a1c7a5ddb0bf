#pragma once

#include "mp4/MetadataItems.h"

#include <vector>

namespace mv {

/// A movie box in memory, to be rebuilt with other metadata. Everything outside the metadata list and the free space
/// beside it stays as it is, but for the sizes of the boxes around it.
class MoovEditor {
public:
    /// Free space that a rebuilt list is given where the layout leaves the choice: room for some more texts, small
    /// beside any media.
    static constexpr std::uint64_t DefaultPadding = 2048;
    /// A day of sound has 15 MB of sample tables, to which a list of MaxTagBytes comes.
    static constexpr std::uint64_t MaxMovieBoxBytes = 128u << 20;
    static constexpr std::uint64_t FreeBoxHeader = 8;

    /// Reads the box and finds the place of its list. Fails with Limit for one beyond MaxMovieBoxBytes, with Format
    /// where boxes around the list overrun each other or the list is damaged, so that an edit could lose something.
    static Result<MoovEditor> load(StructureReader& reader, const Box& movieBox);

    /// The whole box as it is.
    ByteView bytes() const { return m_bytes; }

    /// Boxes that say what items of these codes say become free space of zeros: the list alone has it then.
    void hideRepeated(std::span<const std::uint32_t> codes);
    /// Takes new items; those equal to old ones keep their very bytes.
    void setItems(const MP4ItmfItemList& items);
    /// Size of the new list.
    std::uint64_t listSize() const { return m_list.size(); }
    /// Size of the rebuilt box without padding.
    std::uint64_t sizeWithoutPadding() const;
    /// The rebuilt box with `padding` bytes of free space (0, or at least FreeBoxHeader) behind its list.
    Bytes rebuilt(std::uint64_t padding) const;

private:
    enum class Missing { Nothing, Meta, UserData }; // of the boxes around the list
    struct OldItem {
        std::uint32_t code;
        ByteView box; // whole, in m_bytes
        ByteView payload;
    };

    explicit MoovEditor(Bytes bytes)
        : m_bytes(std::move(bytes))
    {
    }
    Result<void> locate();
    Result<void> takeList(StructureReader& reader, const Box& movie, const MetadataPlace& place);
    Result<void> takeEmptyPlace(StructureReader& reader, const Box& movie);
    static OldItem* takeEqual(std::vector<OldItem*>& candidates, const MP4ItmfItem& item);
    Bytes wrapped(Bytes inner) const;

    Bytes m_bytes; // moving keeps the views into it
    std::vector<OldItem> m_oldItems;
    std::vector<Box> m_parents; // boxes whose sizes change; offsets inside m_bytes
    std::uint64_t m_begin = 0; // what is replaced of m_bytes
    std::uint64_t m_end = 0;
    Missing m_missing = Missing::Nothing;
    Bytes m_list; // the new list, a whole box
};

} // namespace mv
