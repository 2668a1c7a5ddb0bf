#include "service/job/WorkerWords.h"

#include <string_view>

namespace mv {

namespace {

constexpr std::string_view Light = "light";
constexpr std::string_view Media = "media";

} // namespace

std::vector<std::string> wordsOf(const std::string& program, const WorkerSetup& setup)
{
    return { program, std::string(setup.kind == WorkerKind::Media ? Media : Light), setup.zone };
}

WorkerSetup setupOf(std::span<const char* const> words)
{
    WorkerSetup setup;
    if (words.size() > 1 && words[1] == Media)
        setup.kind = WorkerKind::Media;
    if (words.size() > 2)
        setup.zone = words[2];
    return setup;
}

} // namespace mv
