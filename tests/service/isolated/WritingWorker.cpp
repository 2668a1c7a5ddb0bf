#include "tests/service/isolated/WritingWorker.h"

#include "service/worker/WritingRunner.h"
#include "tests/support/Places.h"

#include <gtest/gtest.h>

namespace mv::test {

using namespace std::chrono_literals;

WritingWorker::WritingWorker(WorkerSide side, WorkerKind kind)
    : WritingWorker(side, kind, std::move(*Channel::makeEnds()))
{
}

WritingWorker::WritingWorker(WorkerSide side, WorkerKind kind, std::pair<UniqueFd, UniqueFd> ends)
    : m_channel(std::move(ends.first))
    , m_far(side == WorkerSide::Thread ? std::move(ends.second) : UniqueFd())
{
    if (side == WorkerSide::Thread) {
        m_thread = std::thread([this] { serve(); });
        return;
    }
    std::string program = buildPath(side == WorkerSide::Trapping ? "tests/trapping_worker" : "bin/mivo-worker");
    m_program = std::move(*ChildProgram::start(wordsOf(program, { .kind = kind }), std::move(ends.second)));
    auto ready = m_channel.receive(Channel::Clock::now() + 60s);
    EXPECT_TRUE(ready && *ready && (*ready)->kind == kindOf(Message::Ready));
    EXPECT_TRUE(m_program->limitCpuTime(600s).ok());
}

WritingWorker::~WritingWorker()
{
    m_channel = Channel(UniqueFd());
    if (m_thread.joinable())
        m_thread.join();
}

/// The worker's loop, without its log, which is the process's.
void WritingWorker::serve()
{
    auto frame = m_far.receive(Channel::NoDeadline, 1);
    if (!frame || !*frame)
        return;
    auto& descriptors = (*frame)->descriptors;
    auto job = decodeWritingJob((*frame)->payload, descriptors.empty() ? UniqueFd() : std::move(descriptors[0]));
    if (!job) {
        ADD_FAILURE() << job.error().text;
        m_far = Channel(UniqueFd());
        return;
    }
    Mutex lock;
    auto send = [&](Message kind, ByteView payload) {
        MutexLock hold(lock);
        return m_far.send(kindOf(kind), payload);
    };
    HostLink host(m_far, send);
    static_cast<void>(send(Message::Answer, encodeWritingAnswer(runWritingJob(*job, host))));
}

Result<Frame> WritingWorker::awaitFrame()
{
    while (true) {
        MV_TRY(frame, m_channel.receive(Channel::Clock::now() + 60s));
        if (!frame)
            return Error { Error::Kind::State, "the worker is gone" };
        if (frame->kind == kindOf(Message::Working))
            continue;
        if (frame->kind != kindOf(Message::Log))
            return std::move(*frame);
        m_lines.emplace_back(charsOf(frame->payload));
    }
}

WritingAnswer WritingWorker::run(const WritingJob& job, WritingParts parts)
{
    WritingBroker broker(m_channel, job, parts, [this] { return awaitFrame(); });
    if (m_program) {
        EXPECT_TRUE(m_program->limitFileBytes(broker.fileBytes()).ok());
    }
    auto outcome = [&]() -> Result<WritingAnswer> {
        MV_TRY_VOID(broker.start());
        while (true) {
            MV_TRY(frame, awaitFrame());
            MV_TRY(answer, broker.serve(frame));
            if (answer)
                return std::move(*answer);
        }
    }();
    if (outcome)
        return std::move(*outcome);
    ADD_FAILURE() << outcome.error().text;
    if (m_program) {
        m_program->kill();
        ProgramEnd end = m_program->wait();
        ADD_FAILURE() << "exit " << end.exitStatus << ", signal " << end.signal;
    }
    return broker.answerOfDeath();
}

} // namespace mv::test
