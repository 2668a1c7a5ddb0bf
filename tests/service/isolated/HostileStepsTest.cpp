#include "service/include/MediaErrors.h"
#include "tests/service/isolated/HostileWorkerTest.h"

#include <cmath>

// What a worker may say that its file has taken over: the host does nothing but what an honest job could have asked
// for, and notices whatever no honest job says.

namespace mv {
namespace {

using namespace test;
using Kind = RequestKind;
using Operation = WritingOperation;
using testing::ElementsAre;

constexpr Operation Operations[] = { Operation::UpdateTag, Operation::EncodeMp3, Operation::ConvertToAac,
    Operation::ExportMovie, Operation::EncodeSound, Operation::SetTags };

TEST_F(HostileWorkerTest, MessagesThatNoWorkerSendsAreRefused)
{
    for (int kind = 0; kind < 256; ++kind) {
        auto message = static_cast<Message>(kind);
        if (message != Message::Answer && message != Message::Request)
            expectRefusal(Operation::UpdateTag, { { message, {} } }, std::to_string(kind));
    }
}

TEST_F(HostileWorkerTest, EachOperationHasItsOwnRequests)
{
    const std::set<Kind> files { Kind::IsWritable, Kind::Replace };
    const std::set<Kind> encoding { Kind::OutputAttributes, Kind::ClearOutput, Kind::OpenOutputInPlace, Kind::Started,
        Kind::ShouldStop, Kind::Progress, Kind::Failed, Kind::Ended };
    const std::set<Kind> making { Kind::OutputAttributes, Kind::CreateOutput, Kind::CommitOutput, Kind::ShouldGoOn };
    for (Operation operation : Operations) {
        for (int number = 1; number <= static_cast<int>(LastRequestKind); ++number) {
            auto kind = static_cast<Kind>(number);
            bool isOwn = changesItsFile(operation)  ? files.contains(kind)
                : operation == Operation::EncodeMp3 ? encoding.contains(kind)
                                                    : making.contains(kind);
            isOwn = isOwn
                || (operation == Operation::ExportMovie && (kind == Kind::CanHoldOutput || kind == Kind::ClearOutput));
            isOwn
                = isOwn || (operation == Operation::ConvertToAac && (files.contains(kind) || kind == Kind::EditOutput));
            if (!isOwn)
                expectRefusal(operation, { request(kind) }, std::to_string(number));
            EXPECT_EQ(text(input), "0123456789");
        }
    }
    EXPECT_THAT(names(), ElementsAre("in"));
    EXPECT_TRUE(
        listener.heard.empty() || listener.heard == std::vector<std::string>(listener.heard.size(), "failed 7"));
}

TEST_F(HostileWorkerTest, RequestsThatAreNoneAreRefused)
{
    Bytes longer = encodeRequest({ Kind::IsWritable });
    longer.push_back(0);
    Bytes unknown = encodeRequest({ static_cast<Kind>(static_cast<int>(LastRequestKind) + 1) });
    for (const Bytes& bytes : { Bytes {}, Bytes { 1 }, longer, unknown, encodeRequest({}) })
        expectRefusal(Operation::UpdateTag, { { Message::Request, bytes } }, std::to_string(bytes.size()));
}

TEST_F(HostileWorkerTest, StepsHaveTheirTurn)
{
    const Sent create = request(Kind::CreateOutput);
    const Sent commit = request(Kind::CommitOutput);
    const Sent open = request(Kind::OpenOutputInPlace);
    const Sent start = request(Kind::Started);
    const Sent end = request(Kind::Ended);
    const Sent stop = request(Kind::ShouldStop);
    const Sent clear = request(Kind::ClearOutput);
    const Sent edit = request(Kind::EditOutput);
    struct Row {
        const char* what;
        Operation operation;
        Script script;
    };
    const Row rows[] = {
        { "made twice", Operation::ConvertToAac, { create, create } },
        { "named before it is made", Operation::ConvertToAac, { commit } },
        { "named twice", Operation::ExportMovie, { create, commit, commit } },
        { "made again", Operation::ExportMovie, { create, commit, create } },
        { "cleared when it is made", Operation::ExportMovie, { create, clear } },
        { "cleared when it is named", Operation::ExportMovie, { create, commit, clear } },
        { "cleared twice", Operation::ExportMovie, { clear, clear } },
        { "edited before it is named", Operation::ConvertToAac, { create, edit } },
        { "edited twice", Operation::ConvertToAac, { create, commit, edit, edit } },
        { "changed without a file", Operation::ConvertToAac, { create, commit, request(Kind::Replace) } },
        { "asked without a file", Operation::ConvertToAac, { request(Kind::IsWritable) } },
        { "opened twice", Operation::EncodeMp3, { open, open } },
        { "started before it is opened", Operation::EncodeMp3, { start } },
        { "started twice", Operation::EncodeMp3, { open, start, start } },
        { "asked before the start", Operation::EncodeMp3, { open, stop } },
        { "progress before the start", Operation::EncodeMp3, { open, request(Kind::Progress, 0, 1) } },
        { "progress that does not grow", Operation::EncodeMp3,
            { open, start, request(Kind::Progress, 0, 2), request(Kind::Progress, 0, 2) } },
        { "progress that is no number", Operation::EncodeMp3, { open, start, request(Kind::Progress, 0, NAN) } },
        { "progress below all", Operation::EncodeMp3, { open, start, request(Kind::Progress, 0, -1) } },
        { "a code that nobody knows", Operation::EncodeMp3, { request(Kind::Failed, 3) } },
        { "success as a failure", Operation::EncodeMp3, { request(Kind::Failed, 0) } },
        { "a failure twice", Operation::EncodeMp3, { request(Kind::Failed, 1), request(Kind::Failed, 1) } },
        { "an end before the start", Operation::EncodeMp3, { open, end } },
        { "a failure after the end", Operation::EncodeMp3, { open, start, end, request(Kind::Failed, 1) } },
        { "progress after the end", Operation::EncodeMp3, { open, start, end, request(Kind::Progress, 0, 5) } },
        { "a question after the end", Operation::EncodeMp3, { open, start, end, stop } },
        { "cleared though nobody stopped it", Operation::EncodeMp3, { open, start, stop, clear } },
        { "an encoding made twice", Operation::EncodeSound, { create, create } },
        { "an encoding named before it is made", Operation::EncodeSound, { commit } },
        { "an encoding named twice", Operation::EncodeSound, { create, commit, commit } },
        { "an encoding's percent above all", Operation::EncodeSound, { request(Kind::ShouldGoOn, 101) } },
        { "percent below none", Operation::ExportMovie, { request(Kind::ShouldGoOn, -1) } },
        { "percent above all", Operation::ExportMovie, { request(Kind::ShouldGoOn, 101) } },
        { "a message of a replacement", Operation::UpdateTag, { verdict() } },
        { "a replacement twice", Operation::UpdateTag,
            { request(Kind::Replace), content({ FileSegment::copy(0, 10) }), request(Kind::Replace) } },
    };
    for (const Row& row : rows) {
        Script before(row.script.begin(), row.script.end() - 1);
        expectService(row.operation, before, row.what);
        std::filesystem::remove(output);
        expectRefusal(row.operation, row.script, row.what);
        std::filesystem::remove(output);
        EXPECT_EQ(text(input), "0123456789") << row.what;
        EXPECT_THAT(names(), ElementsAre("in")) << row.what;
    }
}

TEST_F(HostileWorkerTest, NothingComesAfterAStop)
{
    listener.stopAt = 1;
    delegate.refuseAt = 1;
    const Script stopped { request(Kind::OpenOutputInPlace), request(Kind::Started), request(Kind::ShouldStop) };
    for (const Sent& next : { request(Kind::ShouldStop), request(Kind::Ended), request(Kind::Failed, 6),
             request(Kind::Progress, 0, 5), answer(false) }) {
        Script script = stopped;
        script.push_back(next);
        expectRefusal(Operation::EncodeMp3, script, std::to_string(next.payload[0]));
    }
    expectRefusal(
        Operation::ConvertToAac, { request(Kind::ShouldGoOn, 1), request(Kind::ShouldGoOn, 2) }, "converting");
    EXPECT_EQ(delegate.percents.size(), 1u);
}

/// Counts the descriptors of a file that this process has when it is told that an encoding is over.
class WatchfulListener final : public EncodingListener {
public:
    explicit WatchfulListener(std::string path)
        : m_path(std::move(path))
    {
    }
    void started() override { EXPECT_EQ(descriptors(), 1); }
    bool shouldStop() override { return false; }
    void progress(float) override { }
    void failed(std::int32_t) override { atTheEnd = descriptors(); }
    void ended() override { atTheEnd = descriptors(); }

    int atTheEnd = -1;

private:
    int descriptors() const
    {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            count += std::filesystem::read_symlink(entry.path(), gone) == m_path;
        }
        return count;
    }

    std::string m_path;
};

// Who reads a pipe that is encoded into waits for its end, which comes when nobody can write any more.
TEST_F(HostileWorkerTest, TheOutputIsClosedBeforeAnybodyHearsOfTheEnd)
{
    const Script begun { request(Kind::OpenOutputInPlace), request(Kind::Started) };
    for (const Sent& last : { request(Kind::Ended), request(Kind::Failed, 6), answer(true) }) {
        WatchfulListener watching(output);
        told = &watching;
        Script script = begun;
        script.push_back(last);
        EXPECT_FALSE(talk(Operation::EncodeMp3, script).ok());
        EXPECT_EQ(watching.atTheEnd, 0);
    }
}

TEST_F(HostileWorkerTest, QuestionsHaveAnEnd)
{
    for (Kind kind : { Kind::OutputAttributes, Kind::CanHoldOutput })
        expectRefusal(Operation::ExportMovie, Script(17, request(kind)), "export");
    expectRefusal(Operation::UpdateTag, Script(17, request(Kind::IsWritable)), "tags");
}

TEST_F(HostileWorkerTest, ADelegateThatIsNoneIsNotAsked)
{
    hasDelegate = false;
    expectRefusal(Operation::ExportMovie, { request(Kind::ShouldGoOn, 1) }, "export");
}

TEST_F(HostileWorkerTest, AnswersFitWhatWasDone)
{
    const Sent open = request(Kind::OpenOutputInPlace);
    const Sent start = request(Kind::Started);
    const std::pair<Operation, Script> rows[] = {
        { Operation::EncodeMp3, { answer(true) } },
        { Operation::EncodeMp3, { answer(false) } },
        { Operation::EncodeMp3, { request(Kind::Failed, 1), answer(true) } },
        { Operation::EncodeMp3, { open, start, request(Kind::Ended), answer(false) } },
        { Operation::EncodeMp3, { answer(std::int32_t { 0 }) } },
        { Operation::UpdateTag, { answer(std::int32_t { 0 }) } },
        { Operation::ConvertToAac, { answer(true) } },
        { Operation::ConvertToAac, { answer(noErr) } },
        { Operation::ConvertToAac, { request(Kind::CreateOutput), answer(noErr) } },
        { Operation::EncodeSound, { answer(noErr) } },
        { Operation::EncodeSound, { request(Kind::CreateOutput), answer(noErr) } },
        { Operation::EncodeSound, { answer(std::int32_t { -1 }) } },
        { Operation::EncodeSound, { answer(static_cast<std::int32_t>(LastMediaErrorKind) + 1) } },
        { Operation::UpdateTag, { { Message::Answer, {} } } },
        { Operation::UpdateTag, { { Message::Answer, { 3, 2 } } } },
        { Operation::UpdateTag, { answer(RaisedException { "Whatever", "reason" }) } },
    };
    for (const auto& [operation, script] : rows)
        expectRefusal(operation, script, std::to_string(script.size()));
}

TEST_F(HostileWorkerTest, AnAnswerIsTheEnd)
{
    auto outcome = talk(Operation::UpdateTag, { answer(true), request(Kind::Replace) });
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(*outcome, WritingAnswer(true));
    EXPECT_EQ(text(input), "0123456789");
}

TEST_F(HostileWorkerTest, DeathsHaveTheAnswersOfAFailedCall)
{
    const Sent open = request(Kind::OpenOutputInPlace);
    const Sent start = request(Kind::Started);
    expectService(Operation::UpdateTag, {}, "tag");
    EXPECT_EQ(afterDeath, WritingAnswer(true));
    EXPECT_FALSE(hasServed);
    expectService(Operation::UpdateTag, { request(Kind::Replace) }, "planning");
    EXPECT_EQ(afterDeath, WritingAnswer(true));
    EXPECT_TRUE(hasServed);
    expectService(
        Operation::UpdateTag, { request(Kind::Replace), content({ FileSegment::literal({ 'x' }) }) }, "checking");
    EXPECT_EQ(text(input), "0123456789");
    EXPECT_THAT(names(), ElementsAre("in"));
    const auto crashed = static_cast<std::int32_t>(MediaErrorKind::Crashed);
    const Script made { request(Kind::CreateOutput), request(Kind::CommitOutput) };
    expectService(Operation::EncodeSound, { made.front() }, "an encoding");
    EXPECT_EQ(afterDeath, WritingAnswer(crashed));
    EXPECT_THAT(names(), ElementsAre("in"));
    expectService(Operation::EncodeSound, made, "an encoding that was named");
    EXPECT_EQ(afterDeath, WritingAnswer(std::int32_t { 0 }));
    std::filesystem::remove(output);
    for (Operation operation : { Operation::ConvertToAac, Operation::ExportMovie }) {
        scratch.write("out", "older");
        expectService(operation, { request(Kind::CreateOutput) }, "making");
        EXPECT_EQ(afterDeath, WritingAnswer(ioErr));
        EXPECT_EQ(text(output), "older");
        EXPECT_THAT(names(), ElementsAre("in", "out"));
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(HostileWorkerTest, ADeathIsAnEncodersFailureOnce)
{
    const Sent open = request(Kind::OpenOutputInPlace);
    const Sent start = request(Kind::Started);
    struct Row {
        Script script;
        bool answer;
        std::vector<std::string> heard;
    };
    const Row rows[] = {
        { {}, false, { "failed 7" } },
        { { open, start }, false, { "started", "failed 7" } },
        { { request(Kind::Failed, 1) }, false, { "failed 1" } },
        { { open, start, request(Kind::Ended) }, true, { "started", "ended" } },
    };
    for (const Row& row : rows) {
        expectService(Operation::EncodeMp3, row.script, "encoding");
        EXPECT_EQ(afterDeath, WritingAnswer(row.answer));
        EXPECT_EQ(std::exchange(listener.heard, {}), row.heard);
    }
    EXPECT_THAT(names(), ElementsAre("in", "out")) << "a failed encoding leaves what was written";
    listener.stopAt = 1;
    expectService(Operation::EncodeMp3, { open, start, request(Kind::ShouldStop) }, "stopping");
    EXPECT_EQ(afterDeath, WritingAnswer(true));
    EXPECT_THAT(listener.heard, ElementsAre("started"));
    EXPECT_THAT(names(), ElementsAre("in"));
}

} // namespace
} // namespace mv
