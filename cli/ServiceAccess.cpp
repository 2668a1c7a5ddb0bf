#include "cli/ServiceAccess.h"

#include "cli/Terminal.h"

namespace mv::cli {

std::optional<ServiceAccess> openService(std::string_view command, const Arguments& arguments)
{
    auto process = ServiceProcess::ensure({ serviceProgramBesideUs(), arguments.has("log") });
    if (!process) {
        complain(command, process.error().text);
        return std::nullopt;
    }
    auto bus = ServiceBus::open();
    if (!bus) {
        complain(command, "no connection to the session bus: " + bus.error().text);
        return std::nullopt;
    }
    return ServiceAccess { std::move(process).value(), std::move(bus).value() };
}

} // namespace mv::cli
