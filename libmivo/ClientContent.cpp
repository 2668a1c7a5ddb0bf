#include "libmivo/ClientContent.h"

#include "client/ServiceProcess.h"
#include "libmivo/ServiceProgram.h"

namespace mivo {

namespace {

mv::Path programFor(const ClientOptionsContent& options)
{
    std::string program = options.serviceProgram.empty() ? installedServiceProgram() : options.serviceProgram;
    if (program.empty())
        throw Error(Error::Kind::NoService, "the media service does not run, and its program mivo-mediad is not found");
    return program;
}

} // namespace

std::unique_ptr<mv::ServiceBus> openServiceBus()
{
    auto bus = mv::ServiceBus::open();
    if (!bus)
        throw Error(Error::Kind::NoBus, "no connection to the session bus: " + bus.error().text, {}, bus.error().code);
    return std::move(bus).value();
}

void startService(const ClientOptionsContent& options)
{
    auto started = mv::ServiceProcess::ensure({ .program = programFor(options) });
    if (!started)
        throw Error(Error::Kind::NoService, "the media service cannot be started: " + started.error().text);
}

ClientContent::ClientContent(const ClientOptions& options)
    : m_options(*options.m_content)
    , m_bus(openServiceBus())
{
}

ClientContent::Turn::Turn(ClientContent& client)
    : m_client(client)
{
    if (client.m_isBusy.exchange(true))
        throw Error(Error::Kind::Busy, "this client is in the midst of another call");
}

bool ClientContent::isMissingService(const mv::Error& error) { return error.kind == mv::Error::Kind::NotFound; }

void ClientContent::startService(const mv::Error& reason)
{
    if (!m_options.startsService)
        throw errorFrom(reason);
    mivo::startService(m_options);
}

} // namespace mivo
