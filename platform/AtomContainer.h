#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "platform/QTMovie.h"

#include <vector>

namespace mv {

/// An atom of the movie toolkit's atom containers: either it has children, or it is a leaf and has data.
struct QTAtom {
    OSType type = 0;
    std::uint32_t id = 1;
    Bytes data; ///< leaves only
    std::vector<QTAtom> children;

    /// The first child of that type, null when there is none.
    const QTAtom* child(OSType wanted) const;
    /// A leaf's data as a number of 1, 2, 4 or 8 bytes, most significant first; 0 for other sizes.
    std::uint64_t number() const;
};

/// The bytes of a container: a header of 12 bytes (reserved 10, lock count 2), then the root atom. Each atom has a
/// header of 20 bytes (size, type, id, reserved 2, child count 2, reserved 4). All big-endian.
Bytes bytesOfAtomContainer(const QTAtom& root);
/// Reads what the function above writes. Bounded in depth; every size is checked against its parent's.
Result<QTAtom> readAtomContainer(ByteView bytes);

} // namespace mv
