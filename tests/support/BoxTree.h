#pragma once

#include "Base/Core/Bytes.h"

#include <string>
#include <vector>

namespace mv::test {

/// The boxes of an ISO media file, read for tests alone: whole files in memory, no limits.
struct BoxTree {
    std::string type;
    std::size_t offset = 0; ///< of the box's header, from the start of the bytes
    ByteView content; ///< behind the header; for containers the children's bytes
    std::vector<BoxTree> children;

    /// The first box at a path such as "moov/trak/mdia"; throws std::runtime_error where there is none.
    const BoxTree& at(const std::string& path) const;
    bool has(const std::string& path) const;
    std::vector<const BoxTree*> all(const std::string& childType) const;
    /// Big-endian numbers of the content.
    std::uint32_t u32(std::size_t at) const;
    std::uint16_t u16(std::size_t at) const;

private:
    const BoxTree* find(const std::string& path) const;
};

/// The top level as the children of a box without a type; views into `bytes`.
BoxTree readBoxes(ByteView bytes);

} // namespace mv::test
