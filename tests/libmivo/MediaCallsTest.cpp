// Calls under way: callbacks, main loops, cancelling, services and buses that leave.
#include "tests/libmivo/LibraryMedia.h"

#include <atomic>
#include <future>
#include <poll.h>

namespace mivo {
namespace {

using testing::ElementsAre;

TEST_F(LibraryMedia, CallbacksAreCalledByDispatch)
{
    FakeMedia service(answerByPath);
    std::vector<std::string> told;
    auto note = [&](Pending<Record> ready) {
        EXPECT_TRUE(ready.isReady());
        told.push_back(ready.error() ? ready.error()->name() : ready.get()[keys::fact::Title].text());
    };
    for (const char* path : { "/1", "/no", "/2" })
        m_client.describe(path).then(note);
    EXPECT_EQ(m_client.underWay(), 3u);
    EXPECT_TRUE(told.empty());
    m_client.finish();
    EXPECT_THAT(told, testing::UnorderedElementsAre("/1", "Mivo.Media1.Error.NotMedia", "/2"));
    EXPECT_EQ(m_client.underWay(), 0u);
    // One that is ready already is told by the next dispatch.
    auto pending = m_client.describe("/3");
    ASSERT_TRUE(pending.waitFor(mv::test::Patience));
    pending.then(note);
    EXPECT_EQ(told.size(), 3u);
    m_client.dispatch();
    EXPECT_EQ(told.back(), "/3");
    EXPECT_EQ(errorOf([&] { pending.get(); }).kind(), Error::Kind::InvalidArgument) << "given to the callback";
}

TEST_F(LibraryMedia, CallbacksMayCallAndWait)
{
    FakeMedia service(answerByPath);
    std::vector<std::string> told;
    auto other = m_client.describe("/other");
    m_client.describe("/1").then([&](Pending<Record> ready) {
        told.push_back(ready.get()[keys::fact::Title].text());
        told.push_back(m_client.describe("/2").get()[keys::fact::Title].text());
        told.push_back(other.get()[keys::fact::Title].text());
        m_client.describe("/3").then(
            [&](Pending<Record> later) { told.push_back(later.get()[keys::fact::Title].text()); });
    });
    m_client.finish();
    EXPECT_THAT(told, ElementsAre("/1", "/2", "/other", "/3"));
}

TEST_F(LibraryMedia, WhatACallbackThrowsComesOut)
{
    FakeMedia service(answerByPath);
    struct Own { };
    int told = 0;
    m_client.describe("/1").then([](Pending<Record>) { throw Own(); });
    m_client.describe("/2").then([&](Pending<Record>) { ++told; });
    EXPECT_THROW(m_client.finish(), Own);
    m_client.finish();
    EXPECT_EQ(told, 1);
}

TEST_F(LibraryMedia, OneDescriptorTellsAMainLoopOfEverything)
{
    FakeMedia service(answerByPath);
    const int watched = m_client.fd();
    int told = 0;
    auto runLoopUntil = [&](int count) {
        return mv::test::eventually([&] {
            pollfd entry { watched, POLLIN, 0 };
            if (told < count && poll(&entry, 1, 1000) > 0)
                m_client.dispatch();
            return told == count;
        });
    };
    for (int i = 0; i < 100; ++i)
        m_client.describe("/" + std::to_string(i)).then([&](Pending<Record>) { ++told; });
    EXPECT_TRUE(runLoopUntil(100));
    // A wait may have taken what was for others: it is told all the same.
    m_client.describe("/first").then([&](Pending<Record>) { ++told; });
    auto last = m_client.describe("/last");
    last.get();
    last = m_client.describe("/ready");
    ASSERT_TRUE(last.waitFor(mv::test::Patience));
    last.then([&](Pending<Record>) { ++told; });
    EXPECT_TRUE(runLoopUntil(102));
    // Nothing is left to be done.
    m_client.dispatch();
    pollfd entry { watched, POLLIN, 0 };
    EXPECT_EQ(poll(&entry, 1, 0), 0);
    EXPECT_EQ(m_client.fd(), watched);
}

TEST_F(LibraryMedia, WaitingEndsWhenItsTimeHasCome)
{
    FakeMedia service(answerByPath);
    auto pending = m_client.describe("/never");
    EXPECT_FALSE(pending.waitFor(std::chrono::milliseconds(5)));
    EXPECT_FALSE(pending.waitFor(std::chrono::milliseconds(-1)));
    EXPECT_FALSE(pending.isReady());
    EXPECT_EQ(pending.error(), nullptr);
}

TEST_F(LibraryMedia, ACancelledCallLeavesTheBus)
{
    std::string caller;
    FakeMedia service([&](const FakeCall& call) {
        caller = call.sender();
        answerByPath(call);
    });
    auto pending = m_client.describe("/never");
    ASSERT_TRUE(eventually([&] { return service.calls("Describe") == 1; }));
    std::string first;
    service.run([&] { first = caller; });
    pending.cancel();
    EXPECT_TRUE(pending.isReady());
    EXPECT_EQ(errorOf([&] { pending.get(); }).kind(), Error::Kind::Cancelled);
    EXPECT_TRUE(mv::test::eventually([&] { return service.hasLeft(first); }));
    EXPECT_EQ(m_client.describe("/2").get()[keys::fact::Title].text(), "/2");
    EXPECT_NE(caller, first);
}

TEST_F(LibraryMedia, ADroppedCallWaitsForThoseThatAreWanted)
{
    std::vector<FakeCall> kept;
    FakeMedia service([&](FakeCall call) {
        if (call.arguments().string() == "/later")
            kept.push_back(std::move(call));
        else
            answerByPath(call);
    });
    auto wanted = m_client.describe("/later");
    bool isTold = false;
    {
        auto dropped = m_client.describe("/never");
        dropped.then([&](Pending<Record>) { isTold = true; });
        ASSERT_TRUE(eventually([&] { return service.calls("Describe") == 2; }));
    }
    EXPECT_EQ(m_client.describe("/new").get()[keys::fact::Title].text(), "/new") << "by another connection";
    std::string first;
    service.run([&] { first = kept.front().sender(); });
    EXPECT_FALSE(service.hasLeft(first));
    service.run([&] { kept.front().answer([](WireWriter& out) { putTitle(out, "Late"); }); });
    EXPECT_EQ(wanted.get()[keys::fact::Title].text(), "Late");
    EXPECT_TRUE(mv::test::eventually([&] { return service.hasLeft(first); }));
    m_client.finish();
    EXPECT_FALSE(isTold);
}

TEST_F(LibraryMedia, ManyCancelledCallsHaveNotManyConnections)
{
    std::set<std::string> callers;
    FakeMedia service([&](const FakeCall& call) {
        callers.insert(call.sender());
        answerByPath(call);
    });
    std::vector<Pending<Record>> wanted;
    for (int i = 0; i < 40; ++i) {
        wanted.push_back(m_client.describe("/never" + std::to_string(i)));
        auto dropped = m_client.describe("/never");
    }
    m_client.describe("/last").get();
    service.run([&] { EXPECT_LE(callers.size(), 8u); });
}

TEST_F(LibraryMedia, AClientThatEndsStopsItsCalls)
{
    std::string caller;
    FakeMedia service([&](const FakeCall& call) { caller = call.sender(); });
    Pending<Record> pending;
    {
        MediaClient other { ClientOptions().startService(false) };
        pending = other.describe("/never");
        other.describe("/never").then([](Pending<Record>) { FAIL() << "told though its client has ended"; });
        ASSERT_TRUE(mv::test::eventually([&] {
            other.dispatch();
            return service.calls("Describe") == 2;
        }));
    }
    EXPECT_EQ(errorOf([&] { pending.get(); }).kind(), Error::Kind::Cancelled);
    service.run([] {});
    EXPECT_TRUE(mv::test::eventually([&] { return service.hasLeft(caller); }));
}

TEST_F(LibraryMedia, AServiceThatLeavesFailsItsCallsAndTheNextGoOn)
{
    auto service = std::make_unique<FakeMedia>(answerByPath);
    auto pending = m_client.describe("/never");
    ASSERT_TRUE(eventually([&] { return service->calls("Describe") == 1; }));
    service.reset();
    EXPECT_EQ(errorOf([&] { pending.get(); }).kind(), Error::Kind::Lost);
    service = std::make_unique<FakeMedia>(answerByPath);
    EXPECT_EQ(m_client.describe("/2").get()[keys::fact::Title].text(), "/2");
}

TEST_F(LibraryMedia, ABusThatDiesFailsEverything)
{
    FakeMedia service(answerByPath);
    std::vector<Pending<Record>> pending;
    for (int i = 0; i < 3; ++i)
        pending.push_back(m_client.describe("/never"));
    m_client.describe("/1").get();
    m_privateBus.kill();
    for (auto& one : pending)
        EXPECT_EQ(errorOf([&] { one.get(); }).kind(), Error::Kind::Lost);
    EXPECT_EQ(errorOf([&] { (void)m_client.describe("/2"); }).kind(), Error::Kind::NoBus);
    EXPECT_EQ(m_client.underWay(), 0u);
    EXPECT_EQ(errorOf([] { MediaClient client; }).kind(), Error::Kind::NoBus);
}

TEST_F(LibraryMedia, AnotherThreadMeanwhileIsRefused)
{
    std::promise<void> entered;
    FakeMedia service([&](const FakeCall& call) {
        if (call.arguments().string() == "/never")
            entered.set_value();
        else
            answerByPath(call);
    });
    auto pending = m_client.describe("/never");
    std::atomic<bool> ends = false;
    auto waiting = std::async(std::launch::async, [&] {
        while (!ends) {
            try {
                pending.waitFor(std::chrono::milliseconds(50));
            } catch (const Error&) {
                // The other thread was at it just then: it is this one that is refused.
            }
        }
    });
    entered.get_future().wait();
    bool isRefused = mv::test::eventually([&] {
        try {
            m_client.dispatch();
        } catch (const Error& error) {
            return error.kind() == Error::Kind::Busy;
        }
        return false;
    });
    EXPECT_TRUE(isRefused);
    ends = true;
    waiting.wait();
}

TEST_F(LibraryMedia, MovesWithItsCalls)
{
    FakeMedia service(answerByPath);
    auto pending = m_client.describe("/1");
    MediaClient other = std::move(m_client);
    auto moved = std::move(pending);
    EXPECT_EQ(moved.get()[keys::fact::Title].text(), "/1");
    m_client = std::move(other);
    EXPECT_EQ(m_client.describe("/2").get()[keys::fact::Title].text(), "/2");
    Pending<Record> none;
    EXPECT_TRUE(none.isReady());
    EXPECT_THROW(none.get(), Error);
    none.cancel();
}

} // namespace
} // namespace mivo
