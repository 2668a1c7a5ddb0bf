#pragma once

#include "system/ByteSource.h"

#include <optional>

namespace mv {

/// A file whose ID3v2 tag at the front has its pictures cut short: all other frames are there, and what is behind the
/// tag follows it. Covers of some hundred kilobytes are stepped over, not read, by who does not want them.
class ShortenedTag final : public ByteSource {
public:
    /// Nothing where the file has no such tag, no large picture in it, or one that takes more than steps from frame to
    /// frame to read (unsynchronised, extended, of version 2.2, sizes that do not agree): that is read as it is.
    /// `source` must outlive it.
    static std::optional<ShortenedTag> of(const ByteSource& source);

    std::uint64_t size() const override { return m_source->size() - m_cut; }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override;

private:
    ShortenedTag(const ByteSource& source, Bytes front, std::uint64_t cut)
        : m_source(&source)
        , m_front(std::move(front))
        , m_cut(cut)
    {
    }

    const ByteSource* m_source;
    Bytes m_front; ///< what stands in place of the tag
    std::uint64_t m_cut; ///< bytes by which it is shorter
};

} // namespace mv
