#include "service/host/adaptors/ClientDelegate.h"

#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "platform/ipc/BusError.h"

namespace mv {

std::optional<RemoteObject> ClientDelegate::remoteObject(
    const std::string& client, const std::string& path, const char* interface)
{
    if (path == "/")
        return std::nullopt;
    return RemoteObject(client, path, interface);
}

bool ClientDelegate::send(
    const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results) const
{
    try {
        m_remote.call(member, m_timeout, arguments, results);
        return true;
    } catch (const BusError& error) {
        NSLog("the delegate did not answer %s: %s", member, error.message().c_str());
    } catch (const NSException& exception) {
        NSLog("the delegate raised %s in %s: %s", exception.name().c_str(), member, exception.reason().c_str());
    }
    return false;
}

} // namespace mv
