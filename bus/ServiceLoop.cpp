#include "bus/ServiceLoop.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "bus/RemoteObject.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <time.h>
#include <utility>

namespace mv {

namespace {

// A delegate that needs longer for an answer does not keep a name from those who would serve under it.
constexpr std::chrono::milliseconds TurnPatience { 500 };

Error failure(const std::string& what, int code)
{
    return { Error::Kind::State, what + ": " + std::strerror(-code), -code };
}

} // namespace

Result<std::unique_ptr<ServiceLoop>> ServiceLoop::publish(
    const std::string& busName, std::unique_ptr<ServedObject> root, Activity* activity)
{
    auto bus = openSessionBus();
    if (!bus)
        return failure("there is no session bus to publish " + busName + " on", -bus.error().code);
    std::unique_ptr<ServiceLoop> loop(new ServiceLoop(std::move(*bus), busName, std::move(root), activity));
    int code = serveAt(*loop, loop->m_root->rootPath(), *loop->m_root, loop->m_rootSlots);
    if (code >= 0)
        code = sd_bus_request_name(loop->bus(), busName.c_str(), 0);
    if (code == -EEXIST)
        return Error { Error::Kind::State, busName + " is taken by " + busNameOwner(loop->bus(), busName), EEXIST };
    if (code < 0)
        return failure(busName + " cannot be published", code);
    return loop;
}

ServiceLoop::ServiceLoop(BusHandle bus, std::string busName, std::unique_ptr<ServedObject> root, Activity* activity)
    : m_bus(std::move(bus))
    , m_busName(std::move(busName))
    , m_activity(activity)
    , m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_root(std::move(root))
{
}

ServiceLoop::~ServiceLoop()
{
    stop();
    // Threads of its own may answer calls up to its end.
    m_rootSlots.clear();
    m_root.reset();
}

void ServiceLoop::start(std::function<void()> onBusDeath)
{
    m_onBusDeath = std::move(onBusDeath);
    m_thread = std::thread([this] { run(); });
}

void ServiceLoop::giveNameUp()
{
    if (!m_turn.takeWithin(TurnPatience)) {
        NSLogAt(LogPriority::Warning, "%s is given up in the middle of a call: the caller's delegate does not answer",
            m_busName.c_str());
        shutdown(sd_bus_get_fd(bus()), SHUT_RDWR);
        return;
    }
    releaseName();
    m_turn.give();
    // Calls that came in front of the bus's answer are not announced by the descriptor any more.
    post([] {});
}

// With the turn.
void ServiceLoop::releaseName()
{
    if (std::exchange(m_hasName, false))
        sd_bus_release_name(bus(), m_busName.c_str());
}

void ServiceLoop::stop()
{
    if (!m_thread.joinable())
        return;
    post([this] { m_stopping = true; });
    m_thread.join();
}

void ServiceLoop::run()
{
    TurnTaken turn(&m_turn);
    setThreadServingBus(bus(), &m_turn);
    bool alive = true;
    while (alive && !m_stopping) {
        alive = processPending();
        runPosted();
        if (alive && !m_stopping)
            alive = wait();
    }
    if (alive) {
        // Calls that came before the name was given up are answered, so that no client of a restart loses one.
        releaseName();
        processPending();
        finishOpenCalls();
        sd_bus_flush(bus());
    } else if (m_onBusDeath) {
        m_onBusDeath();
    }
    m_openCalls.dropAll();
    m_clientWatches.clear();
    m_clientObjects.clear();
    m_keptForClients.clear();
    setThreadServingBus(nullptr);
}

bool ServiceLoop::processPending()
{
    auto busy = begin(Activity::Kind::Work);
    int code = 1;
    while (code > 0) {
        code = sd_bus_process(bus(), nullptr);
        // Objects that a call withdrew are destroyed between two calls.
        runPosted();
        m_turn.letOthersPass();
    }
    return code == 0;
}

bool ServiceLoop::finishOpenCalls()
{
    bool alive = true;
    while (alive && !m_openCalls.isEmpty())
        alive = wait() && processPending();
    return alive;
}

bool ServiceLoop::wait()
{
    int events = sd_bus_get_events(bus());
    if (events < 0)
        return false;
    std::uint64_t until = UINT64_MAX;
    if (sd_bus_get_timeout(bus(), &until) < 0)
        return false;
    int timeout = -1;
    if (until != UINT64_MAX) {
        timespec now {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        auto microseconds
            = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000;
        timeout = until > microseconds
            ? static_cast<int>(std::min<std::uint64_t>((until - microseconds) / 1000 + 1, 60'000))
            : 0;
    }
    pollfd waits[] = { { sd_bus_get_fd(bus()), static_cast<short>(events), 0 }, { m_wake.get(), POLLIN, 0 } };
    TurnGiven others(&m_turn);
    return poll(waits, 2, timeout) >= 0 || errno == EINTR;
}

void ServiceLoop::post(std::function<void()> work)
{
    {
        MutexLock lock(m_lock);
        m_posted.push_back(std::move(work));
    }
    std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(m_wake.get(), &one, sizeof one);
}

void ServiceLoop::runPosted()
{
    std::deque<std::function<void()>> work;
    {
        MutexLock lock(m_lock);
        work.swap(m_posted);
    }
    if (work.empty())
        return;
    std::uint64_t count = 0;
    [[maybe_unused]] ssize_t got = read(m_wake.get(), &count, sizeof count);
    for (auto& piece : work)
        piece();
}

std::string ServiceLoop::serveForClient(std::unique_ptr<ServedObject> object, const std::string& client)
{
    TurnTaken turn(threadBusTurn());
    if (!watchClient(client))
        return "/";
    std::string path = formatText("%s/%llu", object->clientFolder(), static_cast<unsigned long long>(m_nextObject++));
    ClientObject entry { std::move(object), {}, client, begin(Activity::Kind::Client) };
    if (serveAt(*this, path.c_str(), *entry.object, entry.slots) < 0)
        return "/";
    m_clientObjects.emplace(path, std::move(entry));
    return path;
}

void ServiceLoop::withdraw(ServedObject& object)
{
    for (auto& [path, entry] : m_clientObjects) {
        if (entry.object.get() == &object)
            post([this, path = path] { removeObject(path); });
    }
}

CallNumber ServiceLoop::keepOpen(sd_bus_message* request, std::function<void()> dropped)
{
    TurnTaken turn(threadBusTurn());
    const char* client = sd_bus_message_get_sender(request);
    if (!client || !watchClient(client))
        return 0;
    // The hold lives as long as the function does, which is as long as the call is open.
    return m_openCalls.add(request, [call = std::move(dropped), hold = begin(Activity::Kind::Work)] { call(); });
}

void ServiceLoop::answer(CallNumber call, PackAnswer pack)
{
    post([this, call, pack = std::move(pack)] { m_openCalls.answer(call, pack); });
}

void ServiceLoop::keepForClient(std::string_view what, const std::string& client)
{
    auto before = m_keptForClients.extract(what);
    TurnTaken turn(threadBusTurn());
    if (m_activity && !client.empty() && watchClient(client))
        m_keptForClients.emplace(what, Kept { client, begin(Activity::Kind::Client) });
    if (before && !isServedForClient(before.mapped().client))
        m_clientWatches.erase(before.mapped().client);
}

ServedObject* ServiceLoop::objectAt(const std::string& path) const
{
    auto entry = m_clientObjects.find(path);
    return entry == m_clientObjects.end() ? nullptr : entry->second.object.get();
}

/// Waits for nothing: while a thread waits for an answer, whatever else comes is held for it, with all its descriptors.
bool ServiceLoop::watchClient(const std::string& client)
{
    if (m_clientWatches.contains(client))
        return true;
    std::string rule = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                       "member='NameOwnerChanged',arg0='"
        + client + "',arg2=''";
    auto watch = std::make_unique<ClientWatch>(*this, client);
    sd_bus_slot* slot = nullptr;
    if (sd_bus_add_match_async(bus(), &slot, rule.c_str(), ownerChanged, watchBegun, watch.get()) < 0)
        return false;
    watch->changes.reset(slot);
    // The bus reads this after the watch stands, so that a client that leaves in between is not missed.
    if (sd_bus_call_method_async(bus(), &slot, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameHasOwner", ownerTold, watch.get(), "s", client.c_str())
        < 0)
        return false;
    watch->question.reset(slot);
    m_clientWatches.emplace(client, std::move(watch));
    return true;
}

int ServiceLoop::watchBegun(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    // Without a watch nobody would learn that the client leaves.
    return sd_bus_message_is_method_error(message, nullptr) ? ownerChanged(message, userdata, nullptr) : 0;
}

int ServiceLoop::ownerTold(sd_bus_message* message, void* userdata, sd_bus_error* error)
{
    int hasOwner = 0;
    bool isThere = sd_bus_message_read(message, "b", &hasOwner) >= 0 && hasOwner;
    return isThere ? 0 : ownerChanged(message, userdata, error);
}

int ServiceLoop::ownerChanged(sd_bus_message*, void* userdata, sd_bus_error* error)
{
    return answerGuarded(error, [&] {
        const auto* watch = static_cast<const ClientWatch*>(userdata);
        watch->loop.post([&loop = watch->loop, client = watch->client] { loop.clientLeft(client); });
        return 0;
    });
}

void ServiceLoop::clientLeft(const std::string& client)
{
    std::erase_if(m_clientObjects, [&](const auto& entry) { return entry.second.client == client; });
    m_openCalls.drop(client);
    std::erase_if(m_keptForClients, [&](const auto& entry) { return entry.second.client == client; });
    m_clientWatches.erase(client);
}

bool ServiceLoop::isServedForClient(const std::string& client) const
{
    auto isTheirs = [&](const auto& entry) { return entry.second.client == client; };
    return m_openCalls.has(client) || std::any_of(m_keptForClients.begin(), m_keptForClients.end(), isTheirs)
        || std::any_of(m_clientObjects.begin(), m_clientObjects.end(), isTheirs);
}

void ServiceLoop::removeObject(const std::string& path)
{
    auto entry = m_clientObjects.find(path);
    if (entry == m_clientObjects.end())
        return;
    std::string client = entry->second.client;
    m_clientObjects.erase(entry);
    if (!isServedForClient(client))
        m_clientWatches.erase(client);
}

} // namespace mv
