#pragma once

#include <cstddef>
#include <cstdint>

namespace mv {

// The process table as an array of fixed records of the 32-bit layout that its readers know.
inline constexpr std::size_t ProcessRecordSize = 492; ///< bytes of one record
inline constexpr std::size_t ProcessRecordPidOffset = 24; ///< the process id, signed 32-bit, native order
inline constexpr std::size_t ProcessRecordNameOffset = 163; ///< the command name, NUL-terminated
inline constexpr std::size_t ProcessRecordNameLength = 16; ///< characters of a name that are kept at most

/// Reads the table of all processes into `buffer` of `*size` bytes; with a null buffer only tells the size that would
/// do. On success `*size` is the number of bytes that hold records. Returns 0, or -1 with errno (ENOMEM when the
/// buffer is too small).
int sysctlProcessTable(void* buffer, std::size_t* size);

} // namespace mv
