#include "service/tags/UpdateMP4Tag.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "mp4/MetadataEdit.h"
#include "mp4/mp4.h"
#include "service/tags/Mp4TagEdit.h"
#include "service/tags/PictureLeftOut.h"

namespace mv {

namespace {

// The service copies a value into a buffer of 2,000 bytes with a zero behind it.
constexpr std::size_t MaxPodcastTextBytes = 1999;

void logWithPath(const char* text, const Path& path) { NSLog("%s %s", text, path.isNil() ? "(null)" : path.c_str()); }

/// The value as text up to the first zero byte; nothing when it is not UTF-8.
std::optional<std::string> podcastText(const Bytes& value)
{
    std::string_view chars = charsOf(value);
    return utf8FromUtf8(bytesOf(chars.substr(0, chars.find('\0'))));
}

} // namespace

bool UpdateMP4Tag::updateTagWithDictionary(EditableFile& file, const Record& record)
{
    const Path& path = file.opened().path();
    if (!MP4Modify(file, 0)) {
        logWithPath("MP4Tag file open fail", path);
        return false;
    }
    const Mp4TagEdit changes(record);
    bool isPictureLeftOut = false;
    MetadataEdit edit([&](const MP4ItmfItemList& before) { return changes.applied(before, !isPictureLeftOut); });
    // From the file as it is now, so that two updates of different fields both last.
    auto plan = [&](const InputFile& current) {
        isPictureLeftOut = false;
        auto whole = edit.plan(StructureReader::borrowing(current));
        isPictureLeftOut = !whole.ok() && whole.error().kind == Error::Kind::Limit && changes.hasArtwork();
        return isPictureLeftOut ? edit.plan(StructureReader::borrowing(current)) : std::move(whole);
    };
    // Deliberate: a store that fails is not reported; the replacement has logged it.
    (void)file.replace(plan, [&](const InputFile& made) { return edit.check(StructureReader::borrowing(made)); });
    if (isPictureLeftOut)
        logPictureLeftOut(path);
    return true;
}

std::optional<Record> UpdateMP4Tag::podcastInfo(const OpenedFile& file)
{
    auto movie = MP4Read(file.content());
    if (!movie) {
        logWithPath("MP4Tag file open fail", file.path());
        return std::nullopt;
    }
    std::optional<std::string> channelUrl;
    std::optional<std::string> episodeId;
    for (const MP4ItmfItem& item : MP4ItmfGetItems(*movie)) {
        bool isUrl = item.code == fourCC("purl");
        if ((!isUrl && item.code != fourCC("egid")) || item.dataList.empty())
            continue;
        const Bytes& value = item.dataList.front().value;
        if (!value.empty() && value.size() <= MaxPodcastTextBytes)
            (isUrl ? channelUrl : episodeId) = podcastText(value);
    }
    if (!channelUrl || !episodeId) {
        logWithPath("MP4Tag no podcast info", file.path());
        return std::nullopt;
    }
    return Record { { kMediaTagPodcastEpisodeId, *episodeId }, { kMediaTagPodcastChannelUrl, *channelUrl } };
}

} // namespace mv
