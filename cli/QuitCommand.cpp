#include "application/NSDistributedNotificationCenter.h"
#include "cli/Command.h"
#include "cli/Terminal.h"
#include "client/ServiceBus.h"
#include "service/include/ServiceNames.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace mv::cli {

namespace {

constexpr const char* Name = "quit";

// A job in progress is finished first.
constexpr auto Patience = std::chrono::seconds(10);
constexpr auto PollInterval = std::chrono::milliseconds(5);

bool anyRuns(ServiceBus& bus)
{
    return std::any_of(ServiceNames.begin(), ServiceNames.end(), [&](auto name) { return bus.hasOwner(name); });
}

ExitStatus run(const Arguments&)
{
    auto bus = ServiceBus::open();
    if (!bus || !anyRuns(**bus)) {
        complain(Name, "the service does not run");
        return ExitStatus::NoService;
    }
    if (!NSDistributedNotificationCenter::post(TerminateNotification, TerminateObject)) {
        complain(Name, "the notification cannot be sent");
        return ExitStatus::SomeFailed;
    }
    auto deadline = std::chrono::steady_clock::now() + Patience;
    while (anyRuns(**bus)) {
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
    .details = "Jobs that are being done are finished first.",
    .options = {},
    .files = {},
    .minimumFiles = 0,
    .maximumFiles = 0,
    .run = run,
};

} // namespace mv::cli
