#include "application/NSDistributedNotificationCenter.h"
#include "cli/Command.h"
#include "cli/Terminal.h"
#include "client/ServiceBus.h"
#include "service/include/ServiceNames.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace mv::cli {

namespace {

constexpr const char* Name = "quit";

// A job in progress is finished first.
constexpr auto Patience = std::chrono::seconds(10);
constexpr auto PollInterval = std::chrono::milliseconds(5);

/// The connections of the services that run. Their names are given up before the jobs are done, and others may start
/// the service anew meanwhile: these connections are left when it has ended.
std::vector<std::string> connectionsOfServices(ServiceBus& bus)
{
    std::vector<std::string> connections;
    for (std::string_view name : ServiceNames) {
        if (std::string owner = bus.ownerOf(name); !owner.empty())
            connections.push_back(owner);
    }
    return connections;
}

bool isAnyLeft(ServiceBus& bus, const std::vector<std::string>& connections)
{
    return std::any_of(
        connections.begin(), connections.end(), [&](const auto& connection) { return bus.isConnected(connection); });
}

ExitStatus run(const Arguments&)
{
    auto bus = ServiceBus::open();
    std::vector<std::string> connections;
    if (bus)
        connections = connectionsOfServices(**bus);
    if (connections.empty()) {
        complain(Name, "the service does not run");
        return ExitStatus::NoService;
    }
    if (!NSDistributedNotificationCenter::post(TerminateNotification, TerminateObject)) {
        complain(Name, "the notification cannot be sent");
        return ExitStatus::SomeFailed;
    }
    auto deadline = std::chrono::steady_clock::now() + Patience;
    while (isAnyLeft(**bus, connections)) {
        if (std::chrono::steady_clock::now() > deadline) {
            complain(Name, "the service was asked to quit and is still at work");
            return ExitStatus::SomeFailed;
        }
        std::this_thread::sleep_for(PollInterval);
    }
    return ExitStatus::Done;
}

} // namespace

const Command quitCommand {
    .name = Name,
    .synopsis = "",
    .summary = "Ask the service on the session bus to quit, and wait until it has",
    .details = "Jobs that are being done have three seconds to finish. Where the bus starts services, the next call\n"
               "starts it again.",
    .options = {},
    .files = {},
    .minimumFiles = 0,
    .maximumFiles = 0,
    .run = run,
};

} // namespace mv::cli
