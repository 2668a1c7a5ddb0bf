#include "cli/JobNames.h"

#include "Base/Core/Text.h"
#include "cli/InputPath.h"
#include "cli/Output.h"
#include "cli/Terminal.h"
#include "cli/mirror/SoundNames.h"
#include "cli/text/ReadableText.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

/// Nothing for a file that is skipped; complains of one that cannot be.
std::optional<PlacedJob> placedJob(const char* command, const JobNames& names, JobOutputs& outputs, ExitStatus& status)
{
    auto fail = [&](const std::string& file, const Error& error) {
        complain(command, file, error.text);
        status = worse(status, ExitStatus::SomeFailed);
        return std::nullopt;
    };
    auto source = inputPath(names.input);
    if (!source)
        return fail(names.input, source.error());
    auto place = outputs.placeFor(*source, names.output);
    if (!place)
        return fail(names.output, place.error());
    if (*place)
        return PlacedJob { names, *source, std::move(**place) };
    printToError(terminalText(names.output) + ": is there already, skipped\n");
    return std::nullopt;
}

constexpr std::array Mpeg4Endings { "m4a", "m4b", "m4r", "m4v", "mp4" };
constexpr std::array MovieEndings { "3gp", "avi", "mkv", "mov", "ogv", "webm", "wmv" };

bool isAmong(const auto& endings, std::string_view one) { return std::ranges::find(endings, one) != endings.end(); }

/// Whether a name promises another format than the one whose names have that ending (".mp3"): "song.m4a".
bool namesAnotherFormat(const std::string& name, std::string_view ending)
{
    const std::string named = toLowerAscii(Path(name).pathExtension());
    const std::string_view made = ending.substr(1);
    if (named == made || (isAmong(Mpeg4Endings, named) && isAmong(Mpeg4Endings, made)))
        return false;
    return isAmong(Mpeg4Endings, named) || isAmong(MovieEndings, named) || isSoundName(name);
}

} // namespace

Result<std::vector<JobNames>> jobNames(const Arguments& arguments, const std::string& ending)
{
    const auto& files = arguments.files();
    if (!arguments.has("to")) {
        if (files.size() != 2)
            return Error { Error::Kind::Format, "name an input and an output, or a folder with --to" };
        if (files[1] != files[0] && namesAnotherFormat(files[1], ending))
            return Error { Error::Kind::Format,
                files[1] + " would be of another format: the output's name ends in " + ending };
        return std::vector { JobNames { files[0], files[1] } };
    }
    std::vector<JobNames> names;
    for (const std::string& file : files) {
        std::string title(Path(file).lastPathComponentWithoutExtension());
        std::string output = Path(arguments.value("to")).appending(title + ending).text();
        if (std::any_of(names.begin(), names.end(), [&](const JobNames& other) { return other.output == output; }))
            return Error { Error::Kind::Format, "two inputs would become " + output };
        names.push_back({ file, output });
    }
    return names;
}

PlacedJobs placedJobs(const char* command, const Arguments& arguments, const std::string& ending)
{
    auto overwriting = overwritingFrom(arguments);
    auto names = overwriting ? jobNames(arguments, ending) : Result<std::vector<JobNames>>(overwriting.error());
    if (!names)
        return { {}, misuse(command, names.error().text) };
    JobOutputs outputs(*overwriting, ending);
    PlacedJobs placed;
    for (const JobNames& one : *names) {
        if (auto job = placedJob(command, one, outputs, placed.status))
            placed.jobs.push_back(std::move(*job));
    }
    return placed;
}

} // namespace mv::cli
