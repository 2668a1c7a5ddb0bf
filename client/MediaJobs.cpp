#include "client/MediaJobs.h"

#include "bus/BusError.h"
#include "client/MediaAnswers.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mv {

namespace {

struct StateRow {
    std::string_view name;
    MediaJob::State state;
};

constexpr std::array States {
    StateRow { "running", MediaJob::State::Running },
    StateRow { "done", MediaJob::State::Done },
    StateRow { "failed", MediaJob::State::Failed },
    StateRow { "cancelled", MediaJob::State::Cancelled },
};

/// One that is not known is of a later version, and no end.
MediaJob::State stateNamed(const std::string& name)
{
    const auto* row = std::ranges::find(States, name, &StateRow::name);
    return row == States.end() ? MediaJob::State::Running : row->state;
}

double furthest(double before, double told) { return std::isfinite(told) ? std::clamp(told, before, 1.0) : before; }

Error leftError() { return { Error::Kind::Io, "the service left before the job had ended", 0, BusErrorNoReply }; }

} // namespace

MediaJobContent::MediaJobContent(ServiceBus& bus, MediaJobPlace at)
    : place(std::move(at))
    , object(bus.objectOf(place.owner, wire::Job1::Interface, place.path))
{
}

void MediaJobStatus::take(WireReader& changes)
{
    namespace names = wire::Job1;
    if (state != MediaJob::State::Running)
        return;
    auto told = MediaJob::State::Running;
    std::pair<std::string, std::string> problem;
    changes.entries([&](const std::string& key, const std::string& signature) {
        if (key == names::State && signature == "s")
            told = stateNamed(changes.string());
        else if (key == names::Error && signature == "(ss)")
            problem = changes.stringPair();
        else if (key == names::Progress && signature == "d")
            progress = furthest(progress, changes.real());
        else
            changes.skip(signature);
    });
    state = told;
    if (state == MediaJob::State::Running || state == MediaJob::State::Done)
        return;
    if (problem.first.empty())
        problem = { std::string(MediaErrorPrefix).append(nameOf(MediaErrorKind::Failed)), "the job does not say why" };
    error = mediaError(std::move(problem.first), std::move(problem.second));
}

void MediaJobContent::fail(Error why)
{
    status.state = MediaJob::State::Failed;
    status.error = std::move(why);
}

void MediaJobContent::tell(std::shared_ptr<MediaJobContent> content)
{
    // The listener may put another one in its place.
    if (auto told = content->listener)
        told();
}

MediaJob::MediaJob(std::shared_ptr<MediaJobContent> content)
    : m_content(std::move(content))
{
}

MediaJob::~MediaJob()
{
    m_content->listener = {};
    m_content->object.post(wire::Job1::Release);
}

MediaJob::State MediaJob::state() const { return m_content->status.state; }
double MediaJob::progress() const { return m_content->status.progress; }
const std::optional<Error>& MediaJob::error() const { return m_content->status.error; }
const std::string& MediaJob::path() const { return m_content->place.path; }
void MediaJob::onChange(std::function<void()> changed) { m_content->listener = std::move(changed); }
void MediaJob::cancel() { m_content->object.post(wire::Job1::Cancel); }

void MediaJobs::watch()
{
    if (m_changes)
        return;
    std::string match = "type='signal',sender='" + std::string(Media1Service)
        + "',interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',arg0='" + wire::Job1::Interface
        + "',path_namespace='" + Media1JobsPath + "'";
    m_changes = m_bus.listen(match, [this](sd_bus_message* message) { noteChange(message); });
}

std::unique_ptr<MediaJob> MediaJobs::add(MediaJobPlace place)
{
    auto content = std::make_shared<MediaJobContent>(m_bus, std::move(place));
    std::erase_if(m_jobs, [](const auto& job) { return job.expired(); });
    m_jobs.push_back(content);
    auto job = std::make_unique<MediaJob>(content);
    watchOwner(content->place.owner);
    return job;
}

void MediaJobs::noteChange(sd_bus_message* message)
{
    // Of whoever has the service's name the bus says nothing here: somebody else's signals can look the same.
    std::string sender = WireReader(message).sender();
    std::string path = sd_bus_message_get_path(message);
    for (const auto& job : std::vector(m_jobs)) {
        auto content = job.lock();
        if (!content || content->place.owner != sender || content->place.path != path)
            continue;
        m_guard.run([&] {
            WireReader in(message);
            in.string();
            // What is of other types is no change.
            if (resultOf([&] { content->status.take(in); }).ok())
                MediaJobContent::tell(content);
        });
    }
}

void MediaJobs::watchOwner(const std::string& owner)
{
    if (m_owners.contains(owner))
        return;
    OwnerWatch& watch = m_owners[owner];
    std::string match = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                        "member='NameOwnerChanged',arg0='"
        + owner + "',arg2=''";
    watch.leaving = m_bus.listen(match, [this, owner](sd_bus_message*) { noteGone(owner); });
    watch.asking = busDriver(m_bus.bus())
                       .send(
                           "NameHasOwner", [&](WireWriter& out) { out.string(owner); },
                           [this, owner](const CallAnswer& answer) {
                               auto isThere = resultOf([&] { return answer.results().boolean(); });
                               if (isThere && !*isThere)
                                   noteGone(owner);
                           });
}

void MediaJobs::noteGone(const std::string& owner)
{
    failWhere(leftError(), [&](const MediaJobContent& job) { return job.place.owner == owner; });
}

void MediaJobs::fail(const Error& error)
{
    failWhere(error, [](const MediaJobContent&) { return true; });
}

template <class Matches> void MediaJobs::failWhere(const Error& error, const Matches& matches)
{
    // Listeners may begin jobs.
    for (const auto& job : std::vector(m_jobs)) {
        auto content = job.lock();
        if (!content || content->status.state != MediaJob::State::Running || !matches(*content))
            continue;
        content->fail(error);
        m_guard.run([&] { MediaJobContent::tell(content); });
    }
}

} // namespace mv
