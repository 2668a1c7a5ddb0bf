#pragma once

#include "Base/Core/Bytes.h"
#include "system/ByteSource.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace mv {

/// What the boxes of a HEIC or AVIF file say of its items: pictures, smaller pictures of them, tiles, Exif blocks. Read
/// from the meta box alone, within bounds; boxes that are damaged say nothing.
class HeifItems {
public:
    /// A property of items: its box, as far as it matters.
    struct Property {
        std::uint32_t type = 0;
        Bytes content; ///< the first 16 bytes
    };

    /// Nothing where there is no meta box.
    static std::optional<HeifItems> read(const ByteSource& source);

    /// The picture that the file shows.
    std::uint32_t primary() const { return m_primary; }
    /// The first item that is an Exif block.
    std::optional<std::uint32_t> exif() const { return m_exif; }
    /// In the order in which they are to be applied.
    std::vector<const Property*> propertiesOf(std::uint32_t item) const;
    /// Whether two items are turned, mirrored and cut alike once they are decoded. Cuts count as alike where both are
    /// cut: their numbers are those of pictures of different sizes.
    bool areTurnedAlike(std::uint32_t one, std::uint32_t other) const;
    /// The first piece of an item, empty where it is not all there or larger than `most` bytes.
    Bytes firstPieceOf(std::uint32_t item, const ByteSource& source, std::uint64_t most) const;

private:
    friend class HeifItemsReader;

    struct Place {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };
    std::optional<Place> locate(std::uint32_t item) const;

    std::uint32_t m_primary = 0;
    std::optional<std::uint32_t> m_exif;
    Bytes m_locations; ///< the box's content
    Place m_data; ///< of items that lie in the meta box itself
    std::vector<Property> m_properties;
    std::vector<Bytes> m_associations; ///< the boxes' contents
};

} // namespace mv
