#include "service/isolated/JobTalk.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

namespace mv {

namespace {

// A file may have much to say at the highest debug level; a worker that says more is no help to anybody.
constexpr std::size_t MaxLines = 1024;
// That a worker must have had for a file.
constexpr std::chrono::seconds LeastBlamed { 10 };
// For a length: a week of sound.
constexpr std::chrono::minutes LongestCount { 30 };

WorkerDeath deathBySignal(int signal)
{
    if (signal == SIGXCPU)
        return { "it used up its processor time", PoisonList::Death::Deadline };
    std::string reason = formatText("it ended by signal %d (%s)", signal, strsignal(signal));
    // The system kills what it has no memory for, whatever file that reads.
    return { std::move(reason), signal == SIGKILL ? std::nullopt : std::optional(PoisonList::Death::Crash) };
}

WorkerDeath deathOf(const ProgramEnd& end)
{
    if (end.signal != 0)
        return deathBySignal(end.signal);
    return { formatText("it left with status %d", end.exitStatus), PoisonList::Death::Crash };
}

} // namespace

Result<void> JobTalk::send(
    Message kind, ByteView payload, std::span<const int> descriptors, Channel::Clock::time_point end)
{
    return m_worker.channel().send(kindOf(kind), payload, descriptors, end);
}

/// Nothing for a line of the log, and for a word that the job goes on.
Result<std::optional<Frame>> JobTalk::nextFrame(Channel::Clock::time_point end)
{
    MV_TRY(frame, m_worker.channel().receive(end));
    if (!frame)
        return Error { Error::Kind::Io, "the worker has closed its end", EPIPE };
    m_goesOn = false;
    switch (static_cast<Message>(frame->kind)) {
    case Message::Log:
        keepLine(*frame);
        return std::optional<Frame> {};
    case Message::Working:
        noteSign(Channel::Clock::now());
        return std::optional<Frame> {};
    default:
        return frame;
    }
}

void JobTalk::noteSign(Channel::Clock::time_point now)
{
    if (!m_firstSign)
        m_firstSign = now;
    m_goesOn = now - *m_firstSign < LongestCount;
}

Result<Frame> JobTalk::awaitFrame(Channel::Clock::time_point end)
{
    while (true) {
        MV_TRY(frame, nextFrame(end));
        if (frame)
            return std::move(*frame);
        // Lines of the log may come without end.
        if (Channel::Clock::now() >= end)
            return Error { Error::Kind::State, "no answer in time, but lines of the log", ETIMEDOUT };
    }
}

Result<Frame> JobTalk::awaitFrame(std::chrono::seconds patience, const std::function<bool()>& stillWorks)
{
    Channel::Clock::time_point end = Channel::Clock::now() + patience;
    while (true) {
        auto something = m_worker.channel().awaitMessage(end);
        if (!something && (something.error().kind != Error::Kind::State || !stillWorks()))
            return something.error();
        if (!something) {
            end = Channel::Clock::now() + patience;
            continue;
        }
        // Lines of the log are no work: they do not move the end.
        MV_TRY(frame, nextFrame(end));
        if (frame)
            return std::move(*frame);
        if (m_goesOn)
            end = Channel::Clock::now() + patience;
    }
}

void JobTalk::keepLine(const Frame& frame)
{
    constexpr std::size_t MaxLineBytes = 1024;
    if (m_written + m_lines.size() < MaxLines)
        m_lines.push_back(
            cleanedUtf8(charsOf(ByteView(frame.payload).first(std::min(frame.payload.size(), MaxLineBytes)))));
    else
        ++m_dropped;
}

void JobTalk::writeLog()
{
    for (const std::string& line : m_lines)
        NSLog("%s", line.c_str());
    if (m_dropped > 0 && !std::exchange(m_saidDropped, true))
        NSLog("%zu further lines of that job are left out", m_dropped);
    m_written += m_lines.size();
    m_lines.clear();
    m_dropped = 0;
}

WorkerDeath JobTalk::endOf(const Error& failure, Channel::Clock::time_point now)
{
    m_worker.program().kill();
    ProgramEnd end = m_worker.program().wait();
    switch (failure.kind) {
    case Error::Kind::State:
        // Whoever has waited for a worker until there was hardly any time left has not hung.
        return { "it did not answer in time",
            now - m_begin < LeastBlamed ? std::nullopt : std::optional(PoisonList::Death::Deadline) };
    case Error::Kind::Io:
        return deathOf(end);
    case Error::Kind::Unsupported:
        // The host's own affair.
        return { failure.text, std::nullopt };
    default:
        return { "it sent " + failure.text, PoisonList::Death::Crash };
    }
}

} // namespace mv
