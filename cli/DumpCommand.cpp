#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/Terminal.h"
#include "service/parsers/MP4Parser.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "dump";

int run(const Arguments& arguments)
{
    int status = 0;
    for (const std::string& file : arguments.files()) {
        auto path = inputPath(file);
        if (!path)
            complain(Name, file, path.error().text);
        // The parser's own diagnosis; it is not among the operations that the service offers, so it runs here.
        else if (MP4Parser().testMp4v2(*path) == 0)
            continue;
        else
            complain(Name, file, "cannot be opened as an MPEG-4 file that may be written to");
        status = 1;
    }
    return status;
}

} // namespace

const Command dumpCommand {
    .name = Name,
    .synopsis = "FILE...",
    .summary = "Print every tag field of MPEG-4 files (MP4, M4A, M4V)",
    .details = "",
    .options = {},
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
