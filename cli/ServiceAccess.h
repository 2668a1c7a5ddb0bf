#pragma once

#include "arguments/Arguments.h"
#include "client/ServiceBus.h"
#include "client/ServiceProcess.h"

#include <memory>
#include <optional>

namespace mv::cli {

/// The running service and a connection to it, for the time of a command.
struct ServiceAccess {
    std::unique_ptr<ServiceProcess> process;
    std::unique_ptr<ServiceBus> bus;
};

/// Uses or starts the service.
Result<ServiceAccess> serviceFor(const Arguments& arguments);

/// The same. Has complained when it gives nothing, for --json about every file too.
std::optional<ServiceAccess> openService(std::string_view command, const Arguments& arguments);

/// Why there is no connection, as an Error that says so.
Error noConnection(const Error& reason);

} // namespace mv::cli
