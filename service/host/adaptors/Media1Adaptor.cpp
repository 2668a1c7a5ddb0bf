#include "service/host/adaptors/Media1Adaptor.h"

#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "bus/RemoteObject.h"
#include "service/host/adaptors/FactsOnWire.h"
#include "service/host/adaptors/Job1Adaptor.h"
#include "service/host/adaptors/TagsOnWire.h"
#include "service/include/WireNames.h"

#include <algorithm>
#include <array>
#include <memory>
#include <sys/resource.h>
#include <thread>

namespace mv {

namespace {

int getVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error* error)
{
    return answerGuarded(error, [&] {
        WireWriter(reply).unsignedInteger(Media1Version);
        return 1;
    });
}

template <void (Media1Adaptor::*Method)(Call&)> constexpr auto served = servedMethod<Media1Adaptor, Method>;

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::Describe, SD_BUS_ARGS("s", path, "a{sv}", options),
        SD_BUS_RESULT("a{sv}", facts), served<&Media1Adaptor::Describe>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::DescribeFile, SD_BUS_ARGS("h", file, "s", name, "a{sv}", options),
        SD_BUS_RESULT("a{sv}", facts), served<&Media1Adaptor::DescribeFile>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::DescribeMany, SD_BUS_ARGS("as", paths, "a{sv}", options),
        SD_BUS_RESULT("aa{sv}", facts), served<&Media1Adaptor::DescribeMany>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::Thumbnail, SD_BUS_ARGS("s", path, "u", size, "a{sv}", options),
        SD_BUS_RESULT("h", picture, "a{sv}", facts), served<&Media1Adaptor::Thumbnail>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::ThumbnailFile, SD_BUS_ARGS("h", file, "s", name, "u", size, "a{sv}", options),
        SD_BUS_RESULT("h", picture, "a{sv}", facts), served<&Media1Adaptor::ThumbnailFile>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::SetTags, SD_BUS_ARGS("s", path, "a{sv}", tags, "a{sv}", options),
        SD_BUS_RESULT("a{sv}", facts), served<&Media1Adaptor::SetTags>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Media1::Encode, SD_BUS_ARGS("s", source, "s", destination, "a{sv}", options),
        SD_BUS_RESULT("o", job), served<&Media1Adaptor::Encode>, 0),
    SD_BUS_PROPERTY(wire::Media1::Version, "u", getVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

[[noreturn]] void failArguments(std::string sentence) { throw BusError(BusErrorInvalidArgs, std::move(sentence)); }

/// An option that a call knows: what type it has, and who takes it.
struct Option {
    std::string_view key;
    std::string_view signature;
    std::function<void(WireReader&)> take;
};

/// Keys that are not known are for later versions.
void readOptions(WireReader& in, std::initializer_list<Option> known)
{
    in.entries([&](const std::string& key, const std::string& signature) {
        const auto* option = std::ranges::find(known, key, &Option::key);
        if (option == known.end())
            return in.skip(signature);
        if (option->signature != signature)
            failArguments(formatText("the option \"%s\" is of another type", key.c_str()));
        option->take(in);
    });
}

std::string absolute(std::string path)
{
    if (!path.starts_with('/'))
        failArguments("a path is not absolute");
    return path;
}

std::uint32_t thumbnailSize(WireReader& in)
{
    std::uint32_t size = in.unsignedInteger();
    if (size < 1 || size > MaxThumbnailSize)
        failArguments(formatText("a size is from 1 to %u", MaxThumbnailSize));
    return size;
}

struct NamedFormat {
    std::string_view name;
    ThumbnailFormat format;
};
constexpr std::array Formats {
    NamedFormat { "png", ThumbnailFormat::Png },
    NamedFormat { "jpeg", ThumbnailFormat::Jpeg },
    NamedFormat { "rgba", ThumbnailFormat::Rgba },
};

ThumbnailFormat formatNamed(const std::string& name)
{
    const auto* found = std::ranges::find(Formats, name, &NamedFormat::name);
    if (found == Formats.end())
        failArguments("a format is \"png\", \"jpeg\" or \"rgba\"");
    return found->format;
}

ThumbnailWish thumbnailWish(WireReader& in)
{
    ThumbnailWish wish { .size = thumbnailSize(in) };
    readOptions(in,
        { { "format", "s", [&](WireReader& value) { wish.format = formatNamed(value.string()); } },
            { "upright", "b", [&](WireReader& value) { wish.upright = value.boolean(); } } });
    return wish;
}

template <class Value> struct Named {
    std::string_view name;
    Value value;
};
constexpr std::array SoundFormats {
    Named<SoundFormat> { "mp3", SoundFormat::Mp3 },
    Named<SoundFormat> { "aac", SoundFormat::Aac },
};
constexpr std::array Qualities {
    Named<EncodingQuality> { "fast", EncodingQuality::Fast },
    Named<EncodingQuality> { "standard", EncodingQuality::Standard },
    Named<EncodingQuality> { "best", EncodingQuality::Best },
};
constexpr std::array Modes {
    Named<ChannelMode> { "mono", ChannelMode::Mono },
    Named<ChannelMode> { "stereo", ChannelMode::Stereo },
    Named<ChannelMode> { "joint", ChannelMode::Joint },
};

template <class Rows> auto valueNamed(const Rows& rows, const std::string& name, const char* otherwise)
{
    for (const auto& row : rows) {
        if (row.name == name)
            return row.value;
    }
    failArguments(otherwise);
}

std::uint32_t encodingBitrate(WireReader& in)
{
    std::uint32_t bitrate = in.unsignedInteger();
    if (bitrate < MinEncodingBitrate || bitrate > MaxEncodingBitrate)
        failArguments(formatText("a bit rate is from %u to %u", MinEncodingBitrate, MaxEncodingBitrate));
    return bitrate;
}

std::optional<SoundFormat> readEncodingOptions(WireReader& in, EncodingOrder& order)
{
    std::optional<SoundFormat> format;
    EncodingWish& wish = order.wish;
    wish.cores = 0; // what is free
    auto takeFormat = [&](WireReader& value) {
        format = valueNamed(SoundFormats, value.string(), "a format is \"mp3\" or \"aac\"");
    };
    auto takeQuality = [&](WireReader& value) {
        wish.quality = valueNamed(Qualities, value.string(), "a quality is \"fast\", \"standard\" or \"best\"");
    };
    auto takeMode = [&](WireReader& value) {
        wish.mode = valueNamed(Modes, value.string(), "a mode is \"mono\", \"stereo\" or \"joint\"");
    };
    readOptions(in,
        { { "format", "s", takeFormat }, { "quality", "s", takeQuality }, { "mode", "s", takeMode },
            { "bitrate", "u", [&](WireReader& value) { wish.bitrate = encodingBitrate(value); } },
            { "vbr", "b", [&](WireReader& value) { wish.vbr = value.boolean(); } },
            { "tags", "b", [&](WireReader& value) { wish.tags = value.boolean(); } },
            { "replace", "b", [&](WireReader& value) { order.replaces = value.boolean(); } },
            { "cores", "u", [&](WireReader& value) { wish.cores = value.unsignedInteger(); } } });
    return format;
}

/// A call with a handle holds two descriptors until it is answered. A client that sends calls without waiting must not
/// leave the process, and with it the other services, without any.
std::size_t maxOpenHandles()
{
    rlimit limit {};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::max<std::size_t>(limit.rlim_cur / 8, 16) : 16;
}

} // namespace

Media1Adaptor::Media1Adaptor(WorkerHost& workers, JobHold jobHold)
    : m_jobHold(std::move(jobHold))
    , m_maxHandles(maxOpenHandles())
    , m_media(workers, std::max(1u, std::thread::hardware_concurrency()))
{
}

std::span<const ServedInterface> Media1Adaptor::interfaces() const
{
    static constexpr ServedInterface Interfaces[] { { wire::Media1::Interface, Members } };
    return Interfaces;
}

std::shared_ptr<void> Media1Adaptor::handleShare(bool hasHandle)
{
    if (!hasHandle)
        return {};
    if (m_handles >= m_maxHandles)
        throw BusError(BusErrorLimitsExceeded, "too many files are handed over at once; wait for answers");
    ++m_handles;
    return { this, [](Media1Adaptor* self) { --self->m_handles; } };
}

void Media1Adaptor::start(
    Call& call, const std::function<void(MediaCaller, CallNumber)>& begin, std::shared_ptr<void> share)
{
    auto stop = std::make_shared<std::stop_source>();
    CallNumber number = call.keepOpen([stop, share] { stop->request_stop(); });
    if (number == 0)
        return;
    try {
        begin({ call.sender(), stop->get_token() }, number);
    } catch (const std::exception& problem) {
        host->answer(
            number, [text = std::string(problem.what())](WireWriter&) { throw BusError(BusErrorFailed, text); });
    }
}

void Media1Adaptor::describe(Call& call, MediaInput input)
{
    bool withPictures = false;
    readOptions(call.arguments(), { { "pictures", "b", [&](WireReader& value) { withPictures = value.boolean(); } } });
    auto share = handleShare(!input.hasPath());
    auto begin = [&](MediaCaller caller, CallNumber number) {
        m_media.describe(std::move(input), withPictures, std::move(caller), [this, number, withPictures](auto answer) {
            host->answer(number, packFacts(std::move(answer), withPictures));
        });
    };
    start(call, begin, std::move(share));
}

void Media1Adaptor::Describe(Call& call) { describe(call, MediaInput::at(absolute(call.arguments().string()))); }

void Media1Adaptor::DescribeFile(Call& call)
{
    UniqueFd file = call.arguments().handle();
    std::string name = call.arguments().string();
    describe(call, MediaInput::handed(std::move(file), std::move(name)));
}

void Media1Adaptor::DescribeMany(Call& call)
{
    std::vector<std::string> paths = call.arguments().strings();
    if (paths.size() > MediaService::MaxPaths)
        failArguments(formatText("a call takes at most %zu paths", MediaService::MaxPaths));
    for (const std::string& path : paths)
        absolute(path);
    // Known to Describe, and without meaning here.
    readOptions(call.arguments(), { { "pictures", "b", [](WireReader& value) { value.boolean(); } } });
    start(call, [&](MediaCaller caller, CallNumber number) {
        m_media.describeMany(std::move(paths), std::move(caller),
            [this, number](auto answer) { host->answer(number, packManyFacts(std::move(answer))); });
    });
}

void Media1Adaptor::thumbnail(Call& call, MediaInput input)
{
    ThumbnailWish wish = thumbnailWish(call.arguments());
    auto share = handleShare(!input.hasPath());
    auto begin = [&](MediaCaller caller, CallNumber number) {
        m_media.thumbnail(std::move(input), wish, std::move(caller),
            [this, number, wish](auto answer) { host->answer(number, packThumbnail(std::move(answer), wish.format)); });
    };
    start(call, begin, std::move(share));
}

void Media1Adaptor::Thumbnail(Call& call) { thumbnail(call, MediaInput::at(absolute(call.arguments().string()))); }

void Media1Adaptor::SetTags(Call& call)
{
    std::string path = absolute(call.arguments().string());
    auto order = std::make_shared<TagOrder>(call.arguments());
    readOptions(call.arguments(), {});
    auto share = handleShare(order->hasHandle());
    auto answer = [this, order](CallNumber number, MediaService::FactsOrError facts) {
        if (order->isRefused())
            host->answer(number, [](WireWriter&) { refuseCover(); });
        else
            host->answer(number, packFacts(std::move(facts), false));
    };
    auto begin = [&](MediaCaller caller, CallNumber number) {
        m_media.setTags(
            std::move(path), [order] { return order->take(); }, std::move(caller),
            [answer, number](auto facts) { answer(number, std::move(facts)); });
    };
    start(call, begin, std::move(share));
}

void Media1Adaptor::ThumbnailFile(Call& call)
{
    UniqueFd file = call.arguments().handle();
    std::string name = call.arguments().string();
    thumbnail(call, MediaInput::handed(std::move(file), std::move(name)));
}

std::shared_ptr<void> Media1Adaptor::jobShare(const std::string& client)
{
    constexpr std::size_t MaxJobs = 1000;
    std::size_t& jobs = m_jobs[client];
    if (jobs >= MaxJobs)
        throw BusError(BusErrorLimitsExceeded, "too many jobs; release those that have ended");
    ++jobs;
    return { this, [client](Media1Adaptor* self) {
                auto mine = self->m_jobs.find(client);
                if (--mine->second == 0)
                    self->m_jobs.erase(mine);
            } };
}

std::string Media1Adaptor::serveJob(const MediaService::SharedJob& job, const std::string& client)
{
    auto object = std::make_unique<Job1Adaptor>(job, jobShare(client));
    Job1Adaptor& served = *object;
    std::string path = host->serveForClient(std::move(object), client);
    if (path == "/")
        throw BusError(BusErrorFailed, "the job cannot be served");
    served.publish(path);
    try {
        m_media.begin(job, client, m_jobHold ? m_jobHold() : nullptr);
    } catch (const std::exception&) {
        host->withdraw(served);
        throw;
    }
    return path;
}

void Media1Adaptor::Encode(Call& call)
{
    EncodingOrder order;
    order.source = absolute(call.arguments().string());
    order.destination = absolute(call.arguments().string());
    auto format = readEncodingOptions(call.arguments(), order);
    start(call, [&](MediaCaller caller, CallNumber number) {
        std::string client = caller.client;
        m_media.encode(std::move(order), format, std::move(caller), [this, number, client](auto answer) {
            host->answer(number, [this, client, answer](WireWriter& out) {
                if (const auto* error = std::get_if<MediaError>(&answer))
                    raiseOnWire(*error);
                TurnGiven others(threadBusTurn());
                out.objectPath(serveJob(std::get<MediaService::SharedJob>(answer), client));
            });
        });
    });
}

} // namespace mv
