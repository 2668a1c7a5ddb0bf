#pragma once

#include <string>
#include <utility>

namespace mv {

/// Why an inner operation failed. Travels inside a Result; the edge of a service turns it into the promised
/// nil, NO or code.
struct Error {
    enum class Kind {
        NotFound, ///< the file or name does not exist
        Access, ///< exists, but may not be read or written
        Io, ///< the system failed a read, write or sync
        Format, ///< the content is not what it claims to be
        Unsupported, ///< the content is sound, but nothing here can take it
        Limit, ///< a named bound would be exceeded
        Cancelled,
        State, ///< the operation was asked for at the wrong time
    };

    Kind kind = Kind::Io;
    std::string text; ///< for people; never parsed
    int code = 0; ///< errno or a platform status, 0 where there is none
    std::string name = {}; ///< the name of the D-Bus error that this was, empty where it was none
};

} // namespace mv
