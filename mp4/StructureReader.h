#pragma once

#include "system/SourceWindow.h"

namespace mv {

/// Reads small pieces of a file at any place through one window, so that a walk over boxes costs few reads and never
/// touches the media between them. Everything is checked against the size that the file had when it was opened.
/// Used by one thread at a time.
class StructureReader {
public:
    /// What one peek can show, and what one read fetches: the movie box of most songs without pictures is smaller.
    static constexpr std::size_t WindowSize = 8192;

    explicit StructureReader(SharedSource source);
    /// Reads what somebody else owns and what outlives the reader.
    static StructureReader borrowing(const ByteSource& source);
    /// Reads memory that outlives the reader.
    explicit StructureReader(ByteView memory);

    /// Bytes.
    std::uint64_t size() const { return m_window.end(); }
    /// The `count` bytes (at most WindowSize) at `offset`; empty when they are not all there or cannot be read. Valid
    /// until the next call of any function.
    ByteView peek(std::uint64_t offset, std::size_t count);
    /// A copy of any length; checked against the file's size before memory is taken.
    Result<Bytes> copy(std::uint64_t offset, std::uint64_t count);

private:
    SharedSource m_source;
    ByteView m_memory; ///< shown as it lies, without the window; null for other sources
    SourceWindow m_window;
};

} // namespace mv
