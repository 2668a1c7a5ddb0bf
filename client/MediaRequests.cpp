#include "client/MediaRequests.h"

#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "client/MediaAnswers.h"
#include "service/include/WireNames.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

namespace calls = wire::Media1;

void checkCarried(const std::string& text)
{
    if (!isWireText(text))
        throw BusError(BusErrorInvalidArgs, "a file's name is no text that a message can have");
}

void putPath(WireWriter& out, const std::string& path)
{
    checkCarried(path);
    out.string(path);
}

void putTexts(WireWriter& out, const std::vector<std::string>& texts)
{
    out.list("s", [&] {
        for (const std::string& text : texts)
            out.string(text);
    });
}

void putFlag(WireWriter& out, const char* key, std::optional<bool> flag)
{
    if (flag)
        out.entry(key, "b", [&] { out.boolean(*flag); });
}

void putNumber(WireWriter& out, const char* key, std::optional<std::uint32_t> number)
{
    if (number)
        out.entry(key, "u", [&] { out.unsignedInteger(*number); });
}

/// A text of a table, by an enumeration that counts from one.
template <class Choice, std::size_t Size>
void putChoice(WireWriter& out, const char* key, const std::array<std::string_view, Size>& names, Choice choice)
{
    out.entry(key, "s", [&] { out.string(names.at(static_cast<std::size_t>(choice) - 1)); });
}

constexpr std::array<std::string_view, 3> ThumbnailFormats { "png", "jpeg", "rgba" };
static_assert(ThumbnailFormats.size() == static_cast<std::size_t>(LastThumbnailFormat));
constexpr std::array<std::string_view, 2> SoundFormats { "mp3", "aac" };
static_assert(SoundFormats.size() == static_cast<std::size_t>(LastSoundFormat));
constexpr std::array<std::string_view, 3> Qualities { "fast", "standard", "best" };
static_assert(Qualities.size() == static_cast<std::size_t>(LastEncodingQuality));
constexpr std::array<std::string_view, 3> Modes { "mono", "stereo", "joint" };
static_assert(Modes.size() == static_cast<std::size_t>(LastChannelMode));

void putDescribeOptions(WireWriter& out, bool withPictures)
{
    out.list("{sv}", [&] { putFlag(out, "pictures", withPictures ? std::optional(true) : std::nullopt); });
}

void putThumbnailWish(WireWriter& out, const ThumbnailWish& wish)
{
    out.unsignedInteger(wish.size).list("{sv}", [&] {
        putChoice(out, "format", ThumbnailFormats, wish.format);
        putFlag(out, "upright", wish.upright);
    });
}

void putEncoding(WireWriter& out, const MediaEncoding& encoding)
{
    out.list("{sv}", [&] {
        if (encoding.format)
            putChoice(out, "format", SoundFormats, *encoding.format);
        putNumber(out, "bitrate", encoding.bitrate);
        putFlag(out, "vbr", encoding.vbr);
        if (encoding.quality)
            putChoice(out, "quality", Qualities, *encoding.quality);
        putFlag(out, "tags", encoding.tags);
        putFlag(out, "replace", encoding.replace);
        putNumber(out, "cores", encoding.cores);
        if (encoding.mode)
            putChoice(out, "mode", Modes, *encoding.mode);
    });
}

class TagWriter {
public:
    TagWriter(WireWriter& out, const std::string& key)
        : m_out(out)
        , m_key(key)
    {
    }
    void operator()(std::monostate) const
    {
        put("g", [&] { m_out.nullObject(); });
    }
    void operator()(const std::string& text) const
    {
        put("s", [&] { m_out.string(text); });
    }
    void operator()(const std::vector<std::string>& texts) const
    {
        put("as", [&] { putTexts(m_out, texts); });
    }
    void operator()(std::int32_t number) const
    {
        put("i", [&] { m_out.integer(number); });
    }
    void operator()(const Bytes& bytes) const
    {
        put("ay", [&] { m_out.bytes(bytes); });
    }
    void operator()(BorrowedFile file) const
    {
        put("h", [&] { m_out.handle(file.descriptor); });
    }

private:
    template <class Fill> void put(const char* signature, const Fill& fill) const
    {
        m_out.entry(m_key, signature, fill);
    }

    WireWriter& m_out;
    const std::string& m_key;
};

void putTags(WireWriter& out, const MediaTags& tags)
{
    out.list("{sv}", [&] {
        for (const auto& [key, value] : tags)
            std::visit(TagWriter(out, key), value);
    });
}

template <class Choice, std::size_t Size>
std::optional<Choice> choiceNamed(const std::array<std::string_view, Size>& names, std::string_view name)
{
    auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? std::nullopt : std::optional(static_cast<Choice>(found - names.begin() + 1));
}

} // namespace

std::optional<ThumbnailFormat> thumbnailFormatNamed(std::string_view name)
{
    return choiceNamed<ThumbnailFormat>(ThumbnailFormats, name);
}

std::optional<SoundFormat> soundFormatNamed(std::string_view name)
{
    return choiceNamed<SoundFormat>(SoundFormats, name);
}

std::optional<EncodingQuality> encodingQualityNamed(std::string_view name)
{
    return choiceNamed<EncodingQuality>(Qualities, name);
}

std::optional<ChannelMode> channelModeNamed(std::string_view name) { return choiceNamed<ChannelMode>(Modes, name); }

MediaRequest<MediaDescription> describeRequest(std::string path, bool withPictures)
{
    return { calls::Describe,
        [path = std::move(path), withPictures](WireWriter& out) {
            putPath(out, path);
            putDescribeOptions(out, withPictures);
        },
        readDescription };
}

MediaRequest<MediaDescription> describeFileRequest(int file, std::string name, bool withPictures)
{
    return { calls::DescribeFile,
        [file, name = std::move(name), withPictures](WireWriter& out) {
            out.handle(file).string(name);
            putDescribeOptions(out, withPictures);
        },
        readDescription };
}

MediaRequest<MediaDescriptions> describeManyRequest(std::vector<std::string> paths)
{
    std::size_t count = paths.size();
    return { calls::DescribeMany,
        [paths = std::move(paths)](WireWriter& out) {
            for (const std::string& path : paths)
                checkCarried(path);
            putTexts(out, paths);
            putDescribeOptions(out, false);
        },
        [count](WireReader& in) { return readDescriptions(in, count); } };
}

MediaRequest<MediaThumbnail> thumbnailRequest(std::string path, ThumbnailWish wish)
{
    return { calls::Thumbnail,
        [path = std::move(path), wish](WireWriter& out) {
            putPath(out, path);
            putThumbnailWish(out, wish);
        },
        readThumbnail };
}

MediaRequest<MediaThumbnail> thumbnailFileRequest(int file, std::string name, ThumbnailWish wish)
{
    return { calls::ThumbnailFile,
        [file, name = std::move(name), wish](WireWriter& out) {
            out.handle(file).string(name);
            putThumbnailWish(out, wish);
        },
        readThumbnail };
}

MediaRequest<Facts> setTagsRequest(std::string path, MediaTags tags)
{
    return { calls::SetTags,
        [path = std::move(path), tags = std::move(tags)](WireWriter& out) {
            putPath(out, path);
            putTags(out, tags);
            out.list("{sv}", [] {});
        },
        readFacts };
}

MediaRequest<MediaJobPlace> encodeRequest(std::string source, std::string destination, MediaEncoding encoding)
{
    return { calls::Encode,
        [source = std::move(source), destination = std::move(destination), encoding](WireWriter& out) {
            putPath(out, source);
            putPath(out, destination);
            putEncoding(out, encoding);
        },
        readJobPlace };
}

} // namespace mv
