#include "cli/FileTexts.h"

#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"

#include <cstdio>

namespace mv::cli {

int printFileTexts(const char* command, const Arguments& arguments, FileText textOf)
{
    auto service = openService(command, arguments);
    if (!service)
        return 1;
    int status = 0;
    for (const std::string& file : arguments.files()) {
        auto text = textOf(*service->bus, file, arguments.has("json"));
        if (text) {
            std::fputs(text->c_str(), stdout);
            continue;
        }
        complain(command, file, sentenceFor(text.error()));
        status = 1;
    }
    return status;
}

} // namespace mv::cli
