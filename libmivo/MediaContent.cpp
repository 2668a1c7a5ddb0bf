#include "libmivo/MediaContent.h"

#include "libmivo/ClientContent.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <utility>

namespace mivo {

namespace {

// Connections that wait for the last calls that are wanted while new ones go by another. Of more, what is cancelled is
// only forgotten.
constexpr std::size_t MaxLines = 8;

Error systemError(const char* what)
{
    int code = errno;
    return { Error::Kind::Failed, std::string(what) + ": " + std::strerror(code), {}, code };
}

} // namespace

void OpenCall::noteResult(const mv::Error* error)
{
    auto client = m_client.lock();
    if (error && client && client->isToBeSentAgain(*this, *error))
        return client->sendAgain(shared_from_this());
    if (error)
        fail(errorFrom(*error));
    if (client)
        client->noteReady(*this);
}

MediaContent::Clock::time_point MediaContent::after(std::chrono::milliseconds longest)
{
    auto now = Clock::now();
    auto most = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
    return longest >= most ? Clock::time_point::max() : now + longest;
}

std::shared_ptr<MediaContent> MediaContent::open(const ClientOptions& options)
{
    std::shared_ptr<MediaContent> made(new MediaContent(options));
    made->m_answers = made->newLine();
    return made;
}

MediaContent::MediaContent(const ClientOptions& options)
    : m_options(*options.m_content)
    , m_poll(epoll_create1(EPOLL_CLOEXEC))
    , m_more(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    epoll_event event { .events = EPOLLIN, .data = {} };
    if (!m_poll || !m_more || epoll_ctl(m_poll.get(), EPOLL_CTL_ADD, m_more.get(), &event) != 0)
        throw systemError("no descriptors for a client");
}

MediaContent::Turn::Turn(MediaContent& client)
    : m_client(client)
{
    auto nobody = std::thread::id();
    auto self = std::this_thread::get_id();
    if (m_client.m_thread.compare_exchange_strong(nobody, self))
        return;
    if (nobody != self)
        throw Error(Error::Kind::Busy, "this client is in the midst of a call of another thread");
    m_isInner = true;
}

MediaContent::Turn::~Turn()
{
    if (!m_isInner)
        m_client.m_thread = std::thread::id();
}

MediaContent::Line MediaContent::newLine()
{
    auto line = std::make_shared<MediaLine>(openServiceBus());
    epoll_event event { .events = EPOLLIN, .data = {} };
    if (epoll_ctl(m_poll.get(), EPOLL_CTL_ADD, sd_bus_get_fd(line->bus()), &event) != 0)
        throw systemError("a connection cannot be watched");
    line->watched = EPOLLIN;
    m_lines.push_back(line);
    return line;
}

/// The connection that was lost, or was left, has been replaced by none.
MediaContent::Line MediaContent::lineFor(OpenCall::Kind kind)
{
    Line& line = kind == OpenCall::Kind::Job ? m_jobs : m_answers;
    if (!line || line->isRetired)
        line = newLine();
    return line;
}

void MediaContent::begin(const std::shared_ptr<OpenCall>& call)
{
    Turn turn(*this);
    m_open.insert(call);
    mv::ScopeGuard failed([&] { m_open.erase(call); });
    send(*call);
    failed.dismiss();
    watch();
}

void MediaContent::send(OpenCall& call)
{
    Line line = lineFor(call.kind());
    call.startsSeen = m_starts;
    call.line = line.get();
    line->calls.insert(&call);
    call.number = call.sendBy(line->client());
}

bool MediaContent::isToBeSentAgain(const OpenCall& call, const mv::Error& error) const
{
    return mv::isMissingService(error) && m_options.startsService && !call.wasSentAgain;
}

void MediaContent::leave(OpenCall& call)
{
    if (call.line)
        call.line->calls.erase(&call);
    call.line = nullptr;
}

void MediaContent::sendAgain(std::shared_ptr<OpenCall> call)
{
    leave(*call);
    m_again.push_back(std::move(call));
}

void MediaContent::noteReady(OpenCall& call)
{
    auto kept = call.shared_from_this();
    leave(call);
    std::erase(m_again, kept);
    m_open.erase(kept);
    if (call.isToBeTold())
        callBack([kept] { kept->tell(); });
}

void MediaContent::callBack(std::function<void()> callback)
{
    m_callbacks.push_back(std::move(callback));
    eventfd_write(m_more.get(), 1);
}

void MediaContent::cancel(OpenCall& call)
{
    auto kept = call.shared_from_this();
    Turn turn(*this);
    call.silence();
    if (call.isReady())
        return;
    MediaLine* line = call.line;
    if (line && call.number != 0)
        line->client().forget(call.number);
    call.fail({ Error::Kind::Cancelled, "the call was cancelled" });
    noteReady(call);
    if (line && call.kind() == OpenCall::Kind::Answer && m_lines.size() < MaxLines)
        line->isRetired = true;
    dropUnwanted();
    watch();
}

void MediaContent::dropUnwanted()
{
    for (const Line& line : std::vector(m_lines)) {
        if (line->isRetired && line->calls.empty())
            drop(line);
    }
}

void MediaContent::drop(const Line& line)
{
    epoll_ctl(m_poll.get(), EPOLL_CTL_DEL, sd_bus_get_fd(line->bus()), nullptr);
    for (Line* one : { &m_answers, &m_jobs }) {
        if (*one == line)
            one->reset();
    }
    Line kept = line;
    std::erase(m_lines, kept);
}

void MediaContent::serveLines()
{
    for (const Line& line : std::vector(m_lines)) {
        if (!line->serve())
            lose(line);
    }
    dropUnwanted();
}

void MediaContent::lose(const Line& line)
{
    for (OpenCall* call : std::set(line->calls)) {
        call->fail({ Error::Kind::Lost, "the connection to the bus was lost" });
        noteReady(*call);
    }
    drop(line);
}

/// The first of them starts the service, and where that fails all of them have failed.
void MediaContent::sendWhatIsToBeSentAgain()
{
    std::optional<Error> failed;
    for (const auto& call : std::exchange(m_again, {})) {
        try {
            if (!failed && call->startsSeen == m_starts) {
                startService(m_options);
                ++m_starts;
            }
            if (failed)
                throw Error(*failed);
            call->wasSentAgain = true;
            send(*call);
        } catch (const Error& error) {
            failed = error;
            call->fail(error);
            noteReady(*call);
        }
    }
}

void MediaContent::runCallbacks()
{
    // Those that callbacks bring about come at the next time.
    for (std::size_t left = m_callbacks.size(); left > 0 && !m_callbacks.empty(); --left) {
        auto callback = std::move(m_callbacks.front());
        m_callbacks.pop_front();
        callback();
    }
}

void MediaContent::serveOnce()
{
    eventfd_t count = 0;
    eventfd_read(m_more.get(), &count);
    mv::ScopeGuard watching([this] { watch(); });
    serveLines();
    sendWhatIsToBeSentAgain();
    runCallbacks();
}

/// What is left to be done makes the client's descriptor readable.
void MediaContent::watch()
{
    bool hasMore = !m_callbacks.empty() || !m_again.empty();
    for (const Line& line : m_lines) {
        hasMore = line->hasMore() || hasMore;
        int wanted = sd_bus_get_events(line->bus());
        epoll_event event { .events = static_cast<std::uint32_t>(wanted > 0 ? wanted : POLLIN), .data = {} };
        if (event.events != line->watched
            && epoll_ctl(m_poll.get(), EPOLL_CTL_MOD, sd_bus_get_fd(line->bus()), &event) == 0)
            line->watched = event.events;
    }
    if (hasMore)
        eventfd_write(m_more.get(), 1);
}

void MediaContent::dispatch()
{
    auto kept = shared_from_this();
    Turn turn(*this);
    serveOnce();
}

bool MediaContent::serveUntil(const std::function<bool()>& done, Clock::time_point until)
{
    auto kept = shared_from_this();
    Turn turn(*this);
    for (;;) {
        serveOnce();
        if (done() || m_isClosed)
            return true;
        if (Clock::now() >= until)
            return false;
        wait(until);
    }
}

void MediaContent::wait(Clock::time_point until)
{
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count() + 1;
    // Longer waits begin again.
    constexpr std::int64_t Longest = 60'000;
    pollfd watched { m_poll.get(), POLLIN, 0 };
    poll(&watched, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, Longest)));
}

void MediaContent::close() noexcept
{
    m_isClosed = true;
    m_callbacks.clear();
    m_again.clear();
    for (const auto& call : std::exchange(m_open, {})) {
        call->silence();
        leave(*call);
        if (!call->isReady())
            call->fail({ Error::Kind::Cancelled, "the client has ended" });
    }
    m_answers.reset();
    m_jobs.reset();
    m_lines.clear();
}

} // namespace mivo
