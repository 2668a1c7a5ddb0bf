#include "cli/CallsInOrder.h"
#include "cli/CarriedTags.h"
#include "cli/Command.h"
#include "cli/ExportJob.h"
#include "cli/FileTexts.h"
#include "cli/Interruption.h"
#include "cli/JobNames.h"
#include "cli/JobOptions.h"
#include "cli/Mirroring.h"
#include "cli/PlayLength.h"
#include "cli/ProgressDisplay.h"
#include "cli/ServiceAccess.h"
#include "cli/SoundJobs.h"
#include "cli/Terminal.h"

#include <algorithm>

namespace mv::cli {

namespace {

constexpr const char* Name = "convert";
constexpr int BitsPerKilobit = 1000;
constexpr int UsualBitrate = 128;

Result<void> carryTags(const Path& source, const Path& made)
{
    SongTags tags = readSongTags(source);
    if (tags.isCut)
        complain(Name, source.text(), "not all of its tags fit into the new file's");
    return writeMp4Tags(made, tags);
}

ExitStatus convertOne(const Arguments& arguments)
{
    ExportJob job;
    job.command = Name;
    job.ending = ".m4a";
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
    return job.run(arguments);
}

MediaEncoding encodingFrom(const Arguments& arguments)
{
    MediaEncoding encoding;
    encoding.format = SoundFormat::Aac;
    auto bitrate = static_cast<std::uint32_t>(arguments.number("bitrate", UsualBitrate) * BitsPerKilobit);
    encoding.bitrate = std::max(bitrate, MinEncodingBitrate);
    return encoding;
}

/// Several files, side by side.
class Conversion {
public:
    Conversion(ServiceBus& bus, const std::vector<PlacedJob>& jobs, const Arguments& arguments)
        : m_media(bus)
        , m_sounds(m_media)
        , m_jobs(jobs)
        , m_arguments(arguments)
        , m_display(titles(bus, jobs), errorTakesDrawing(), terminalWidth())
    {
    }

    ExitStatus run()
    {
        Interruption interruption;
        std::size_t next = 0;
        auto begin = [&](const CallsInOrder::Finish& finish) {
            if (interruption.asked() || next == m_jobs.size())
                return false;
            beginOne(next++, finish);
            return true;
        };
        CallsInOrder work(m_media, jobsAtOnce(m_arguments), begin,
            [](const WorkResult& one) { emitFile(Name, one.output, one.complaint); });
        work.whileWaiting([&] {
            if (interruption.asked())
                m_sounds.cancelAll();
        });
        ExitStatus status = work.run();
        return interruption.asked() ? ExitStatus::Interrupted : status;
    }

private:
    static std::vector<ProgressDisplay::Job> titles(ServiceBus& bus, const std::vector<PlacedJob>& jobs)
    {
        std::vector<ProgressDisplay::Job> all;
        all.reserve(jobs.size());
        for (const PlacedJob& job : jobs)
            all.push_back({ std::string(Path(job.names.output).lastPathComponent()), playLength(bus, job.source) });
        return all;
    }

    void beginOne(std::size_t i, const CallsInOrder::Finish& finish)
    {
        const PlacedJob& job = m_jobs[i];
        m_display.start(i);
        m_sounds.begin(
            { job.source, job.place.made, encodingFrom(m_arguments), !m_arguments.has("no-tags") },
            [this, i](double part) { m_display.progress(i, part * 100); },
            [this, i, finish](const Result<bool>& isCut) { finish(ended(i, isCut)); });
    }

    WorkResult ended(std::size_t i, const Result<bool>& isCut)
    {
        const PlacedJob& job = m_jobs[i];
        if (!isCut && isCut.error().kind == Error::Kind::Cancelled) {
            m_display.finish(i, "cancelled");
            return {};
        }
        auto delivered = isCut ? job.place.deliver() : Result<void>();
        m_display.finish(i, isCut && delivered ? "done" : "failed");
        if (!isCut)
            return failedFile(job.names.input, isCut.error(), false);
        if (!delivered)
            return failedFile(job.names.output, delivered.error(), false);
        return { "", *isCut ? job.names.input + ": not all of its tags fit into the new file's" : "" };
    }

    Media1Client m_media;
    SoundJobs m_sounds;
    const std::vector<PlacedJob>& m_jobs;
    const Arguments& m_arguments;
    ProgressDisplay m_display;
};

ExitStatus convertSeveral(const Arguments& arguments)
{
    auto [jobs, status] = placedJobs(Name, arguments, ".m4a");
    if (jobs.empty())
        return status;
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    return worse(status, Conversion(*service->bus, jobs, arguments).run());
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
    if (arguments.has("to"))
        return convertSeveral(arguments);
    if (arguments.files().size() != 2)
        return misuse(
            Name, arguments.files().size() < 2 ? "there is a file name missing" : "there are too many file names");
    return convertOne(arguments);
}

constexpr std::array Options {
    Option { "to", "FOLDER", "convert every FILE into FOLDER, several at once", 0, aFolder() },
    Option { "bitrate", "KBITS", "bit rate in kbit/s, 1 to 256 (default 128)", 0, numberFrom(1, 256) },
    NoTagsOption,
    JobsOption,
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
    .details = "The tags and the cover go along. Ctrl-C cancels and leaves nothing.\n\n"
               "--mirror makes one folder a copy of another for a phone, as \"mivo encode --mirror\" does, with AAC.",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
