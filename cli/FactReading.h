#pragma once

#include "cli/ExitStatus.h"
#include "cli/facts/FactForms.h"
#include "client/Media1Client.h"

#include <memory>

namespace mv::cli {

/// Has files described, by a connection of its own. One thread at a time.
class FactReading {
public:
    static Result<std::unique_ptr<FactReading>> open();

    /// Any number of files under any names, in their order. A name that is not UTF-8 is opened here, with the rights of
    /// whoever calls, and its URI is among the facts as that of every other.
    std::vector<Result<DescribedFile>> describe(const std::vector<std::string>& names);

private:
    explicit FactReading(std::unique_ptr<ServiceBus> bus)
        : m_bus(std::move(bus))
        , m_client(*m_bus)
    {
    }

    Result<Facts> describeOpened(const std::string& name);

    std::unique_ptr<ServiceBus> m_bus;
    Media1Client m_client;
};

/// The facts of each of any number of files, whose paths are whole and such as the bus carries.
std::vector<Result<Facts>> describeEach(Media1Client& client, const std::vector<std::string>& paths);

/// The name as the service can be told of it; nothing where it has to be opened here. Fails for what is no name.
Result<std::optional<std::string>> carriedPath(const std::string& name);
/// A file for the service to read, which is regular.
Result<UniqueFd> openForService(const std::string& name);

/// Why a file could not be read, in the tool's own words where they say more than the service's.
FactFailure failureOf(const std::string& name, const Error& error);
/// Of all errors the one that says that the content is nothing that is read.
bool isNotMedia(const Error& error);

} // namespace mv::cli
