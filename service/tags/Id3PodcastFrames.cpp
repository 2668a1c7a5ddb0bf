#include "service/tags/Id3PodcastFrames.h"

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "system/InputFile.h"

namespace mv {

namespace {

// The service reads bodies into a buffer of 1,024 bytes with a zero behind them.
constexpr std::uint64_t MaxBodyBytes = 1023;

struct FrameNames {
    std::size_t headerSize;
    std::string_view episode;
    std::string_view feed;
};

constexpr FrameNames NamesOfV22 { 6, "TID", "WFD" };
constexpr FrameNames NamesOfLater { 10, "TGID", "WFED" };

std::optional<std::string> bodyText(const InputFile& file, TagExtent body)
{
    if (body.size > MaxBodyBytes)
        return std::nullopt;
    auto bytes = file.bytesAt(body.offset, static_cast<std::size_t>(body.size));
    if (!bytes.ok())
        return std::nullopt;
    ByteView text = *bytes;
    // Deliberate: only the Latin-1 encoding byte is left out, any other stays in the text.
    if (text[0] == 0)
        text = text.subspan(1);
    std::string_view chars = charsOf(text);
    return utf8FromUtf8(bytesOf(chars.substr(0, chars.find('\0'))));
}

} // namespace

std::optional<Id3PodcastFrames> findPodcastFrames(const Path& path)
{
    auto file = InputFile::open(path);
    auto tags = file.ok() ? readTags(*file) : Result<TagSet>(file.error());
    if (!tags.ok() || tags->prependedTags.empty())
        return std::nullopt;
    const Id3v2Tag& tag = tags->prependedTags.front();
    const FrameNames& names = tag.majorVersion() == 2 ? NamesOfV22 : NamesOfLater;
    Id3PodcastFrames found;
    std::uint64_t offset = Id3v2Tag::HeaderSize;
    for (const TagFrame& frame : tag.frames()) {
        TagExtent body { offset + names.headerSize, frame.stored.size() - names.headerSize };
        if (frame.storedId.starts_with(names.episode))
            found.episode = body;
        if (frame.storedId.starts_with(names.feed))
            found.feed = body;
        offset += frame.stored.size();
    }
    bool both = found.episode.size > 0 && found.feed.size > 0;
    return both ? std::optional(found) : std::nullopt;
}

void readPodcastFrames(const Path& path, const Id3PodcastFrames& frames, Record& info)
{
    auto file = InputFile::open(path);
    if (!file.ok())
        return;
    if (auto text = bodyText(*file, frames.episode))
        info.set(kMediaTagPodcastEpisodeId, *text);
    if (auto text = bodyText(*file, frames.feed))
        info.set(kMediaTagPodcastChannelUrl, *text);
}

} // namespace mv
