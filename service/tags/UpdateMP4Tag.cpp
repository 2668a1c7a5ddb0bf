#include "service/tags/UpdateMP4Tag.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
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

/// One update of the metadata list: what to write, and whether it reads back.
class ListRewriting {
public:
    explicit ListRewriting(const Mp4TagEdit& edit)
        : m_edit(edit)
    {
    }

    /// From the file as it is now, so that two updates of different fields both last.
    Result<std::optional<FileContent>> plan(const InputFile& current)
    {
        MV_TRY(file, Mp4File::open(StructureReader::borrowing(current)));
        m_tracks = file.facts().tracks.size();
        m_duration = file.facts().duration;
        auto wholePlan = planWith(file, true);
        m_hasPictureLeftOut = !wholePlan.ok() && wholePlan.error().kind == Error::Kind::Limit && m_edit.hasArtwork();
        MV_TRY(plan, m_hasPictureLeftOut ? planWith(file, false) : std::move(wholePlan));
        if (plan.layout == EditPlan::Layout::Unchanged)
            return std::optional<FileContent> {};
        return std::optional<FileContent> { std::move(plan.content) };
    }

    Result<void> check(const InputFile& made) const
    {
        MV_TRY(file, Mp4File::open(StructureReader::borrowing(made)));
        bool same
            = file.items() == m_items && file.facts().tracks.size() == m_tracks && file.facts().duration == m_duration;
        if (!same)
            return Error { Error::Kind::Format, "the new metadata does not read back as it was written" };
        return {};
    }

    bool hasPictureLeftOut() const { return m_hasPictureLeftOut; }

private:
    Result<EditPlan> planWith(Mp4File& file, bool artwork)
    {
        MP4Tags tags = MP4TagsAlloc();
        MP4TagsFetch(tags, file);
        m_edit.applyTexts(tags);
        if (artwork)
            m_edit.applyArtwork(tags);
        m_items = itemsWithTags(file.items(), tags);
        return planEdit(file.reader(), m_items);
    }

    const Mp4TagEdit& m_edit;
    MP4ItmfItemList m_items;
    std::size_t m_tracks = 0;
    std::uint64_t m_duration = 0;
    bool m_hasPictureLeftOut = false;
};

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
    const Mp4TagEdit edit(record);
    ListRewriting rewriting(edit);
    // Deliberate: a store that fails is not reported; the replacement has logged it.
    (void)FileReplacement::perform(
        target, [&](const InputFile& current) { return rewriting.plan(current); },
        [&](const InputFile& made) { return rewriting.check(made); });
    if (rewriting.hasPictureLeftOut())
        logPictureLeftOut(target);
    return true;
}

std::optional<Record> UpdateMP4Tag::podcastInfo(const Path& path)
{
    auto file = MP4Read(path);
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
