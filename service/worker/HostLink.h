#pragma once

#include "process/Channel.h"
#include "service/job/Messages.h"
#include "service/job/Requests.h"
#include "system/Mutex.h"

#include <functional>
#include <optional>

namespace mv {

/// What a writing job asks the host through. Any thread of the job may ask; one at a time does. When the host is gone,
/// or says what no host says, every question has an error from then on, and the job comes to its end by that.
class HostLink {
public:
    using Send = std::function<Result<void>(Message kind, ByteView payload)>;

    struct Reply {
        Record values;
        UniqueFd descriptor; ///< where the request asks for one and it is to be had
    };

    /// `send` is safe on several threads at once. Nobody else receives while the job runs.
    HostLink(Channel& channel, Send send)
        : m_channel(channel)
        , m_send(std::move(send))
    {
    }
    HostLink(const HostLink&) = delete;
    HostLink& operator=(const HostLink&) = delete;

    Result<Reply> ask(const Request& request) MV_EXCLUDES(m_lock);
    /// Asks for Replace, answers the host's questions by the two, and gives the reply. What they throw comes through,
    /// and is final.
    Result<Reply> replace(const FileReplacement::Plan& plan, const FileReplacement::Check& check) MV_EXCLUDES(m_lock);

private:
    Result<void> send(Message kind, ByteView payload) MV_REQUIRES(m_lock);
    Result<Frame> receive() MV_REQUIRES(m_lock);
    Result<std::optional<Reply>> answer(
        Frame frame, const FileReplacement::Plan& plan, const FileReplacement::Check& check) MV_REQUIRES(m_lock);
    Error broken(const Error& error) MV_REQUIRES(m_lock);

    Channel& m_channel;
    const Send m_send;
    Mutex m_lock;
    std::optional<Error> m_broken MV_GUARDED_BY(m_lock);
};

} // namespace mv
