// Calls of Mivo.Media1 under way: callbacks, waiting, services and buses that leave.
#include "tests/client/Media1Fixture.h"
#include "tests/support/Eventually.h"

namespace mv {
namespace {

using testing::ElementsAre;

TEST_F(Media1ClientTest, ManyCallsAreOnTheirWayAtOnce)
{
    // The last is answered first.
    std::vector<FakeCall> kept;
    constexpr std::size_t Count = 40;
    FakeMedia service([&](FakeCall call) {
        kept.push_back(std::move(call));
        for (bool isLast = kept.size() == Count; isLast && !kept.empty(); kept.pop_back())
            kept.back().answer([&](WireWriter& out) { putTitle(out, kept.back().arguments().string()); });
    });
    std::vector<std::string> titles;
    for (std::size_t i = 0; i < Count; ++i) {
        m_client.begin<MediaDescription>(describeRequest("/" + std::to_string(i)), [&](Result<MediaDescription> one) {
            titles.push_back(one ? *one->facts.get<std::string>(fact::Title) : one.error().text);
        });
    }
    EXPECT_EQ(m_client.underWay(), Count);
    auto served = m_client.serveUntil([&] { return m_client.underWay() == 0; });
    EXPECT_TRUE(served.ok() && *served);
    ASSERT_EQ(titles.size(), Count);
    EXPECT_EQ(titles.front(), "/39");
    EXPECT_EQ(titles.back(), "/0");
}

TEST_F(Media1ClientTest, CallbacksMayCallWaitAndForget)
{
    FakeMedia service([](FakeCall call) {
        std::string path = call.arguments().string();
        if (path != "/never")
            call.answer([&](WireWriter& out) { putTitle(out, path); });
    });
    std::vector<std::string> told;
    auto never = m_client.begin<MediaDescription>(
        describeRequest("/never"), [&](Result<MediaDescription>) { told.push_back("never"); });
    m_client.begin<MediaDescription>(describeRequest("/1"), [&](Result<MediaDescription>) {
        told.push_back("1");
        auto waited = m_client.call(describeRequest("/2"));
        told.push_back(waited ? *waited->facts.get<std::string>(fact::Title) : waited.error().text);
        m_client.begin<MediaDescription>(describeRequest("/3"), [&](Result<MediaDescription>) { told.push_back("3"); });
        m_client.forget(never);
    });
    EXPECT_TRUE(*m_client.serveUntil([&] { return m_client.underWay() == 0; }));
    EXPECT_THAT(told, ElementsAre("1", "/2", "3"));
}

TEST_F(Media1ClientTest, WhatACallbackThrowsComesOutOfServing)
{
    FakeMedia service([](FakeCall call) { call.answer([](WireWriter& out) { putTitle(out, "A"); }); });
    struct Own { };
    auto throwing = [](Result<MediaDescription>) { throw Own(); };
    m_client.begin<MediaDescription>(describeRequest("/1"), throwing);
    EXPECT_THROW((void)m_client.serveUntil([&] { return m_client.underWay() == 0; }), Own);
    m_client.begin<MediaDescription>(describeRequest("/1"), throwing);
    EXPECT_THROW((void)m_client.call(describeRequest("/2")), Own);
    EXPECT_TRUE(m_client.call(describeRequest("/3")).ok());
}

TEST_F(Media1ClientTest, ServingEndsWhenItsTimeHasCome)
{
    FakeMedia service([](FakeCall) {});
    m_client.begin<MediaDescription>(describeRequest("/1"), [](Result<MediaDescription>) { ADD_FAILURE(); });
    auto served = m_client.serveUntil(
        [&] { return m_client.underWay() == 0; }, std::chrono::steady_clock::now() + std::chrono::milliseconds(10));
    ASSERT_TRUE(served.ok());
    EXPECT_FALSE(*served);
}

TEST_F(Media1ClientTest, AServiceThatLeavesFailsItsCalls)
{
    auto service = std::make_unique<FakeMedia>([](FakeCall) {});
    Error::Kind kind = Error::Kind::State;
    m_client.begin<MediaDescription>(
        describeRequest("/1"), [&](Result<MediaDescription> one) { kind = one.error().kind; });
    ASSERT_TRUE(test::eventually([&] {
        (void)m_client.serveUntil([] { return true; });
        return service->calls("Describe") == 1;
    }));
    service.reset();
    EXPECT_TRUE(*m_client.serveUntil([&] { return m_client.underWay() == 0; }));
    EXPECT_EQ(kind, Error::Kind::Io);
}

TEST_F(Media1ClientTest, ABusThatDiesFailsCallsAndJobs)
{
    FakeMedia service([](FakeCall call) {
        if (call.member() == "Encode")
            call.answer([](WireWriter& out) { out.objectPath("/Mivo/Media1/jobs/1"); });
    });
    auto job = m_client.encode("/a.wav", "/a.mp3");
    ASSERT_TRUE(job.ok()) << job.error().text;
    int told = 0;
    for (int i = 0; i < 3; ++i) {
        m_client.begin<MediaDescription>(
            describeRequest("/1"), [&](Result<MediaDescription> one) { told += one.ok() ? 0 : 1; });
    }
    m_privateBus.kill();
    EXPECT_FALSE(m_client.serveUntil([] { return false; }).ok());
    EXPECT_EQ(told, 3);
    EXPECT_EQ((*job)->state(), MediaJob::State::Failed);
    EXPECT_EQ(m_client.begin<MediaDescription>(
                  describeRequest("/1"), [&](Result<MediaDescription> one) { told += one.ok() ? 0 : 1; }),
        0u);
    EXPECT_EQ(told, 4);
}

} // namespace
} // namespace mv
