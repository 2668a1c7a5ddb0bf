#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/JsonText.h"
#include "cli/OrderedWork.h"
#include "cli/RecordText.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/MediaInfoClient.h"

#include <cstdio>

namespace mv::cli {

namespace {

constexpr const char* Name = "describe";

// The services answer one call at a time each; a few files in flight keep several of them busy and hide the way
// there and back.
constexpr std::size_t FilesInFlight = 4;

struct Form {
    bool json = false;
    bool pictures = false;
    bool emphasised = false;
};

WorkResult failure(const std::string& file, const std::string& sentence, const Form& form)
{
    WorkResult result { "", file + ": " + sentence };
    if (form.json)
        result.output = JsonObject().text("FilePath", file).text("error", sentence).line() + "\n";
    return result;
}

WorkResult describe(ServiceBus& bus, const std::string& file, const Form& form)
{
    auto path = inputPath(file);
    if (!path)
        return failure(file, path.error().text, form);
    auto record = describeFile(bus, *path);
    if (!record)
        return failure(file, sentenceFor(record.error()), form);
    if (!*record)
        return failure(file, "is no file that the service can describe", form);
    if (form.json)
        return { jsonRecord(**record, form.pictures) + "\n", "" };
    return { readableRecord(file, **record, form.emphasised), "" };
}

/// A thread's own way to the service.
Work makeWorker(const std::vector<std::string>& files, const Form& form)
{
    auto opened = ServiceBus::open();
    if (!opened)
        return [&files, form, text = opened.error().text](std::size_t item) {
            return failure(files[item], "no connection to the session bus: " + text, form);
        };
    std::shared_ptr<ServiceBus> bus = std::move(opened).value();
    return [&files, form, bus](std::size_t item) { return describe(*bus, files[item], form); };
}

Result<std::vector<std::string>> filesOf(const Arguments& arguments)
{
    std::vector<std::string> files = arguments.files();
    for (const std::string& list : arguments.values("files-from")) {
        MV_TRY(names, namesFromList(list, arguments.has("null")));
        files.insert(files.end(), names.begin(), names.end());
    }
    return files;
}

int run(const Arguments& arguments)
{
    auto files = filesOf(arguments);
    if (!files) {
        complain(Name, files.error().text);
        return 1;
    }
    if (files->empty() && !arguments.has("files-from")) {
        complain(Name, "which file? Try \"mivo describe --help\".");
        return 1;
    }
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    Form form { arguments.has("json"), arguments.has("pictures"), outputIsTerminal() };
    bool failed = false;
    runInOrder(
        files->size(), FilesInFlight, [&] { return makeWorker(*files, form); },
        [&](std::size_t item, const WorkResult& result) {
            if (!form.json && item > 0 && !result.output.empty())
                std::fputs("\n", stdout);
            std::fputs(result.output.c_str(), stdout);
            if (result.complaint.empty())
                return;
            failed = true;
            complain(Name, result.complaint);
        });
    return failed ? 1 : 0;
}

constexpr std::array kOptions {
    Option { "json", nullptr, "one JSON object a line, in the order of the files" },
    Option { "pictures", nullptr, "with --json: put pictures in as base64, not their length alone" },
    Option { "files-from", "LIST", "describe the files named in LIST too, one a line; - is standard input" },
    Option { "null", nullptr, "names in LIST end with a zero byte, as \"find -print0\" writes them" },
};

} // namespace

const Command describeCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE...",
    .summary = "Show what the service knows of audio, video and picture files",
    .details = "The name's ending decides who describes a file: .mp3, .m4a, .flac and .ogg, pictures, and the\n"
               "audio/video parser for everything else. Keys are the columns of the media database.",
    .options = kOptions,
    .minimumFiles = 0,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
