#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "system/InputFile.h"

#include <cstdint>
#include <memory>

namespace mv {

/// Reads small pieces of a file at any place through one window, so that a walk over boxes costs few reads and never
/// touches the media between them. Everything is checked against the size that the file had when it was opened.
/// Used by one thread at a time.
class StructureReader {
public:
    /// What one peek can show, and what one read fetches: the movie box of most songs without pictures is smaller.
    static constexpr std::size_t WindowSize = 8192;

    explicit StructureReader(InputFile file);
    /// Reads a file that somebody else owns and that outlives the reader.
    static StructureReader borrowing(const InputFile& file);
    /// Reads memory that outlives the reader.
    explicit StructureReader(ByteView memory);

    /// Bytes.
    std::uint64_t size() const { return m_size; }
    /// The `count` bytes (at most WindowSize) at `offset`; empty when they are not all there or cannot be read. Valid
    /// until the next call of any function.
    ByteView peek(std::uint64_t offset, std::size_t count);
    /// A copy of any length; checked against the file's size before memory is taken.
    Result<Bytes> copy(std::uint64_t offset, std::uint64_t count);

    // What was asked of the system so far; a measure of how well reading keeps to the structure.
    std::uint64_t readCount() const { return m_readCount; }
    std::uint64_t bytesRead() const { return m_bytesRead; }

private:
    StructureReader(std::shared_ptr<const InputFile> file, std::uint64_t size);
    bool holds(std::uint64_t offset, std::size_t count) const;

    std::shared_ptr<const InputFile> m_file; // null: memory
    ByteView m_memory;
    std::uint64_t m_size;
    Bytes m_window;
    std::uint64_t m_windowOffset = 0;
    std::uint64_t m_readCount = 0;
    std::uint64_t m_bytesRead = 0;
};

} // namespace mv
