#include "cli/ServiceAccess.h"

#include "cli/FileTexts.h"
#include "cli/Output.h"
#include "cli/Terminal.h"

namespace mv::cli {

namespace {

std::nullopt_t noService(std::string_view command, const Arguments& arguments, const Error& error)
{
    complain(command, sentenceFor(error));
    if (arguments.has("json")) {
        for (const std::string& file : arguments.files())
            print(failedFile(file, error, true).output);
    }
    return std::nullopt;
}

} // namespace

Error noConnection(const Error& reason)
{
    return { Error::Kind::NotFound, "no connection to the session bus: " + reason.text, reason.code };
}

Result<ServiceAccess> serviceFor(const Arguments& arguments)
{
    MV_TRY(process, ServiceProcess::ensure({ serviceProgramBesideUs(), arguments.has("log") }));
    auto bus = ServiceBus::open();
    if (!bus)
        return noConnection(bus.error());
    return ServiceAccess { std::move(process), std::move(bus).value() };
}

std::optional<ServiceAccess> openService(std::string_view command, const Arguments& arguments)
{
    auto service = serviceFor(arguments);
    if (!service)
        return noService(command, arguments, service.error());
    return std::move(*service);
}

} // namespace mv::cli
