#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <functional>
#include <string>

namespace mv {
class Arguments;
}

namespace mv::cli {

/// What is to become of a file that is there already.
enum class Overwriting { Refuse, Replace, Skip };

/// --force and --no-clobber; fails with a sentence when both are given.
Result<Overwriting> overwritingFrom(const Arguments& arguments);

/// Where a command's output goes, found out before there is any. A name is followed through links to what it leads to:
/// a regular file, there or not yet, is written whole or not at all; a character device, a pipe or a stream that the
/// tool was started with ("-", /dev/stdout, /dev/fd/N) is written to and stays what it is. Everything else is refused,
/// disks too: what is on them would be lost.
class Destination {
public:
    static Result<Destination> find(const std::string& argument);

    bool isFile() const { return m_isFile; }
    /// Of a file, without links; of a device or pipe as it was given.
    const Path& path() const { return m_path; }
    /// True for a file that is there now.
    bool exists() const;

    /// Replaces a file by a new one with that content, or writes into the stream.
    Result<void> write(ByteView content) const;
    /// The same with a finished file as content, which lies in the folder of the destination when that is a file, and
    /// is gone afterwards. Unless it `mayReplace`, a file that came to be there meanwhile stays.
    Result<void> take(const Path& made, bool mayReplace) const;

private:
    Destination(Path path, bool isFile, int openStream)
        : m_path(std::move(path))
        , m_isFile(isFile)
        , m_openStream(openStream)
    {
    }

    Result<void> writeStream(const std::function<Result<void>(int fd)>& write) const;

    Path m_path;
    bool m_isFile;
    int m_openStream; ///< the descriptor of a stream that is open already; -1 for none
};

} // namespace mv::cli
