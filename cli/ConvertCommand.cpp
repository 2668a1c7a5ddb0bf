#include "Base/Core/OSStatus.h"
#include "cli/CarriedTags.h"
#include "cli/Command.h"
#include "cli/ExportJob.h"
#include "cli/FileEncoding.h"
#include "cli/JobNames.h"
#include "cli/JobOptions.h"
#include "cli/Mirroring.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/ResultCodes.h"

#include <algorithm>

namespace mv::cli {

namespace {

constexpr const char* Name = "convert";
constexpr const char* Ending = ".m4a";
constexpr int BitsPerKilobit = 1000;
constexpr int UsualBitrate = 128;

Result<void> carryTags(const Path& source, const Path& made)
{
    SongTags tags = readSongTags(source);
    if (tags.isCut)
        complain(Name, source.text(), "not all of its tags fit into the new file's");
    return writeMp4Tags(made, tags);
}

/// As the exporter service does it, which takes some files that Mivo.Media1 does not.
ExportJob classicJob(const Arguments& arguments)
{
    ExportJob job;
    job.command = Name;
    job.ending = Ending;
    job.call = [bitrate = arguments.number("bitrate", UsualBitrate)](
                   ExporterClient& exporter, MVMP4ExporterDelegate& delegate, const Path& source, const Path& made) {
        return exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
            &delegate, source, made, bitrate * BitsPerKilobit);
    };
    // By the name's ending the service would write tags by itself: of an M4A file those of its record, with a small
    // picture as cover; of an MP3 file an ID3 tag in front, with which many programs do not read the new one.
    job.hidesSource = true;
    if (!arguments.has("no-tags"))
        job.finish = carryTags;
    return job;
}

MediaEncoding encodingFrom(const Arguments& arguments)
{
    MediaEncoding encoding;
    encoding.format = SoundFormat::Aac;
    auto bitrate = static_cast<std::uint32_t>(arguments.number("bitrate", UsualBitrate) * BitsPerKilobit);
    encoding.bitrate = std::max(bitrate, MinEncodingBitrate);
    return encoding;
}

ExitStatus convert(const Arguments& arguments)
{
    auto [jobs, status] = placedJobs(Name, arguments, Ending);
    if (jobs.empty())
        return status;
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    const FileEncoding encoding { Name, encodingFrom(arguments), !arguments.has("no-tags"),
        sentenceForCode(exporterCodes(), dskFulErr) };
    bool isSingle = !arguments.has("to");
    if (isSingle && arguments.number("bitrate", UsualBitrate) * BitsPerKilobit < static_cast<int>(MinEncodingBitrate))
        return worse(status, classicJob(arguments).runPlaced(*service->bus, jobs.front()));
    auto end = encoding.run(*service->bus, jobs, coreShares(arguments, jobs.size()), isSingle);
    status = worse(status, end.status);
    for (std::size_t refused : end.refused)
        status = worse(status, classicJob(arguments).runPlaced(*service->bus, jobs[refused]));
    return status;
}

ExitStatus mirror(const Arguments& arguments)
{
    auto order = mirrorOrderFrom(Name, arguments, { "to", "no-clobber" });
    if (!order)
        return misuse(Name, order.error().text);
    order->ending = "m4a";
    order->encoding = encodingFrom(arguments);
    order->how = "aac " + std::to_string(*order->encoding.bitrate / BitsPerKilobit);
    if (!order->carriesTags)
        order->how += " no-tags";
    return mirrorFolder(*order, arguments);
}

ExitStatus run(const Arguments& arguments)
{
    if (arguments.has("mirror"))
        return mirror(arguments);
    if (arguments.has("delete"))
        return misuse(Name, "--delete goes with --mirror");
    if (!arguments.has("to") && arguments.files().size() != 2)
        return misuse(
            Name, arguments.files().size() < 2 ? "there is a file name missing" : "there are too many file names");
    return convert(arguments);
}

constexpr std::array Options {
    Option { "to", "FOLDER", "convert every FILE into FOLDER, several at once", 0, aFolder() },
    Option { "bitrate", "KBITS", "bit rate in kbit/s, 1 to 256 (default 128)", 0, numberFrom(1, 256) },
    NoTagsOption,
    JobsOption,
    CoresOption,
    MirrorOption,
    DeleteOption,
    ForceOption,
    NoClobberOption,
};

constexpr std::array Files { aFile() };

} // namespace

const Command convertCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE OUT.m4a | --to FOLDER FILE... | --mirror SOURCE DESTINATION",
    .summary = "Convert audio files to AAC",
    .details
    = "The tags and the cover go along. Ctrl-C cancels and leaves nothing.\n\n"
      "One file is encoded on all cores that are free, several (--to, --mirror) side by side, which is --jobs at\n"
      "once with --cores each, but never more cores than there are.\n\n"
      "--mirror makes one folder a copy of another for a phone, as \"mivo encode --mirror\" does, with AAC.",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
