#include "service/tags/UpdateMP4Tag.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "mp4/MetadataEdit.h"
#include "mp4/mp4.h"
#include "service/tags/Mp4TagEdit.h"
#include "service/tags/PictureLeftOut.h"
#include "service/tags/ValueOfRecord.h"
#include "system/FileReplacement.h"

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

bool UpdateMP4Tag::updateTagWithDictionary(const Path& path, const Record& record)
{
    Path target = pathOrRecordPath(path, record);
    if (auto file = MP4Modify(target, 0); !file.ok()) {
        logWithPath("MP4Tag file open fail", target);
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
    (void)FileReplacement::perform(
        target, plan, [&](const InputFile& made) { return edit.check(StructureReader::borrowing(made)); });
    if (isPictureLeftOut)
        logPictureLeftOut(target);
    return true;
}

std::optional<Record> UpdateMP4Tag::podcastInfo(const Path& path)
{
    auto file = MP4Read(InputFile::openShared(path));
    if (!file.ok()) {
        logWithPath("MP4Tag file open fail", path);
        return std::nullopt;
    }
    std::optional<std::string> channelUrl;
    std::optional<std::string> episodeId;
    for (const MP4ItmfItem& item : MP4ItmfGetItems(*file)) {
        bool isUrl = item.code == fourCC("purl");
        if ((!isUrl && item.code != fourCC("egid")) || item.dataList.empty())
            continue;
        const Bytes& value = item.dataList.front().value;
        if (!value.empty() && value.size() <= MaxPodcastTextBytes)
            (isUrl ? channelUrl : episodeId) = podcastText(value);
    }
    if (!channelUrl || !episodeId) {
        logWithPath("MP4Tag no podcast info", path);
        return std::nullopt;
    }
    return Record { { kMediaTagPodcastEpisodeId, *episodeId }, { kMediaTagPodcastChannelUrl, *channelUrl } };
}

} // namespace mv
