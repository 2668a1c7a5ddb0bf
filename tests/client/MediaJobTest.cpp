#include "client/Media1Client.h"
#include "service/include/WireNames.h"
#include "tests/support/BusClient.h"
#include "tests/support/Eventually.h"
#include "tests/support/FakeMedia.h"
#include "tests/support/PrivateBus.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

namespace mv {
namespace {

using test::FakeCall;
using test::FakeMedia;
using testing::ElementsAre;
using State = MediaJob::State;

constexpr const char* Place = "/Mivo/Media1/jobs/7";

void putState(WireWriter& out, std::string_view state)
{
    out.entry(wire::Job1::State, "s", [&] { out.string(state); });
}
void putProgress(WireWriter& out, double progress)
{
    out.entry(wire::Job1::Progress, "d", [&] { out.real(progress); });
}
void putError(WireWriter& out, std::string_view name, std::string_view text)
{
    out.entry(wire::Job1::Error, "(ss)", [&] { out.stringPair(name, text); });
}

class MediaJobTest : public testing::Test {
protected:
    void begin()
    {
        auto begun = m_client.encode("/a.wav", "/a.mp3");
        ASSERT_TRUE(begun.ok()) << begun.error().text;
        m_job = std::move(*begun);
        m_job->onChange([this] { ++m_changes; });
    }
    /// What is told by the service is known here afterwards.
    void tell(const std::function<void(WireWriter&)>& fill)
    {
        m_service->tellChange(Place, fill);
        serveWhatCame();
    }
    void serveWhatCame() { EXPECT_TRUE(m_client.call(describeRequest("/in/order")).error().name == "Own.Error"); }
    bool isCalled(const std::string& member)
    {
        return test::eventually([&] { return m_service->calls(member) > 0; });
    }

    test::PrivateBus m_privateBus;
    std::unique_ptr<FakeMedia> m_service = std::make_unique<FakeMedia>([this](FakeCall call) {
        if (call.member() == "Encode") {
            WireReader in = call.arguments();
            m_order = in.string();
            m_order += " " + in.string();
            in.entries([&](const std::string& key, const std::string& signature) {
                m_order += " " + key + "="
                    + (signature == "s" ? in.string()
                                        : std::to_string(signature == "u" ? in.unsignedInteger() : in.boolean()));
            });
            call.answer([](WireWriter& out) { out.objectPath(Place); });
        } else if (call.member() == "Describe") {
            call.fail("Own.Error", "");
        } else {
            call.answer([](WireWriter&) {});
        }
    });
    std::unique_ptr<ServiceBus> m_bus = std::move(ServiceBus::open()).value();
    Media1Client m_client { *m_bus };
    std::string m_order;
    std::unique_ptr<MediaJob> m_job;
    int m_changes = 0;
};

TEST_F(MediaJobTest, TellsItsProgressAndEnd)
{
    begin();
    EXPECT_EQ(m_order, "/a.wav /a.mp3");
    EXPECT_EQ(m_job->path(), Place);
    EXPECT_EQ(m_job->state(), State::Running);
    EXPECT_EQ(m_job->progress(), 0);
    tell([](WireWriter& out) { putProgress(out, 0.25); });
    EXPECT_EQ(m_job->progress(), 0.25);
    EXPECT_EQ(m_changes, 1);
    tell([](WireWriter& out) {
        putState(out, "done");
        putProgress(out, 1);
        putError(out, "", "");
    });
    EXPECT_EQ(m_job->state(), State::Done);
    EXPECT_EQ(m_job->progress(), 1);
    EXPECT_FALSE(m_job->error());
    EXPECT_EQ(m_changes, 2);
    EXPECT_EQ(m_service->calls("GetAll") + m_service->calls("Get"), 0);
}

TEST_F(MediaJobTest, OptionsAreThoseThatAreSet)
{
    auto begun = m_client.encode("/a", "/b",
        { .format = SoundFormat::Aac,
            .bitrate = 64000,
            .vbr = true,
            .quality = EncodingQuality::Best,
            .tags = false,
            .replace = true,
            .cores = 1,
            .mode = ChannelMode::Joint });
    ASSERT_TRUE(begun.ok());
    EXPECT_EQ(m_order, "/a /b format=aac bitrate=64000 vbr=1 quality=best tags=0 replace=1 cores=1 mode=joint");
}

TEST_F(MediaJobTest, FailsWithItsError)
{
    begin();
    tell([](WireWriter& out) {
        putState(out, "failed");
        putError(out, "Mivo.Media1.Error.NoSpace", "The disk is full.");
    });
    EXPECT_EQ(m_job->state(), State::Failed);
    EXPECT_EQ(mediaErrorKind(*m_job->error()), MediaErrorKind::NoSpace);
    EXPECT_EQ(m_job->error()->text, "The disk is full.");
}

TEST_F(MediaJobTest, AnEndWithoutAReasonIsAFailure)
{
    begin();
    tell([](WireWriter& out) { putState(out, "failed"); });
    EXPECT_EQ(mediaErrorKind(*m_job->error()), MediaErrorKind::Failed);
}

TEST_F(MediaJobTest, CancelIsSentAndItsEndIsTold)
{
    begin();
    m_job->cancel();
    EXPECT_TRUE(isCalled("Cancel"));
    EXPECT_EQ(m_job->state(), State::Running);
    tell([](WireWriter& out) {
        putState(out, "cancelled");
        putError(out, "Mivo.Media1.Error.Cancelled", "Nobody waits for it any more.");
    });
    EXPECT_EQ(m_job->state(), State::Cancelled);
    EXPECT_EQ(m_job->error()->kind, Error::Kind::Cancelled);
}

TEST_F(MediaJobTest, IsReleasedAtTheEndOfItsScope)
{
    begin();
    m_job.reset();
    EXPECT_TRUE(isCalled("Release"));
    begin();
    m_job->onChange([this] { m_job.reset(); });
    tell([](WireWriter& out) { putState(out, "done"); });
    EXPECT_EQ(m_job, nullptr);
    EXPECT_TRUE(test::eventually([&] { return m_service->calls("Release") == 2; }));
}

TEST_F(MediaJobTest, ABeginningThatWasForgottenIsReleased)
{
    auto number = m_client.beginEncode("/a", "/b", {}, [](auto) { ADD_FAILURE() << "told though forgotten"; });
    m_client.forget(number);
    EXPECT_EQ(m_client.underWay(), 0u);
    EXPECT_TRUE(test::eventually([&] {
        serveWhatCame();
        return m_service->calls("Release") == 1;
    }));
}

TEST_F(MediaJobTest, IsBegunBesideOtherCalls)
{
    m_client.beginEncode("/a", "/b", {}, [&](Result<std::unique_ptr<MediaJob>> job) { m_job = std::move(*job); });
    EXPECT_TRUE(*m_client.serveUntil([&] { return m_job != nullptr; }));
    tell([](WireWriter& out) { putState(out, "done"); });
    EXPECT_TRUE(m_job->hasEnded());
}

TEST_F(MediaJobTest, AServiceThatLeavesEndsIt)
{
    begin();
    m_service.reset();
    EXPECT_TRUE(*m_client.serveUntil([&] { return m_job->hasEnded(); }));
    EXPECT_EQ(m_job->state(), State::Failed);
    EXPECT_EQ(m_job->error()->kind, Error::Kind::Io);
    EXPECT_EQ(m_changes, 1);
}

TEST_F(MediaJobTest, OddChangesAreNone)
{
    begin();
    tell([](WireWriter& out) { out.entry(wire::Job1::State, "i", [&] { out.integer(1); }); });
    tell([](WireWriter& out) { putState(out, "of the future"); });
    tell([](WireWriter& out) { out.entry(wire::Job1::Error, "s", [&] { out.string("x"); }); });
    tell([](WireWriter& out) { putProgress(out, 0.5); });
    for (double odd : { std::nan(""), -1.0, 0.25, std::numeric_limits<double>::infinity() })
        tell([odd](WireWriter& out) { putProgress(out, odd); });
    EXPECT_EQ(m_job->progress(), 0.5);
    tell([](WireWriter& out) { putProgress(out, 7); });
    EXPECT_EQ(m_job->progress(), 1.0);
    EXPECT_EQ(m_job->state(), State::Running);
    tell([](WireWriter& out) { putState(out, "done"); });
    tell([](WireWriter& out) { putState(out, "failed"); });
    EXPECT_EQ(m_job->state(), State::Done);
}

TEST_F(MediaJobTest, SomebodyElsesSignalsAreNotItsOwn)
{
    begin();
    // Sent to this client alone, in the name of nobody.
    test::BusClient other;
    const char* name = nullptr;
    sd_bus_get_unique_name(m_bus->bus(), &name);
    sd_bus_message* made = nullptr;
    ASSERT_GE(
        sd_bus_message_new_signal(other.bus(), &made, Place, "org.freedesktop.DBus.Properties", "PropertiesChanged"),
        0);
    BusMessage signal(made);
    WireWriter out(made);
    out.string(wire::Job1::Interface).list("{sv}", [&] { putState(out, "done"); }).list("s", [] {});
    ASSERT_GE(sd_bus_send_to(other.bus(), made, name, nullptr), 0);
    ASSERT_TRUE(other.hasOwner(name));
    serveWhatCame();
    EXPECT_EQ(m_job->state(), State::Running);
}

TEST_F(MediaJobTest, AnErrorOfTheCallIsTheCallersOnly)
{
    m_service.reset();
    m_service = std::make_unique<FakeMedia>([](FakeCall call) {
        if (call.arguments().string() == "/wrong")
            call.answer([](WireWriter& out) { out.string("no object"); });
        else
            call.fail("Mivo.Media1.Error.Exists", "It is there already.");
    });
    EXPECT_EQ(mediaErrorKind(m_client.encode("/a", "/b").error()), MediaErrorKind::Exists);
    EXPECT_FALSE(m_client.encode("/wrong", "/b").ok());
}

} // namespace
} // namespace mv
