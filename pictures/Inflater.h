#pragma once

#include "Base/Core/Bytes.h"

#include <memory>

namespace mv {

/// Undoes zlib compression, piece by piece: by igzip where it was there at build time, which is twice as fast, else by
/// zlib.
class Inflater {
public:
    Inflater();
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// True when the input given last is used up.
    bool wantsInput() const;
    /// The bytes must stay where they are until they are used up.
    void giveInput(ByteView bytes);
    /// Fills `target` as far as the input reaches, which may be after the input is used up; 0 with input left means the
    /// end, or damage.
    std::size_t inflate(std::span<std::uint8_t> target);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// A whole compressed block; what came out before damage, empty when it would be larger than `limit`.
Bytes inflateWhole(ByteView compressed, std::size_t limit);

} // namespace mv
