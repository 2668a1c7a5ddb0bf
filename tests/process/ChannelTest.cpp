#include "process/Channel.h"

#include "Base/Core/ByteReader.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace mv {
namespace {

using namespace std::chrono_literals;

class ChannelTest : public testing::Test {
protected:
    explicit ChannelTest(std::pair<UniqueFd, UniqueFd> ends = std::move(*Channel::makeEnds()))
        : raw(ends.second.get())
        , here(std::move(ends.first))
        , there(std::move(ends.second))
    {
    }
    /// Writes bytes into the other end as they are.
    void writeRaw(ByteView bytes) const
    {
        ASSERT_EQ(::send(raw, bytes.data(), bytes.size(), 0), ssize_t(bytes.size()));
    }
    void endThere() { there = Channel(UniqueFd()); }

    int raw; ///< the other end's descriptor
    Channel here;
    Channel there;
};

Bytes pattern(std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
}

int openDescriptors()
{
    int count = 0;
    for (int fd = 0; fd < 256; ++fd)
        count += fcntl(fd, F_GETFD) >= 0;
    return count;
}

TEST_F(ChannelTest, CarriesFrames)
{
    // The longest do not fit into what the system keeps: both sides work at once.
    for (std::size_t size : { std::size_t { 0 }, std::size_t { 1 }, std::size_t { 70'000 }, std::size_t { 5'000'000 },
             Channel::MaxPayloadBytes }) {
        Bytes sent = pattern(size);
        std::thread sender([&] { EXPECT_TRUE(there.send(7, sent)); });
        auto frame = here.receive();
        sender.join();
        ASSERT_TRUE(frame.ok());
        ASSERT_TRUE(frame->has_value());
        EXPECT_EQ((*frame)->kind, 7);
        EXPECT_TRUE((*frame)->payload == sent) << size;
        EXPECT_TRUE((*frame)->descriptors.empty());
    }
}

/// A frame as it stands in the stream.
Bytes frameOf(std::uint8_t kind, const Bytes& payload)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u32le(static_cast<std::uint32_t>(payload.size()));
    writer.u8(kind);
    writer.bytes(payload);
    return bytes;
}

TEST_F(ChannelTest, FramesThatComeTogetherAreTakenOneByOne)
{
    Bytes stream;
    for (std::uint8_t kind = 1; kind <= 3; ++kind) {
        Bytes frame = frameOf(kind, pattern(kind * 100u));
        stream.insert(stream.end(), frame.begin(), frame.end());
    }
    writeRaw(stream);
    EXPECT_FALSE(here.holdsMore());
    for (std::uint8_t kind = 1; kind <= 3; ++kind) {
        auto frame = here.receive(Channel::Clock::now() + 60s);
        ASSERT_TRUE(frame.ok() && *frame);
        EXPECT_EQ((*frame)->kind, kind);
        EXPECT_TRUE((*frame)->payload == pattern(kind * 100u));
        // What a poll of the socket does not see any more.
        EXPECT_EQ(here.holdsMore(), kind < 3);
        EXPECT_EQ(here.awaitMessage(Channel::Clock::now()).ok(), kind < 3);
    }
}

// The first read ends in the middle of the second frame, in its header or behind it.
TEST_F(ChannelTest, AFrameMayBeginInOneReadAndEndInAnother)
{
    const Bytes first = frameOf(1, pattern(10));
    const Bytes second = frameOf(2, pattern(50'000));
    for (std::size_t early : { 1u, 4u, 5u, 6u, 10'000u }) {
        Bytes start = first;
        start.insert(start.end(), second.begin(), second.begin() + static_cast<std::ptrdiff_t>(early));
        writeRaw(start);
        EXPECT_EQ((*here.receive(Channel::Clock::now() + 60s))->kind, 1);
        EXPECT_TRUE(here.holdsMore());
        std::thread sender([&] { writeRaw(ByteView(second).subspan(early)); });
        auto frame = here.receive(Channel::Clock::now() + 60s);
        sender.join();
        ASSERT_TRUE(frame.ok() && *frame);
        EXPECT_EQ((*frame)->kind, 2);
        EXPECT_TRUE((*frame)->payload == pattern(50'000)) << early;
        EXPECT_FALSE(here.holdsMore());
    }
}

TEST_F(ChannelTest, BytesMayComeOneAtATime)
{
    const Bytes stream = frameOf(9, pattern(40));
    std::thread sender([&] {
        for (std::uint8_t byte : stream)
            writeRaw(ByteView(&byte, 1));
    });
    auto frame = here.receive(Channel::Clock::now() + 60s);
    sender.join();
    ASSERT_TRUE(frame.ok() && *frame);
    EXPECT_EQ((*frame)->kind, 9);
    EXPECT_TRUE((*frame)->payload == pattern(40));
    // And one at a time, each waited for.
    for (std::size_t i = 0; i + 1 < stream.size(); ++i) {
        writeRaw(ByteView(stream).subspan(i, 1));
        EXPECT_TRUE(here.awaitMessage(Channel::Clock::now() + 60s));
    }
    writeRaw(ByteView(stream).last(1));
    EXPECT_TRUE((*here.receive(Channel::Clock::now() + 60s))->payload == pattern(40));
}

TEST_F(ChannelTest, CarriesDescriptors)
{
    test::ScratchFolder folder;
    UniqueFd file(open(folder.write("a", "content").c_str(), O_RDONLY | O_CLOEXEC));
    const int sent[] = { file.get(), file.get() };
    Bytes payload = pattern(1'000'000);
    std::thread sender([&] { EXPECT_TRUE(there.send(1, payload, sent)); });
    auto frame = here.receive(Channel::NoDeadline, 2);
    sender.join();
    ASSERT_TRUE(frame.ok());
    ASSERT_EQ((*frame)->descriptors.size(), 2u);
    EXPECT_TRUE((*frame)->payload == payload);
    struct stat one { };
    struct stat other { };
    ASSERT_EQ(fstat(file.get(), &one), 0);
    ASSERT_EQ(fstat((*frame)->descriptors[1].get(), &other), 0);
    EXPECT_EQ(one.st_ino, other.st_ino);
    EXPECT_TRUE(fcntl((*frame)->descriptors[0].get(), F_GETFD) & FD_CLOEXEC);
}

TEST_F(ChannelTest, DescriptorsThatNobodyAskedForAreClosed)
{
    UniqueFd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int sent[] = { file.get(), file.get(), file.get() };
    int before = openDescriptors();
    ASSERT_TRUE(there.send(1, pattern(10), sent));
    auto none = here.receive();
    ASSERT_TRUE(none.ok());
    EXPECT_TRUE((*none)->descriptors.empty());
    ASSERT_TRUE(there.send(1, pattern(10), sent));
    EXPECT_EQ(here.receive(Channel::NoDeadline, 2).error().kind, Error::Kind::Format);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ChannelTest, TheEndBetweenTwoFramesIsNoError)
{
    ASSERT_TRUE(there.send(1, {}));
    endThere();
    EXPECT_TRUE((*here.receive()).has_value());
    auto end = here.receive();
    ASSERT_TRUE(end.ok());
    EXPECT_FALSE(end->has_value());
}

TEST_F(ChannelTest, TheEndInsideAFrameIsAnError)
{
    writeRaw(Bytes { 10, 0, 0 });
    endThere();
    EXPECT_EQ(here.receive().error().kind, Error::Kind::Io);
}

TEST_F(ChannelTest, TheEndInsideAPayloadIsAnError)
{
    writeRaw(Bytes { 10, 0, 0, 0, 1, 'x' });
    endThere();
    EXPECT_EQ(here.receive().error().kind, Error::Kind::Io);
}

TEST_F(ChannelTest, AClaimTakesNoMemory)
{
    writeRaw(Bytes { 0xff, 0xff, 0xff, 0xff, 1 });
    EXPECT_EQ(here.receive().error().kind, Error::Kind::Limit);
}

TEST_F(ChannelTest, OneSideMayBeHeldToShorterMessages)
{
    auto ends = std::move(*Channel::makeEnds());
    Channel strict(std::move(ends.first), 10);
    Channel other(std::move(ends.second));
    ASSERT_TRUE(other.send(1, pattern(10)));
    EXPECT_TRUE((*strict.receive()).has_value());
    ASSERT_TRUE(strict.send(1, pattern(11)));
    EXPECT_TRUE((*other.receive()).has_value());
    ASSERT_TRUE(other.send(1, pattern(11)));
    EXPECT_EQ(strict.receive().error().kind, Error::Kind::Limit);
}

TEST_F(ChannelTest, SilenceEndsAtTheDeadline)
{
    EXPECT_EQ(here.receive(Channel::Clock::now() + 10ms).error().kind, Error::Kind::State);
    writeRaw(Bytes { 10, 0, 0, 0, 1, 'x' });
    EXPECT_EQ(here.receive(Channel::Clock::now() + 10ms).error().kind, Error::Kind::State);
}

TEST_F(ChannelTest, ByteAfterByteEndsAtTheDeadlineToo)
{
    writeRaw(Bytes { 0xff, 0xff, 0xff, 0, 1 });
    std::jthread dripping([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            writeRaw(Bytes { 'x' });
            std::this_thread::sleep_for(2ms);
        }
    });
    EXPECT_EQ(here.receive(Channel::Clock::now() + 50ms).error().kind, Error::Kind::State);
}

TEST_F(ChannelTest, WhoDoesNotReadIsNotWaitedForLongerThanTheDeadline)
{
    auto sent = there.send(1, pattern(10'000'000), {}, Channel::Clock::now() + 10ms);
    ASSERT_FALSE(sent.ok());
    EXPECT_EQ(sent.error().kind, Error::Kind::State);
}

TEST_F(ChannelTest, SendingToWhoHasEndedIsAnErrorAndNoSignal)
{
    endThere();
    auto sent = here.send(1, pattern(10));
    ASSERT_FALSE(sent.ok());
    EXPECT_EQ(sent.error().code, EPIPE);
}

TEST_F(ChannelTest, WhatIsTooLongIsNotSent)
{
    EXPECT_EQ(there.send(1, Bytes(Channel::MaxPayloadBytes + 1)).error().kind, Error::Kind::Unsupported);
    const int tooMany[Channel::MaxDescriptors + 1] = {};
    EXPECT_EQ(there.send(1, {}, tooMany).error().kind, Error::Kind::Unsupported);
    ASSERT_TRUE(there.send(2, {}));
    EXPECT_EQ((*here.receive())->kind, 2);
}

} // namespace
} // namespace mv
