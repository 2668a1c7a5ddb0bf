#include "service/host/CommandLine.h"

#include <cstdio>
#include <string_view>

namespace mv {

namespace {

constexpr const char* Version = "mivo-mediad " MIVO_VERSION;

constexpr const char* Help
    = "mivo-mediad describes, tags and converts media files for other programs.\n"
      "\n"
      "Usage: mivo-mediad\n"
      "\n"
      "Publishes nine services on the session bus and answers them until it is told to quit (\"mivo quit\", SIGTERM, "
      "or\n"
      "the end of the bus). It has no settings and writes its log to standard error. The tool mivo starts it by "
      "itself.\n"
      "\n"
      "Options:\n"
      "  -h, --help     show this help\n"
      "  -V, --version  show the version\n"
      "\n"
      "Exit status: 0 told to quit, 1 a service's name is taken or there is no session bus, 2 misuse.";

int print(const char* text)
{
    bool written = std::puts(text) >= 0 && std::fflush(stdout) == 0;
    if (!written)
        std::perror("mivo-mediad: standard output");
    return written ? ExitDone : ExitNotPublished;
}

} // namespace

std::optional<int> answerCommandLine(std::span<char* const> words)
{
    if (words.empty())
        return std::nullopt;
    std::string_view first = words.front();
    if (first == "--help" || first == "-h")
        return print(Help);
    if (first == "--version" || first == "-V")
        return print(Version);
    std::fprintf(stderr,
        "mivo-mediad: it takes no \"%s\", only --help and --version; files are given to the tool mivo\n",
        words.front());
    return ExitMisuse;
}

} // namespace mv
