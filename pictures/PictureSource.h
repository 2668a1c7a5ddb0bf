#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <memory>

namespace mv {

/// Where the bytes of an encoded picture are: a file that is read piece by piece, or memory.
class PictureSource {
public:
    virtual ~PictureSource() = default;
    virtual std::uint64_t size() const = 0;
    /// Copies what there is from `offset`; a short count, 0 included, means the end or a read error.
    virtual std::size_t readAt(std::uint64_t offset, std::span<std::uint8_t> target) const = 0;

    /// Exactly `count` bytes, checked against the size before anything is allocated.
    Result<Bytes> bytesAt(std::uint64_t offset, std::uint64_t count) const;

    static std::shared_ptr<const PictureSource> ofBytes(Bytes bytes);
    static Result<std::shared_ptr<const PictureSource>> ofFile(const Path& path);
};

} // namespace mv
