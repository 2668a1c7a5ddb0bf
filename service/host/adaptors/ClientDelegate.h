#pragma once

#include "platform/ipc/RemoteObject.h"

#include <optional>
#include <string>

namespace mv {

/// Longest wait for one answer of a client's delegate. Tests have less patience.
inline constexpr std::uint64_t DelegateTimeoutMicroseconds = 60'000'000;

/// The bus side of a client's delegate. A message that fails (the client has left, answers with an error, or does
/// not answer in time) is a lost delegate: no exception leaves.
class ClientDelegate {
public:
    /// Nothing for "/", which stands for nil.
    static std::optional<RemoteObject> remoteObject(
        const std::string& client, const std::string& path, const char* interface);

    ClientDelegate(RemoteObject remote, std::uint64_t timeoutMicroseconds)
        : m_remote(std::move(remote))
        , m_timeout(timeoutMicroseconds)
    {
    }

    /// False when the message was not answered as it should be.
    bool send(
        const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results = {}) const;

private:
    RemoteObject m_remote;
    std::uint64_t m_timeout;
};

} // namespace mv
