#include "service/host/adaptors/ClientDelegate.h"

#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "bus/BusError.h"

namespace mv {

std::optional<ClientDelegate> ClientDelegate::ofCall(
    Call& call, const char* interface, std::uint64_t timeoutMicroseconds)
{
    std::string path = call.arguments().objectPath();
    if (path == "/")
        return std::nullopt;
    return ClientDelegate(RemoteObject(call.sender(), path, interface), timeoutMicroseconds);
}

bool ClientDelegate::send(
    const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results)
{
    m_lost = m_lost || !trySending(member, arguments, results);
    return !m_lost;
}

bool ClientDelegate::trySending(
    const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results) const
{
    try {
        m_remote.call(member, m_timeout, arguments, results);
        return true;
    } catch (const BusError& error) {
        NSLog("the delegate did not answer %s: %s", member, error.message().c_str());
    } catch (const NSException& exception) {
        NSLog("the delegate raised %s in %s: %s", exception.name().c_str(), member, exception.reason().c_str());
    } catch (const std::exception& problem) {
        NSLog("%s could not be sent to the delegate: %s", member, problem.what());
    }
    return false;
}

} // namespace mv
