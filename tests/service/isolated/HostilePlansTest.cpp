#include "Base/Core/NSException.h"
#include "tests/service/isolated/HostileWorkerTest.h"

#include <fcntl.h>

// What a worker may say while a file is replaced.

namespace mv {
namespace {

using namespace test;
using Kind = RequestKind;
using Operation = WritingOperation;
using testing::ElementsAre;

// The content is the worker's to say; that of this file alone, and of the file's bytes and new ones.
TEST_F(HostileWorkerTest, APlanChangesThisFileOnly)
{
    auto outcome = talk(Operation::UpdateTag,
        { request(Kind::Replace),
            content({ FileSegment::literal({ 'x' }), FileSegment::copy(2, 3), FileSegment::copy(9, 1) }), verdict(),
            answer(true) });
    EXPECT_TRUE(outcome.ok());
    EXPECT_EQ(text(input), "x2349");
    EXPECT_THAT(names(), ElementsAre("in"));
}

Sent rawContent(std::initializer_list<std::uint8_t> bytes) { return { Message::Content, bytes }; }

TEST_F(HostileWorkerTest, PlansThatAreNoneLeaveTheFile)
{
    auto copy = [](std::uint64_t offset, std::uint64_t length) { return FileSegment::copy(offset, length); };
    const Sent plans[] = {
        content({ copy(0, 11) }),
        content({ copy(11, 0) }),
        content({ copy(1, UINT64_MAX) }),
        content({ copy(UINT64_MAX, 2) }),
        content({ copy(0, 5), copy(4, 1) }),
        content({ copy(5, 5), copy(0, 5) }),
        rawContent({}),
        rawContent({ 9 }),
        rawContent({ 0, 0 }),
        rawContent({ 2, 'c', 0 }),
        rawContent({ 2, 'l', 0, 0, 0, 9, 1 }),
        rawContent({ 2, 'l', 0xff, 0xff, 0xff, 0xff }),
        rawContent({ 2, 'z' }),
        rawContent({ 3 }),
        rawContent({ 3, 0, 0, 0, 0 }),
        verdict(),
        request(Kind::Replace),
        answer(true),
        answer(std::int32_t { 1 }),
    };
    int number = 0;
    for (const Sent& plan : plans) {
        expectRefusal(Operation::UpdateTag, { request(Kind::Replace), plan, verdict(), answer(true) },
            "plan " + std::to_string(number++));
        EXPECT_EQ(text(input), "0123456789");
        EXPECT_THAT(names(), ElementsAre("in"));
        EXPECT_EQ(afterDeath, WritingAnswer(true));
    }
    EXPECT_TRUE(log.lines().empty()) << "who kills the worker says why";
}

TEST_F(HostileWorkerTest, VerdictsThatAreNoneLeaveTheFile)
{
    const Sent plan = content({ FileSegment::literal({ 'x' }) });
    for (const Sent& given : { Sent { Message::Verdict, {} }, { Message::Verdict, { 0 } },
             { Message::Verdict, { 1, 1 } }, { Message::Verdict, { 2 } }, plan, answer(true) }) {
        expectRefusal(Operation::UpdateTag, { request(Kind::Replace), plan, given, answer(true) }, "verdict");
        EXPECT_EQ(text(input), "0123456789");
        EXPECT_THAT(names(), ElementsAre("in"));
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(HostileWorkerTest, AnErrorOfThePlanOrTheCheckIsLoggedInOneLine)
{
    Error error { Error::Kind::Format, std::string(100'000, 'x') };
    Bytes failure;
    EXPECT_TRUE(encodePlan(error, [&](ByteView part) {
        failure.assign(part.begin(), part.end());
        return Result<void> {};
    }).ok());
    const Sent plan = content({ FileSegment::literal({ 'x' }) });
    EXPECT_TRUE(
        talk(Operation::UpdateTag, { request(Kind::Replace), { Message::Content, failure }, answer(true) }).ok());
    EXPECT_TRUE(talk(Operation::UpdateTag, { request(Kind::Replace), plan, verdict(error), answer(true) }).ok());
    EXPECT_EQ(text(input), "0123456789");
    ASSERT_EQ(log.lines().size(), 2u);
    for (const std::string& line : log.lines())
        EXPECT_LT(line.size(), 1200u);
}

TEST_F(HostileWorkerTest, AnExceptionInAPlanOrACheckIsTheAnswer)
{
    const WritingAnswer raised = RaisedException { NSInvalidArgumentException, "reason" };
    const Sent plan = content({ FileSegment::literal({ 'x' }) });
    for (const Script& script : { Script { request(Kind::Replace), answer(raised) },
             Script { request(Kind::Replace), plan, answer(raised) } }) {
        auto outcome = talk(Operation::UpdateTag, script);
        ASSERT_TRUE(outcome.ok());
        EXPECT_EQ(*outcome, raised);
        EXPECT_EQ(text(input), "0123456789");
        EXPECT_THAT(names(), ElementsAre("in"));
    }
}

// A long plan comes in parts, and its bounds are of all of them.
TEST_F(HostileWorkerTest, PartsOfAPlanAreOnePlan)
{
    PlanDecoder decoder(10);
    Bytes first { 1, 'c', 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 1 };
    ASSERT_TRUE(decoder.add(first).ok());
    EXPECT_FALSE(decoder.add(Bytes { 0 }).ok()) << "nothing, after something";
    PlanDecoder again(10);
    ASSERT_TRUE(again.add(first).ok());
    EXPECT_FALSE(again.add(first).ok()) << "the same bytes twice";
}

// What is planned and what is made can be read, and that is all.
TEST_F(HostileWorkerTest, NothingOfATagUpdateCanBeWritten)
{
    auto ends = std::move(*Channel::makeEnds());
    Channel channel(std::move(ends.first));
    std::thread worker([far = Channel(std::move(ends.second))]() mutable {
        auto ask = [&far](const Sent& sent) {
            EXPECT_TRUE(far.send(kindOf(sent.kind), sent.payload).ok());
            auto frame = far.receive(Channel::NoDeadline, 1);
            for (const UniqueFd& fd : (*frame)->descriptors) {
                EXPECT_EQ(fcntl(fd.get(), F_GETFL) & O_ACCMODE, O_RDONLY);
                EXPECT_EQ(pwrite(fd.get(), "evil", 4, 0), -1);
            }
            return (*frame)->descriptors.size();
        };
        auto job = far.receive(Channel::NoDeadline, 1);
        EXPECT_EQ((*job)->descriptors.size(), 1u);
        EXPECT_EQ(ask(request(Kind::Replace)), 1u);
        EXPECT_EQ(ask(content({ FileSegment::literal({ 'x' }) })), 1u);
        EXPECT_EQ(ask(verdict()), 0u);
        Sent last = answer(true);
        EXPECT_TRUE(far.send(kindOf(last.kind), last.payload).ok());
    });
    auto file = EditableFile::at(input);
    auto await = [&channel]() -> Result<Frame> {
        auto frame = channel.receive();
        return frame && *frame ? Result<Frame>(std::move(**frame)) : Error { Error::Kind::State, "gone" };
    };
    WritingBroker broker(
        channel, { .operation = Operation::UpdateTag, .file = file->opened() }, { .file = file.get() }, await);
    ASSERT_TRUE(broker.start().ok());
    ASSERT_TRUE(broker.serve(*await()).ok());
    EXPECT_EQ(broker.fileBytes(), 0u);
    EXPECT_TRUE(broker.serve(*await()).ok());
    worker.join();
    EXPECT_EQ(text(input), "x");
}

} // namespace
} // namespace mv
