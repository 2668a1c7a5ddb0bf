#pragma once

#include <mivo/File.h>

#include <memory>
#include <string>

namespace mivo {

class SourceContent;

/// A file to be read: by its path, which the service opens with the rights of its own process, or one that this process
/// has opened, for names that are not UTF-8 and for what the service itself may not open.
class MIVO_API Source {
public:
    /// UTF-8; a relative one is taken from this process's working folder.
    Source(const char* path);
    Source(std::string path);
    /// A descriptor that is open for reading, which is copied and stays the caller's. It is read from its own
    /// beginning, and its position stays. The name, which may be empty, helps where the content leaves the type open,
    /// and is what messages say. Throws Error where the descriptor is none.
    Source(const File& opened, std::string name = {});
    static Source descriptor(int opened, std::string name = {});
    Source(const Source& other);
    Source& operator=(const Source& other);
    ~Source();

private:
    friend class SourceContent;

    std::shared_ptr<const SourceContent> m_content;
};

} // namespace mivo
