#include <mivo/MediaClient.h>

#include "libmivo/DescribedContent.h"
#include "libmivo/JobContent.h"
#include "libmivo/MediaContent.h"
#include "libmivo/OptionReader.h"
#include "libmivo/PictureContent.h"
#include "libmivo/SourceContent.h"
#include "libmivo/TagsFrom.h"
#include "libmivo/WholeName.h"

#include <optional>
#include <utility>

namespace mivo {

namespace {

/// How a request is sent and its answer made into what the library gives. `kept` is what the request borrows.
template <class T, class Wire, class Make>
typename PendingContent<T>::Send sending(
    mv::MediaRequest<Wire> request, Make make, std::shared_ptr<const void> kept = {})
{
    return [request = std::move(request), make = std::move(make), kept = std::move(kept)](
               mv::Media1Client& client, typename PendingContent<T>::Told told) {
        return client.begin<Wire>(request, [make, told = std::move(told)](mv::Result<Wire> result) {
            told(result ? mv::Result<T>(make(std::move(*result))) : mv::Result<T>(result.error()));
        });
    };
}

mv::MediaRequest<mv::MediaDescription> describeRequest(const SourceContent& file, bool withPictures)
{
    return file.isOpened() ? mv::describeFileRequest(file.file.get(), file.name, withPictures)
                           : mv::describeRequest(file.name, withPictures);
}

mv::ThumbnailWish thumbnailWish(int size, const Record& options)
{
    if (size < 1 || size > static_cast<int>(mv::MaxThumbnailSize))
        throw Error(Error::Kind::InvalidArgument, "the size is not between 1 and 2048 pixels");
    mv::ThumbnailWish wish { .size = static_cast<std::uint32_t>(size) };
    OptionReader in(options);
    wish.format = in.choice(keys::thumbnailing::Format, mv::thumbnailFormatNamed).value_or(wish.format);
    wish.upright = in.flag(keys::thumbnailing::Upright).value_or(wish.upright);
    in.end();
    return wish;
}

mv::MediaEncoding encodingFrom(const Record& options)
{
    OptionReader in(options);
    mv::MediaEncoding encoding {
        .format = in.choice(keys::encoding::Format, mv::soundFormatNamed),
        .bitrate = in.number(keys::encoding::Bitrate),
        .vbr = in.flag(keys::encoding::Vbr),
        .quality = in.choice(keys::encoding::Quality, mv::encodingQualityNamed),
        .tags = in.flag(keys::encoding::Tags),
        .replace = in.flag(keys::encoding::Replace),
        .cores = in.number(keys::encoding::Cores),
        .mode = in.choice(keys::encoding::Mode, mv::channelModeNamed),
    };
    in.end();
    return encoding;
}

/// The files of a call of many: those that are sent, and where the others would stand, why they are not.
struct NamedFiles {
    std::vector<std::string> sent;
    std::vector<std::optional<Error>> refused;

    explicit NamedFiles(const std::vector<std::string>& paths)
    {
        for (const std::string& path : paths) {
            try {
                sent.push_back(wholeName(path));
                refused.emplace_back();
            } catch (const Error& error) {
                refused.emplace_back(error);
            }
        }
    }

    std::vector<Described> answers(const mv::MediaDescriptions& given) const
    {
        std::vector<Described> all;
        all.reserve(refused.size());
        for (auto next = given.begin(); const auto& error : refused)
            all.push_back(error ? DescribedContent::made(*error) : DescribedContent::made(*next++));
        return all;
    }
};

} // namespace

MediaClient::MediaClient()
    : MediaClient(ClientOptions())
{
}

MediaClient::MediaClient(const ClientOptions& options)
    : m_content(MediaContent::open(options))
{
}

MediaClient::MediaClient(MediaClient&& other) noexcept = default;

MediaClient& MediaClient::operator=(MediaClient&& other) noexcept
{
    if (this != &other) {
        MediaClient ended(std::move(*this));
        m_content = std::move(other.m_content);
    }
    return *this;
}

MediaClient::~MediaClient()
{
    if (m_content)
        m_content->close();
}

Pending<Record> MediaClient::describe(const Source& file)
{
    auto content = SourceContent::of(file);
    auto make = [](const mv::MediaDescription& given) { return recordFrom(given.facts); };
    return m_content->begin<Record>(
        OpenCall::Kind::Answer, sending<Record>(describeRequest(*content, false), make, content));
}

Pending<Description> MediaClient::describeWithPictures(const Source& file)
{
    auto content = SourceContent::of(file);
    auto make = [](mv::MediaDescription given) { return DescriptionContent::made(std::move(given)); };
    return m_content->begin<Description>(
        OpenCall::Kind::Answer, sending<Description>(describeRequest(*content, true), make, content));
}

Pending<std::vector<Described>> MediaClient::describeMany(const std::vector<std::string>& paths)
{
    static_assert(MaxDescribed == mv::MaxDescribedPaths);
    if (paths.size() > MaxDescribed)
        throw Error(Error::Kind::InvalidArgument, "more than 1000 files are described by several calls");
    auto files = std::make_shared<const NamedFiles>(paths);
    auto make = [files](const mv::MediaDescriptions& given) { return files->answers(given); };
    return m_content->begin<std::vector<Described>>(
        OpenCall::Kind::Answer, sending<std::vector<Described>>(mv::describeManyRequest(files->sent), make));
}

Pending<Picture> MediaClient::thumbnail(const Source& file, int size, const Record& options)
{
    auto content = SourceContent::of(file);
    mv::ThumbnailWish wish = thumbnailWish(size, options);
    auto request = content->isOpened() ? mv::thumbnailFileRequest(content->file.get(), content->name, wish)
                                       : mv::thumbnailRequest(content->name, wish);
    auto make = [](mv::MediaThumbnail given) { return PictureContent::made(std::move(given)); };
    return m_content->begin<Picture>(OpenCall::Kind::Answer, sending<Picture>(std::move(request), make, content));
}

Pending<Record> MediaClient::setTags(const std::string& path, const Record& changes)
{
    TagsToSend tags = tagsFrom(changes);
    auto request = mv::setTagsRequest(wholeName(path), std::move(tags.tags));
    auto make = [](const mv::Facts& given) { return recordFrom(given); };
    return m_content->begin<Record>(OpenCall::Kind::Answer, sending<Record>(std::move(request), make, tags.cover));
}

Pending<Job> MediaClient::encode(const std::string& source, const std::string& destination, const Record& options)
{
    auto send = [from = wholeName(source), to = wholeName(destination), encoding = encodingFrom(options),
                    owner = std::weak_ptr(m_content)](mv::Media1Client& client, PendingContent<Job>::Told told) {
        auto begun = [owner, told = std::move(told)](mv::Result<std::unique_ptr<mv::MediaJob>> job) {
            told(job ? mv::Result<Job>(JobContent::made(owner, std::move(*job))) : mv::Result<Job>(job.error()));
        };
        return client.beginEncode(from, to, encoding, begun);
    };
    return m_content->begin<Job>(OpenCall::Kind::Job, send);
}

std::size_t MediaClient::underWay() const noexcept { return m_content->underWay(); }
int MediaClient::fd() const noexcept { return m_content->fd(); }
void MediaClient::dispatch() { m_content->dispatch(); }

void MediaClient::finish()
{
    auto content = m_content;
    content->serveUntil([&] { return content->isIdle(); });
}

} // namespace mivo
