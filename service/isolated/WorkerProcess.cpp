#include "service/isolated/WorkerProcess.h"

#include "Base/Core/NSBundle.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "service/job/Messages.h"
#include "service/job/RecordCode.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <sched.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr std::array Places { "mivo-worker", "../libexec/mivo/mivo-worker" };

std::vector<std::string> wordsFor(const std::string& program, WorkerKind kind)
{
    WorkerSetup setup { .kind = kind };
    if (const char* zone = std::getenv("TZ"))
        setup.zone = zone;
    return wordsOf(program, setup);
}

Error notUsable(std::string why) { return { Error::Kind::State, std::move(why) }; }

/// Once in the life of a process: every worker says the same.
void logMissing(const std::string& sentence)
{
    static std::atomic<bool> isLogged = false;
    if (!isLogged.exchange(true))
        NSLogAt(LogPriority::Warning, "%s", sentence.c_str());
}

} // namespace

Result<std::unique_ptr<WorkerProcess>> WorkerProcess::start(
    const std::string& program, WorkerKind kind, Channel::Clock::duration patience)
{
    MV_TRY(ends, Channel::makeEnds());
    MV_TRY(child, ChildProgram::start(wordsFor(program, kind), std::move(ends.second)));
    Channel channel(std::move(ends.first), MaxWorkerMessageBytes);
    std::unique_ptr<WorkerProcess> worker(new WorkerProcess(kind, std::move(channel), std::move(child)));
    MV_TRY_VOID(worker->awaitReady(patience));
    return worker;
}

Result<void> WorkerProcess::awaitReady(Channel::Clock::duration patience)
{
    MV_TRY(frame, m_channel.receive(Channel::Clock::now() + patience));
    if (!frame) {
        ProgramEnd end = m_program.wait();
        return notUsable(
            formatText("a worker ended before it was ready (exit status %d, signal %d)", end.exitStatus, end.signal));
    }
    if (frame->kind == kindOf(Message::NotClosed))
        return notUsable("a worker could not close itself: " + cleanedUtf8(charsOf(frame->payload)));
    if (frame->kind != kindOf(Message::Ready))
        return notUsable("a worker began with a message of another kind");
    // Another version may have another form of record, too.
    auto facts = decodeRecord(frame->payload);
    const std::string* version = facts ? facts->string(ReadyVersion) : nullptr;
    if (!version || *version != MIVO_VERSION)
        return notUsable("the worker's program is of another version; the service must be started again");
    if (const std::string* sentence = facts->string(ReadyMissing))
        logMissing(*sentence);
    return {};
}

std::optional<StayingHere> WorkerProcess::placeCall(std::chrono::microseconds brief)
{
    const bool isBrief = m_kind == WorkerKind::Light && m_lastCall < brief;
    std::optional<StayingHere> staying;
    if (isBrief && m_lastCall >= ShortCall)
        staying.emplace();
    runOn(isBrief ? sched_getcpu() : AnyProcessor);
    return staying;
}

void WorkerProcess::runOn(int processor)
{
    if (processor == m_processor || processor >= CPU_SETSIZE)
        return;
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (processor == AnyProcessor && sched_getaffinity(0, sizeof processors, &processors) != 0)
        return;
    if (processor != AnyProcessor)
        CPU_SET(processor, &processors);
    // Where that is refused the system chooses, as always.
    static_cast<void>(m_program.runOn(processors));
    m_processor = processor;
}

void WorkerProcess::allowProcessorTime(std::chrono::seconds time)
{
    // Of eight threads at once.
    constexpr std::chrono::milliseconds Unnoticed { 60 };
    if (time == m_allowed && m_usedSinceAllowed < Unnoticed)
        return;
    // One that has ended already cannot be limited either; the conversation finds out.
    static_cast<void>(m_program.limitCpuTime(time));
    m_allowed = time;
    m_usedSinceAllowed = {};
}

std::string installedWorkerProgram()
{
    std::string folder = NSBundle::mainBundle().bundlePath().text();
    for (const char* place : Places) {
        std::string program = folder + "/" + place;
        if (access(program.c_str(), X_OK) == 0)
            return program;
    }
    return folder + "/" + Places.front();
}

} // namespace mv
