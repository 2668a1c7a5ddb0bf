#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"

#include <cstdint>
#include <memory>

namespace mv {

/// A file that is written where it is, from its start on, in steps that are gathered. For one thread at a time.
class FileInPlace {
public:
    /// Of a descriptor that is open for writing; null where there is no memory for it.
    static std::unique_ptr<FileInPlace> of(UniqueFd file);

    virtual ~FileInPlace() = default;
    FileInPlace(const FileInPlace&) = delete;
    FileInPlace& operator=(const FileInPlace&) = delete;

    /// True when every byte was taken. They may reach the disk as late as the next seek or close.
    virtual bool write(ByteView bytes) = 0;
    /// A place from the start of the file; fails too when earlier bytes cannot be written.
    virtual bool seek(std::uint64_t offset) = 0;
    /// False when earlier bytes could not be written. A file that is closed already stays so.
    virtual bool close() = 0;

protected:
    FileInPlace() = default;
};

} // namespace mv
