#include "service/worker/Worker.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSLog.h"
#include "service/job/Messages.h"
#include "service/worker/ReadingRunner.h"
#include "system/Mutex.h"

namespace mv {

namespace {

constexpr std::size_t MaxLogLine = 1024;

/// Any thread of a job may write a line; the channel takes one message at a time.
class LogSender {
public:
    explicit LogSender(Channel& channel)
        : m_channel(channel)
    {
        setLogSink([this](std::string_view line) { send(line); });
    }
    ~LogSender() { setLogSink({}); }
    LogSender(const LogSender&) = delete;
    LogSender& operator=(const LogSender&) = delete;

    Result<void> answer(const ReadingAnswer& answer) MV_EXCLUDES(m_lock)
    {
        MutexLock hold(m_lock);
        return m_channel.send(static_cast<std::uint8_t>(Message::Answer), encodeAnswer(answer));
    }

private:
    void send(std::string_view line) MV_EXCLUDES(m_lock)
    {
        MutexLock hold(m_lock);
        // Nobody is left to tell of a line that cannot be sent.
        static_cast<void>(
            m_channel.send(static_cast<std::uint8_t>(Message::Log), bytesOf(truncatedUtf8(line, MaxLogLine))));
    }

    Mutex m_lock;
    Channel& m_channel;
};

UniqueFd onlyDescriptor(Frame& frame)
{
    return frame.descriptors.empty() ? UniqueFd() : std::move(frame.descriptors.front());
}

} // namespace

Result<void> serveJobs(Channel& channel)
{
    LogSender sender(channel);
    while (true) {
        MV_TRY(frame, channel.receive(Channel::NoDeadline, 1));
        if (!frame)
            return {};
        if (frame->kind != static_cast<std::uint8_t>(Message::ReadingJob))
            return Error { Error::Kind::Format, "a message that no host sends" };
        MV_TRY(job, decodeJob(frame->payload, onlyDescriptor(*frame)));
        setDebugLevel(job.debugLevel);
        MV_TRY_VOID(sender.answer(runReadingJob(job)));
    }
}

} // namespace mv
