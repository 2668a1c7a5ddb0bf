#pragma once

#include "bus/RemoteObject.h"
#include "bus/ServedObject.h"

#include <optional>
#include <string>

namespace mv {

/// Longest wait for one answer of a client's delegate. Tests have less patience.
inline constexpr std::uint64_t DelegateTimeoutMicroseconds = 60'000'000;

/// The bus side of a client's delegate, for one job. A delegate that fails a message (the client has left, answers
/// with an error, or does not answer in time) is lost: it is sent nothing more. No exception leaves.
class ClientDelegate {
public:
    /// The delegate that a call's next argument names on the caller's connection; nothing for "/", which stands for
    /// nil.
    static std::optional<ClientDelegate> ofCall(Call& call, const char* interface, std::uint64_t timeoutMicroseconds);

    ClientDelegate(RemoteObject remote, std::uint64_t timeoutMicroseconds)
        : m_remote(std::move(remote))
        , m_timeout(timeoutMicroseconds)
    {
    }
    /// The same object of the client's, with nothing failed yet.
    ClientDelegate forAnotherJob() const { return { m_remote, m_timeout }; }

    std::uint64_t timeout() const { return m_timeout; }

    /// False when the delegate is lost.
    bool send(const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results = {});

private:
    bool trySending(
        const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results) const;

    RemoteObject m_remote;
    std::uint64_t m_timeout;
    bool m_lost = false;
};

} // namespace mv
