#include "libmivo/JobContent.h"

#include "libmivo/Conversion.h"
#include "libmivo/MediaContent.h"

#include <utility>

namespace mivo {

Job JobContent::made(std::weak_ptr<MediaContent> client, std::unique_ptr<mv::MediaJob> job)
{
    auto content = std::make_shared<JobContent>();
    content->m_client = std::move(client);
    content->m_job = std::move(job);
    content->m_job->onChange([kept = std::weak_ptr(content)] {
        if (auto self = kept.lock())
            self->noteChange();
    });
    return Job(std::move(content));
}

std::shared_ptr<MediaContent> JobContent::client() const
{
    auto client = m_client.lock();
    return client && !client->isClosed() ? client : nullptr;
}

/// Several changes that nobody has heard of are one.
void JobContent::noteChange()
{
    auto owner = client();
    if (!owner || std::exchange(m_isToBeTold, true))
        return;
    owner->callBack([kept = weak_from_this()] {
        auto self = kept.lock();
        if (!self)
            return;
        self->m_isToBeTold = false;
        // It may put another one in its place.
        if (auto told = self->changed)
            told();
    });
}

Job::State JobContent::state() const
{
    switch (m_job->state()) {
    case mv::MediaJob::State::Done:
        return Job::State::Done;
    case mv::MediaJob::State::Failed:
        return Job::State::Failed;
    case mv::MediaJob::State::Cancelled:
        return Job::State::Cancelled;
    case mv::MediaJob::State::Running:
        break;
    }
    // With the client's connection its jobs end.
    return client() ? Job::State::Running : Job::State::Cancelled;
}

const Error* JobContent::error()
{
    if (!m_error && m_job->error())
        m_error = errorFrom(*m_job->error());
    if (!m_error && state() == Job::State::Cancelled)
        m_error.emplace(Error::Kind::Cancelled, "the client has ended");
    return m_error ? &*m_error : nullptr;
}

Job::Job() noexcept = default;

Job::Job(std::shared_ptr<JobContent> content) noexcept
    : m_content(std::move(content))
{
}

Job::Job(Job&& other) noexcept = default;
Job& Job::operator=(Job&& other) noexcept = default;
Job::~Job() = default;

Job::State Job::state() const noexcept { return m_content ? m_content->state() : State::Failed; }
double Job::progress() const noexcept { return m_content ? m_content->progress() : 0; }
const Error* Job::error() const noexcept { return m_content ? m_content->error() : nullptr; }

void Job::onChange(std::function<void()> changed)
{
    if (m_content)
        m_content->changed = std::move(changed);
}

void Job::cancel()
{
    if (m_content && !hasEnded())
        m_content->cancel();
}

bool Job::waitFor(std::chrono::milliseconds longest)
{
    // It may be dropped meanwhile.
    auto content = m_content;
    auto client = content ? content->client() : nullptr;
    auto hasEnded = [&] { return !content || content->state() != State::Running; };
    if (client && !hasEnded())
        client->serveUntil(hasEnded, MediaContent::after(longest));
    return hasEnded();
}

JobEnd Job::wait()
{
    auto content = m_content;
    if (!content)
        throw Error(Error::Kind::InvalidArgument, "nothing was begun");
    auto hasEnded = [&] { return content->state() != State::Running; };
    if (auto client = content->client(); client && !hasEnded())
        client->serveUntil(hasEnded);
    if (content->state() == State::Failed)
        throw Error(*content->error());
    return content->state() == State::Done ? JobEnd::Done : JobEnd::Cancelled;
}

} // namespace mivo
