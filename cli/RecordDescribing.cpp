#include "cli/RecordDescribing.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
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

using Pipe = OrderedPipe<NamedFile, WorkResult>;

/// A thread's own way to the service.
Pipe::Work makeWorker(const Form& form)
{
    auto opened = ServiceBus::open();
    if (!opened)
        return [&form, error = noConnection(opened.error())](
                   std::size_t, const NamedFile& file) { return failedFile(file.name, error, form.json); };
    std::shared_ptr<ServiceBus> bus = std::move(opened).value();
    return [&form, bus](std::size_t, const NamedFile& file) {
        if (file.failure)
            return failedFile(file.name, *file.failure, form.json);
        auto described = describe(*bus, file.name, form);
        if (described)
            return WorkResult { *described, "" };
        // Among the files of a folder are others than media.
        bool isNoMatter = file.wasFound && described.error().kind == Error::Kind::Format;
        return isNoMatter ? WorkResult {} : failedFile(file.name, described.error(), form.json);
    };
}

} // namespace

ExitStatus describeRecords(const char* command, const Arguments& arguments, FileNames& names)
{
    Form form { arguments.has("json"), arguments.has("pictures"), outputTakesEmphasis() };
    auto service = openService(command, arguments);
    if (!service)
        return ExitStatus::NoService;
    bool isFirst = true;
    ExitStatus status = ExitStatus::Done;
    Pipe pipe;
    pipe.next = [&] { return names.next(); };
    pipe.workers = FilesInFlight;
    pipe.makeWorker = [&] { return makeWorker(form); };
    pipe.emit = [&](std::size_t, const WorkResult& result) {
        bool apart = !form.json && !isFirst && !result.output.empty();
        isFirst = isFirst && result.output.empty();
        emitFile(command, apart ? "\n" + result.output : result.output, result.complaint);
        status = worse(status, result.status);
        // Nobody hears the rest, and the list may be one without an end.
        if (!canPrint())
            leaveNow(closeOutput(ExitStatus::SomeFailed));
    };
    pipe.run();
    return status;
}

} // namespace mv::cli
