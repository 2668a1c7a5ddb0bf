// Any bytes as an index: its lines come in order, the file is as long as they say, and what is left when a cut line is
// dropped gives the same lines.
#include "cli/collection/FolderWalk.h"
#include "cli/collection/IndexFile.h"
#include "cli/collection/IndexReader.h"

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

using namespace mv;
using namespace mv::cli;

namespace {

struct Lines {
    std::vector<std::string> paths;
    std::uint64_t end = 0;
};

Lines linesOf(int file)
{
    Lines lines;
    IndexReader reader(file);
    for (; reader.entry(); reader.next()) {
        const std::string& path = reader.entry()->path;
        bool isBehind = lines.paths.empty() || precedes(lines.paths.back(), path);
        if (!isBehind || !reader.line().ends_with('\n') || reader.place() != lines.end)
            std::abort();
        lines.end += reader.line().size();
        lines.paths.push_back(path);
    }
    if (reader.place() != lines.end)
        std::abort();
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    UniqueFd file(memfd_create("index", MFD_CLOEXEC));
    if (!file || write(file.get(), data, size) != static_cast<ssize_t>(size))
        return 0;
    Lines before = linesOf(file.get());
    if (!dropCutLine(file.get()) || lseek(file.get(), 0, SEEK_END) < static_cast<off_t>(before.end))
        std::abort();
    if (linesOf(file.get()).paths != before.paths)
        std::abort();
    return 0;
}
