#include "service/media1/MediaService.h"

#include "Base/Core/Text.h"
#include "service/media1/EncodingRules.h"
#include "service/media1/HostFacts.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace mv {

namespace {

/// What the work gives, or why it gives nothing.
template <class T, class Body> MediaService::Answer<T> answerOf(const std::string& shownName, const Body& body)
{
    try {
        return body();
    } catch (const MediaError& error) {
        return error;
    } catch (const std::exception&) {
        return mediaError(MediaErrorKind::Failed, shownName);
    }
}

template <class T> T resultOf(MediaWorkers::Outcome outcome, const MediaInput& input)
{
    if (auto* result = std::get_if<T>(&outcome))
        return std::move(*result);
    const auto* kind = std::get_if<MediaErrorKind>(&outcome);
    throw mediaError(kind ? *kind : MediaErrorKind::Failed, input.shownName());
}

std::size_t bytesOf(const FactValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value))
        return text->size();
    std::size_t bytes = 0;
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) {
        for (const std::string& text : *texts)
            bytes += text.size() + sizeof(std::uint32_t);
    }
    return bytes;
}

std::size_t bytesOf(const Facts& facts)
{
    std::size_t bytes = 0;
    for (const auto& [key, value] : facts.entries())
        bytes += bytesOf(value);
    return bytes;
}

} // namespace

Facts MediaService::factsOf(
    const OpenedFile& file, const MediaInput& input, MediaOperation operation, const MediaCaller& caller)
{
    MediaJob job { operation, 0, {}, { file } };
    auto facts = resultOf<Facts>(std::move(m_workers.run(std::move(job), caller).front()), input);
    setHostFacts(facts, file, input.hasPath());
    return facts;
}

void MediaService::describe(MediaInput input, bool withPictures, MediaCaller caller, Done<Facts> done)
{
    // Work is copied on its way.
    auto shared = std::make_shared<MediaInput>(std::move(input));
    const std::string client = caller.client;
    m_queue.add(client, [this, shared, withPictures, caller = std::move(caller), done = std::move(done)] {
        const std::string name = shared->shownName();
        const auto operation = withPictures ? MediaOperation::DescribeWithPictures : MediaOperation::Describe;
        done(answerOf<Facts>(name, [&] { return factsOf(shared->open(), *shared, operation, caller); }));
    });
}

void MediaService::setTags(std::string path, std::function<TagChanges()> changes, MediaCaller caller, Done<Facts> done)
{
    const std::string client = caller.client;
    m_queue.add(client,
        [this, path = std::move(path), changes = std::move(changes), caller = std::move(caller),
            done = std::move(done)] {
            MediaInput input = MediaInput::at(path);
            auto describe
                = [&](const OpenedFile& file) { return factsOf(file, input, MediaOperation::Describe, caller); };
            done(answerOf<Facts>(input.shownName(), [&] {
                m_tags.write(input, changes(), caller, describe);
                return describe(input.open());
            }));
        });
}

void MediaService::thumbnail(MediaInput input, ThumbnailWish wish, MediaCaller caller, Done<Thumbnail> done)
{
    auto shared = std::make_shared<MediaInput>(std::move(input));
    const std::string client = caller.client;
    m_queue.add(client, [this, shared, wish, caller = std::move(caller), done = std::move(done)] {
        done(answerOf<Thumbnail>(shared->shownName(), [&] {
            MediaJob job { MediaOperation::Thumbnail, 0, wish, { shared->open() } };
            return resultOf<Thumbnail>(std::move(m_workers.run(std::move(job), caller).front()), *shared);
        }));
    });
}

MediaService::SharedJob MediaService::jobFor(
    EncodingOrder order, std::optional<SoundFormat> format, const MediaCaller& caller)
{
    MediaInput input = MediaInput::at(order.source);
    MediaJob job { MediaOperation::Describe, 0, {}, { input.open() } };
    if (!format)
        format = formatOfEnding(order.destination);
    if (!format)
        throw MediaError(MediaErrorKind::Unsupported,
            formatText("The ending of \"%s\" is of no format that is encoded to.",
                cleanedUtf8(Path(order.destination).lastPathComponent()).c_str()));
    order.wish.format = *format;
    checkDestination(order);
    auto facts = resultOf<Facts>(std::move(m_workers.run(std::move(job), caller).front()), input);
    if (!hasEncodableSound(facts))
        throw encodingError(MediaErrorKind::Unsupported, order);
    return std::make_shared<EncodingJob>(std::move(order));
}

void MediaService::encode(
    EncodingOrder order, std::optional<SoundFormat> format, MediaCaller caller, Done<SharedJob> done)
{
    const std::string client = caller.client;
    m_queue.add(client, [this, order = std::move(order), format, caller = std::move(caller), done = std::move(done)] {
        done(answerOf<SharedJob>(
            MediaInput::at(order.source).shownName(), [&] { return jobFor(order, format, caller); }));
    });
}

void MediaService::begin(const SharedJob& job, const std::string& client, std::shared_ptr<void> hold)
{
    m_jobs.add(client, [this, job, hold = std::move(hold)] { job->run(m_host, freeCores()); });
}

unsigned MediaService::freeCores() const
{
    std::size_t others = std::max<std::size_t>(m_jobs.pieces(), 1) - 1;
    return static_cast<unsigned>(m_cores > others ? m_cores - others : 1);
}

/// A call on many files, in batches that end in any order.
class MediaService::Many {
public:
    Many(std::vector<std::string> paths, MediaCaller caller, Done<std::vector<FactsOrError>> done)
        : m_paths(std::move(paths))
        , m_caller(std::move(caller))
        , m_done(std::move(done))
        , m_answers(m_paths.size(), MediaError(MediaErrorKind::Failed, {}))
        , m_left(m_paths.size())
    {
    }

    const std::string& client() const { return m_caller.client; }
    std::size_t count() const { return m_paths.size(); }

    void describe(MediaWorkers& workers, std::size_t first, std::size_t count)
    {
        try {
            describeBatch(workers, first, count);
        } catch (const MediaError& error) {
            std::fill_n(m_answers.begin() + static_cast<std::ptrdiff_t>(first), count, error);
        } catch (const std::exception&) {
            for (std::size_t i = first; i < first + count; ++i)
                m_answers[i] = mediaError(MediaErrorKind::Failed, MediaInput::at(m_paths[i]).shownName());
        }
        if (m_left.fetch_sub(count) == count)
            m_done(Answer<std::vector<FactsOrError>>(std::move(m_answers)));
    }

private:
    void describeBatch(MediaWorkers& workers, std::size_t first, std::size_t count)
    {
        MediaJob job { MediaOperation::Describe, 0, {}, {} };
        std::vector<std::size_t> places;
        for (std::size_t i = first; i < first + count; ++i) {
            try {
                job.files.push_back(MediaInput::at(m_paths[i]).open());
                places.push_back(i);
            } catch (const MediaError& error) {
                m_answers[i] = error;
            }
        }
        if (places.empty())
            return;
        const std::vector<OpenedFile> files = job.files;
        auto outcomes = workers.run(std::move(job), m_caller);
        for (std::size_t i = 0; i < places.size(); ++i)
            keep(places[i], files[i], std::move(outcomes[i]));
    }

    void keep(std::size_t place, const OpenedFile& file, MediaWorkers::Outcome outcome)
    {
        MediaInput input = MediaInput::at(m_paths[place]);
        m_answers[place] = answerOf<Facts>(input.shownName(), [&] {
            auto facts = resultOf<Facts>(std::move(outcome), input);
            std::size_t bytes = bytesOf(facts);
            if (m_bytes.fetch_add(bytes) + bytes > MaxManyBytes)
                throw MediaError(MediaErrorKind::TooLarge,
                    formatText("The facts of \"%s\" have no room beside the others'; they can be had alone.",
                        input.shownName().c_str()));
            setHostFacts(facts, file, true);
            return facts;
        });
    }

    const std::vector<std::string> m_paths;
    const MediaCaller m_caller;
    const Done<std::vector<FactsOrError>> m_done;
    std::vector<FactsOrError> m_answers; // each batch writes its own
    std::atomic<std::size_t> m_left;
    std::atomic<std::size_t> m_bytes = 0;
};

void MediaService::describeMany(
    std::vector<std::string> paths, MediaCaller caller, Done<std::vector<FactsOrError>> done)
{
    if (paths.empty())
        return done(std::vector<FactsOrError>());
    auto many = std::make_shared<Many>(std::move(paths), std::move(caller), std::move(done));
    // Few files are spread over the cores, too.
    std::size_t each = std::clamp<std::size_t>(many->count() / (2 * m_cores), 1, MaxMediaFiles);
    for (std::size_t first = 0; first < many->count(); first += each) {
        std::size_t count = std::min(each, many->count() - first);
        m_queue.add(many->client(), [this, many, first, count] { many->describe(m_workers, first, count); });
    }
}

} // namespace mv
