#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/NameList.h"
#include "cli/OrderedWork.h"
#include "cli/Output.h"
#include "cli/RecordText.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "cli/text/JsonText.h"
#include "client/MediaInfoClient.h"

#include <cerrno>
#include <memory>

namespace mv::cli {

namespace {

constexpr const char* Name = "describe";

// The services answer one call at a time each; a few files in flight keep several of them busy and hide the way
// there and back.
constexpr std::size_t FilesInFlight = 4;

constexpr const char* HowToDescribeAFolder
    = "is a folder; to describe what is in it: find FOLDER -type f -print0 | mivo describe --null --files-from -";

struct Form {
    bool json = false;
    bool pictures = false;
    bool emphasised = false;
};

/// The record of a file that no parser knew anything of, and whose name tells nothing either.
bool isOfNoKnownKind(const Record& record)
{
    return record.integer(MediaDBCommonColumnMediaType).value_or(0) == MVMediaTypeUnknown
        && !record.contains(MediaDBMusicColumnPlayLength) && !record.contains(MediaDBPhotoColumnWidth);
}

Result<std::string> describe(ServiceBus& bus, const std::string& file, const Form& form)
{
    auto path = inputPath(file);
    if (!path)
        return path.error().code == EISDIR ? Error { Error::Kind::Unsupported, HowToDescribeAFolder } : path.error();
    MV_TRY(record, describeFile(bus, *path));
    if (!record)
        return Error { Error::Kind::Format, "is no file that the service can describe" };
    if (isOfNoKnownKind(*record))
        return Error { Error::Kind::Format, "is a file of no known kind" };
    if (form.json)
        return JsonObject().text("path", file).record(*record, form.pictures).line() + "\n";
    return readableRecord(file, *record, form.emphasised);
}

/// A thread's own way to the service.
OrderedWork::Work makeWorker(const Form& form)
{
    auto opened = ServiceBus::open();
    if (!opened)
        return [&form, error = noConnection(opened.error())](
                   std::size_t, const std::string& file) { return failedFile(file, error, form.json); };
    std::shared_ptr<ServiceBus> bus = std::move(opened).value();
    return [&form, bus](std::size_t, const std::string& file) {
        auto described = describe(*bus, file, form);
        return described ? WorkResult { *described, "" } : failedFile(file, described.error(), form.json);
    };
}

Result<NameSource> namesOf(const Arguments& arguments)
{
    std::vector<NameList> lists;
    for (const std::string& list : arguments.values("files-from")) {
        MV_TRY(opened, NameList::open(list, arguments.has("null")));
        lists.push_back(std::move(opened));
    }
    return NameSource(arguments.files(), std::move(lists));
}

const char* slipIn(const Arguments& arguments)
{
    if (arguments.files().empty() && !arguments.has("files-from"))
        return "which file?";
    if (arguments.has("null") && !arguments.has("files-from"))
        return "--null is about the list of --files-from, and there is none";
    if (arguments.has("pictures") && !arguments.has("json"))
        return "--pictures goes with --json";
    return nullptr;
}

ExitStatus describeAll(NameSource& names, const Form& form)
{
    bool isFirst = true;
    OrderedWork work;
    work.next = [&] { return names.next(); };
    work.workers = FilesInFlight;
    work.makeWorker = [&] { return makeWorker(form); };
    work.emit = [&](std::size_t, const WorkResult& result) {
        bool apart = !form.json && !isFirst && !result.output.empty();
        isFirst = isFirst && result.output.empty();
        emitFile(Name, apart ? "\n" + result.output : result.output, result.complaint);
        // Nobody hears the rest, and the list may be one without an end.
        if (!canPrint())
            leaveNow(closeOutput(ExitStatus::SomeFailed));
    };
    return work.run();
}

ExitStatus run(const Arguments& arguments)
{
    if (const char* slip = slipIn(arguments))
        return misuse(Name, slip);
    auto names = namesOf(arguments);
    if (!names) {
        complain(Name, names.error().text);
        return ExitStatus::SomeFailed;
    }
    Form form { arguments.has("json"), arguments.has("pictures"), outputTakesEmphasis() };
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    ExitStatus status = describeAll(*names, form);
    if (names->failure()) {
        complain(Name, names->failure()->text);
        return worse(status, ExitStatus::SomeFailed);
    }
    return status;
}

constexpr std::array Options {
    Option { "json", nullptr, "one JSON object a line, in the order of the files" },
    Option { "pictures", nullptr, "with --json: put pictures in as base64, not their length alone" },
    Option { "files-from", "LIST", "describe the files named in LIST too, one a line; - is standard input", 0, aFile(),
        true },
    Option { "null", nullptr, "names in LIST end with a zero byte, as \"find -print0\" writes them" },
};

constexpr std::array Files { aFile() };

} // namespace

const Command describeCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE...",
    .summary = "Show what the service knows of audio, video and picture files",
    .details = "The name's ending decides who describes a file: .mp3, .m4a, .flac and .ogg, pictures, and the\n"
               "audio/video parser for everything else. Keys are the columns of the media database.\n\n"
               "To describe a folder with all that is in it:\n"
               "  find FOLDER -type f -print0 | mivo describe --null --files-from -",
    .options = Options,
    .files = Files,
    .minimumFiles = 0,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
