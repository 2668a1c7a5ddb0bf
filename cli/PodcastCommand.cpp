#include "Base/Media/MediaDB.h"
#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/Terminal.h"
#include "cli/text/JsonText.h"
#include "client/TagClient.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "podcast";

std::string jsonInfo(const std::string& file, const Record& info)
{
    JsonObject object;
    object.text("path", file);
    if (const std::string* episode = info.string(kMediaTagPodcastEpisodeId))
        object.text("episodeId", *episode);
    if (const std::string* channel = info.string(kMediaTagPodcastChannelUrl))
        object.text("channelUrl", *channel);
    return object.line() + "\n";
}

std::string readableInfo(const std::string& file, const Record& info)
{
    auto text = [&](std::string_view key) {
        const std::string* known = info.string(key);
        return known ? terminalText(*known) : "(unknown)";
    };
    return terminalText(file) + "\n  episode  " + text(kMediaTagPodcastEpisodeId) + "\n  channel  "
        + text(kMediaTagPodcastChannelUrl) + "\n";
}

Result<std::string> podcastOf(ServiceBus& bus, const std::string& file, bool json)
{
    MV_TRY(path, inputPath(file));
    MV_TRY(info, resultOf([&] { return TagClient(bus).podcastInfo(path); }));
    if (!info)
        return Error { Error::Kind::NotFound, "is no podcast episode" };
    return json ? jsonInfo(file, *info) : readableInfo(file, *info);
}

ExitStatus run(const Arguments& arguments) { return printFileTexts(Name, arguments, podcastOf); }

constexpr std::array Options { Option { "json", nullptr, "one JSON object a line" } };

constexpr std::array Files { aFile("mp3 m4a mp4 m4v") };

} // namespace

const Command podcastCommand {
    .name = Name,
    .synopsis = "[--json] FILE...",
    .summary = "Show the episode and the channel that a podcast file's tags name",
    .details = "",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
