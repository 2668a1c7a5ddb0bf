#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace mv {

/// The file that a job writes. Made for one job; a test replaces operations to make them fail.
class EncoderOutput {
public:
    EncoderOutput() = default;
    virtual ~EncoderOutput();
    EncoderOutput(const EncoderOutput&) = delete;
    EncoderOutput& operator=(const EncoderOutput&) = delete;

    /// Opens the file for writing, created or emptied. Fails, and leaves it untouched, when it is `input` itself under
    /// whatever name, and does not wait for a reader of a FIFO.
    virtual bool open(const Path& output, const Path& input);
    /// True when every byte was taken. They may reach the disk as late as the next seek or close.
    virtual bool write(ByteView bytes);
    /// A place from the start of the file; fails too when earlier bytes cannot be written.
    virtual bool seek(std::uint64_t offset);
    /// False when earlier bytes could not be written. A file that is not open is closed.
    virtual bool close();
    virtual void remove(const Path& output);

private:
    std::FILE* m_file = nullptr; // owned
};

} // namespace mv
