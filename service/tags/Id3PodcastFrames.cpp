#include "service/tags/Id3PodcastFrames.h"

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "id3/TagReader.h"

namespace mv {

namespace {

// The service reads bodies into a buffer of 1,024 bytes with a zero behind them.
constexpr std::uint64_t MaxBodyBytes = 1023;

struct FrameNames {
    std::size_t headerSize;
    std::string_view episode;
    std::string_view feed;
};

/// Where the bodies of the two frames are taken to lie in the file.
struct PodcastFrames {
    TagExtent episode;
    TagExtent feed;
};

constexpr FrameNames NamesOfV22 { 6, "TID", "WFD" };
constexpr FrameNames NamesOfLater { 10, "TGID", "WFED" };

PodcastFrames findFrames(const Id3v2Tag& tag)
{
    const FrameNames& names = tag.majorVersion() == 2 ? NamesOfV22 : NamesOfLater;
    PodcastFrames found;
    std::uint64_t offset = Id3v2Tag::HeaderSize;
    for (const TagFrame& frame : tag.frames()) {
        TagExtent body { offset + names.headerSize, frame.stored.size() - names.headerSize };
        if (frame.storedId.starts_with(names.episode))
            found.episode = body;
        if (frame.storedId.starts_with(names.feed))
            found.feed = body;
        offset += frame.stored.size();
    }
    return found;
}

std::optional<std::string> bodyText(const ByteSource& file, TagExtent body)
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

std::optional<Record> podcastFramesOf(const ByteSource& file)
{
    auto tags = readTags(file);
    if (!tags.ok() || tags->prependedTags.empty())
        return std::nullopt;
    PodcastFrames frames = findFrames(tags->prependedTags.front());
    if (frames.episode.size == 0 || frames.feed.size == 0)
        return std::nullopt;
    Record info;
    if (auto text = bodyText(file, frames.episode))
        info.set(kMediaTagPodcastEpisodeId, *text);
    if (auto text = bodyText(file, frames.feed))
        info.set(kMediaTagPodcastChannelUrl, *text);
    return info;
}

} // namespace mv
