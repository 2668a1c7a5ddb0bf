#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/Command.h"
#include "cli/ExportJob.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/MediaInfoClient.h"
#include "client/TagClient.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "convert";
constexpr int BitsPerKilobit = 1000;
constexpr const char* UsualBitrate = "128";

/// The service carries an M4A file's tags over by itself, but an MP3 file's as an ID3 tag, and none of others. So the
/// new file gets MP4 tags made of the source's record.
Result<void> carryTags(ServiceBus& bus, const ExportPaths& paths)
{
    if (MVMediaTypeReader::type(paths.source) == MVMediaTypeM4A)
        return {};
    MV_TRY(described, describeFile(bus, paths.source));
    if (!described)
        return {};
    Record record = std::move(*described);
    record.set(MediaDBCommonColumnMediaType, MVMediaTypeM4A);
    record.set(MediaDBCommonColumnFilePath, paths.destination.text());
    // The MP3 parser's word for "no genre" is none that a file should carry.
    const std::string* genre = record.string(MediaDBMusicColumnGenre);
    if (genre && *genre == "Unknown")
        record.remove(MediaDBMusicColumnGenre);
    MV_TRY(updated, TagClient(bus).updateTag(paths.destination, record));
    if (!updated)
        return Error { Error::Kind::State, "the new file's tags could not be written" };
    return {};
}

int run(const Arguments& arguments)
{
    auto bitrate = numberIn("bitrate", arguments.value("bitrate", UsualBitrate), 1, 256);
    if (!bitrate) {
        complain(Name, bitrate.error().text);
        return 1;
    }
    auto paths = exportPaths(Name, arguments);
    if (!paths)
        return 1;
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    ServiceBus& bus = *service->bus;
    bool done = runExport(Name, bus, *paths, [&](ExporterClient& exporter, ExportListener& listener) {
        return exporter.convertToAac(paths->source, paths->destination, *bitrate * BitsPerKilobit, &listener);
    });
    if (!done)
        return 1;
    if (auto carried = carryTags(bus, *paths); !carried) {
        complain(Name, arguments.files()[1], sentenceFor(carried.error()));
        return 1;
    }
    return 0;
}

constexpr std::array kOptions { Option { "bitrate", "KBITS", "bit rate in kbit/s, 1 to 256 (default 128)" } };

} // namespace

const Command convertCommand {
    .name = Name,
    .synopsis = "[--bitrate KBITS] FILE OUT.m4a",
    .summary = "Convert an audio file to AAC",
    .details = "The tags go along. Ctrl-C cancels and leaves what was converted so far.",
    .options = kOptions,
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
