#pragma once

#include <mivo/Export.h>
#include <mivo/Value.h>

#include <cstddef>
#include <string>

namespace mivo {

/// An open file: a descriptor that this object owns, and closes.
class MIVO_API File {
public:
    /// More is not read at once unless it is asked for.
    static constexpr std::size_t UsualMost = 64u << 20;

    /// None.
    File() noexcept;
    /// Takes the descriptor over.
    explicit File(int descriptor) noexcept;
    /// Opens a file for reading, by any name that the system knows, UTF-8 or not; throws Error.
    static File open(const std::string& path);
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    ~File();

    explicit operator bool() const noexcept { return descriptor() >= 0; }
    /// Negative where there is none. Stays this object's.
    int descriptor() const noexcept;
    /// Gives the descriptor to the caller, who closes it.
    int release() noexcept;

    /// The whole content, whatever its position, which stays. Throws Error where it cannot be read, and where it is no
    /// regular file or larger than `most` bytes (Error::Kind::TooLarge).
    Bytes content(std::size_t most = UsualMost) const;

private:
    int m_descriptor;
};

} // namespace mivo
