#include "client/TagClient.h"

#include "Base/Media/MediaDB.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

std::optional<std::string> textOf(const Record& record, std::string_view key)
{
    const std::string* text = record.string(key);
    return text ? std::optional(*text) : std::nullopt;
}

} // namespace

Result<std::optional<TagClient::PodcastInfo>> TagClient::podcastInfo(const Path& path)
{
    std::optional<Record> answer;
    MV_TRY_VOID(m_bus.call(
        { MediaTagUpdaterService, wire::MediaTagBase::Interface, wire::MediaTagBase::podcastInfo },
        [&](WireWriter& to) { to.string(path.text()); }, [&](WireReader& from) { answer = from.optionalRecord(); }));
    if (!answer)
        return std::optional<PodcastInfo>();
    return std::optional(
        PodcastInfo { textOf(*answer, kMediaTagPodcastEpisodeId), textOf(*answer, kMediaTagPodcastChannelUrl) });
}

Result<bool> TagClient::updateTag(const Path& path, const Record& record)
{
    bool updated = false;
    MV_TRY_VOID(m_bus.call(
        { MediaTagUpdaterService, wire::MediaTagBase::Interface, wire::MediaTagBase::updateTagWithDictionary },
        [&](WireWriter& to) {
            to.string(path.text());
            to.record(record);
        },
        [&](WireReader& from) { updated = from.boolean(); }));
    return updated;
}

} // namespace mv
