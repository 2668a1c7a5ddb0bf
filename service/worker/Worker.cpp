#include "service/worker/Worker.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/Handle.h"
#include "Base/Core/LateLoading.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/WorkSign.h"
#include "service/job/Messages.h"
#include "service/worker/MediaRunner.h"
#include "service/worker/ReadingRunner.h"
#include "service/worker/WritingRunner.h"
#include "system/Mutex.h"
#include "system/ProgramPages.h"

#include <cerrno>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace mv {

namespace {

constexpr std::size_t MaxLogLine = 1024;

/// Any thread of a job may write a line; the channel takes one message at a time.
class Sender {
public:
    explicit Sender(Channel& channel)
        : m_channel(channel)
    {
        setLogSink([this](std::string_view line) { sendLine(line); });
    }
    ~Sender() { setLogSink({}); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    Result<void> send(Message kind, ByteView payload) MV_EXCLUDES(m_lock)
    {
        MutexLock hold(m_lock);
        return m_channel.send(kindOf(kind), payload);
    }

private:
    void sendLine(std::string_view line)
    {
        // Nobody is left to tell of a line that cannot be sent.
        static_cast<void>(send(Message::Log, bytesOf(truncatedUtf8(line, MaxLogLine))));
    }

    Mutex m_lock;
    Channel& m_channel;
};

UniqueFd onlyDescriptor(Frame& frame)
{
    return frame.descriptors.empty() ? UniqueFd() : std::move(frame.descriptors.front());
}

Result<void> sendAnswer(ByteView answer, Sender& sender)
{
    if (answer.size() > MaxWorkerMessageBytes)
        return sender.send(Message::TooLarge, {});
    return sender.send(Message::Answer, answer);
}

Result<void> doReadingJob(Frame frame, Sender& sender)
{
    MV_TRY(job, decodeJob(frame.payload, onlyDescriptor(frame)));
    setDebugLevel(job.debugLevel);
    return sendAnswer(encodeAnswer(runReadingJob(job)), sender);
}

Result<void> doMediaJob(Frame frame, Sender& sender)
{
    MV_TRY(job, decodeMediaJob(frame.payload, std::move(frame.descriptors)));
    setDebugLevel(job.debugLevel);
    return sendAnswer(encodeMediaResults(runMediaJob(job)), sender);
}

/// A job whose client has no delegate asks for hardly anything, and would go on to its end for a host that is gone.
void leaveWithHost(int socket)
{
    std::thread([socket] {
        pollfd end { socket, POLLRDHUP, 0 };
        while (poll(&end, 1, -1) < 0 && errno == EINTR) { }
        _exit(0);
    }).detach();
}

Result<void> doWritingJob(Frame frame, Sender& sender, Channel& channel)
{
    MV_TRY(job, decodeWritingJob(frame.payload, onlyDescriptor(frame)));
    frame.payload = Bytes(); // a record may be large, and is not needed twice
    setDebugLevel(job.debugLevel);
    if (!changesItsFile(job.operation))
        leaveWithHost(channel.socket());
    setWorkSignSink([&sender] { static_cast<void>(sender.send(Message::Working, {})); });
    ScopeGuard nobodyHears([] { setWorkSignSink({}); });
    HostLink host(channel, [&sender](Message kind, ByteView payload) { return sender.send(kind, payload); });
    return sender.send(Message::Answer, encodeWritingAnswer(runWritingJob(job, host)));
}

Result<void> doJob(Frame frame, Sender& sender, Channel& channel)
{
    if (frame.kind == kindOf(Message::ReadingJob))
        return doReadingJob(std::move(frame), sender);
    if (frame.kind == kindOf(Message::WritingJob))
        return doWritingJob(std::move(frame), sender, channel);
    if (frame.kind == kindOf(Message::MediaJob))
        return doMediaJob(std::move(frame), sender);
    return Error { Error::Kind::Format, "a message that no host sends" };
}

/// A spare one waits for hours, and most of what its start has mapped no job needs.
void becomeSmallWhileNobodyAsks(int socket)
{
    constexpr int QuietMilliseconds = 500;
    pollfd job { socket, POLLIN, 0 };
    if (poll(&job, 1, QuietMilliseconds) == 0)
        letGoOfProgramPages();
}

} // namespace

Result<void> serveJobs(Channel& channel)
{
    Sender sender(channel);
    becomeSmallWhileNobodyAsks(channel.socket());
    while (true) {
        MV_TRY(frame, channel.receive(Channel::NoDeadline, MaxMediaFiles));
        if (!frame)
            return {};
        try {
            MV_TRY_VOID(doJob(std::move(*frame), sender, channel));
        } catch (const LibraryNotLoaded&) {
            MV_TRY_VOID(sender.send(Message::NeedsMedia, {}));
        }
    }
}

} // namespace mv
