#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"
#include "system/ByteSource.h"

#include <cstdint>
#include <memory>

namespace mv {

/// A file that is made out of sight and takes its name at the end, whole or not at all. Until commit() the file of
/// that name, if there is one, stays as it is; without commit(), or when the process is killed, nothing is left (on
/// file systems without nameless files, and for a moment where a file is replaced, a kill may leave a hidden file
/// beside it). Not synced to the disk: for files that can be made again.
///
/// Whoever writes has a descriptor of the content and no name; commit() is asked of whoever made the file.
class OutputFile {
public:
    /// Refuses what could not be written in place either: a folder that is missing or may not be written to, a file
    /// of the name that may not be written to or is no regular file. A symbolic link is followed.
    static Result<std::unique_ptr<OutputFile>> create(const Path& path);
    /// The same for a name that is free: commit() fails with EEXIST where it is not any more.
    static Result<std::unique_ptr<OutputFile>> createNew(const Path& path);

    virtual ~OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    Result<void> writeAt(std::uint64_t offset, ByteView bytes);
    /// As much as there is; short only at the end of what was written.
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const;
    /// What was written so far, to be read by others. Outlives this.
    Result<SharedSource> written() const;
    /// Moves the first `length` bytes up by `distance`; what lies in the gap afterwards is not defined.
    Result<void> moveUp(std::uint64_t length, std::uint64_t distance);

    /// Gives the file its name, replacing what had it; mode and, where permitted, owner of that file are kept.
    /// Nothing may be written afterwards.
    virtual Result<void> commit() = 0;

    /// Bytes that whoever writes is to leave free for metadata, beside what such files always have: of a file that
    /// commit() puts some into.
    virtual std::uint32_t metadataRoom() const { return 0; }

    /// For whoever writes; stays this object's.
    int fd() const { return m_content.get(); }

protected:
    /// `content` is an empty file, open for reading and writing.
    explicit OutputFile(UniqueFd content)
        : m_content(std::move(content))
    {
    }

private:
    UniqueFd m_content;
};

} // namespace mv
