#include "cli/CarriedTags.h"
#include "cli/Command.h"
#include "cli/ExportJob.h"
#include "cli/JobOptions.h"
#include "cli/Terminal.h"

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

ExitStatus run(const Arguments& arguments)
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

constexpr std::array Options {
    Option { "bitrate", "KBITS", "bit rate in kbit/s, 1 to 256 (default 128)", 0, numberFrom(1, 256) },
    NoTagsOption,
    ForceOption,
    NoClobberOption,
};

constexpr std::array Files { aFile(), aFile("m4a") };

} // namespace

const Command convertCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE OUT.m4a",
    .summary = "Convert an audio file to AAC",
    .details = "The tags and the cover go along. Ctrl-C cancels and leaves nothing.",
    .options = Options,
    .files = Files,
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
