#include "service/include/WireNames.h"
#include "tests/libmivo/LibraryMedia.h"

namespace mivo {
namespace {

using testing::ElementsAre;

constexpr const char* Place = "/Mivo/Media1/jobs/1";

class LibraryMediaJob : public LibraryMedia {
protected:
    void tellProgress(double progress)
    {
        m_service->tellChange(
            Place, [&](WireWriter& out) { out.entry(mv::wire::Job1::Progress, "d", [&] { out.real(progress); }); });
    }
    void tellEnd(std::string_view state, std::string_view name = {}, std::string_view text = {})
    {
        m_service->tellChange(Place, [&](WireWriter& out) {
            out.entry(mv::wire::Job1::State, "s", [&] { out.string(state); });
            out.entry(mv::wire::Job1::Error, "(ss)", [&] { out.stringPair(name, text); });
        });
    }

    std::unique_ptr<FakeMedia> m_service = std::make_unique<FakeMedia>([this](const FakeCall& call) {
        m_caller = call.sender();
        if (call.member() != "Encode")
            return call.answer([](WireWriter&) {});
        WireReader in = call.arguments();
        m_order = in.string();
        m_order += " " + in.string();
        in.entries([&](const std::string& key, const std::string& signature) {
            m_order += " " + key + "="
                + (signature == "s" ? in.string()
                                    : std::to_string(signature == "u" ? in.unsignedInteger() : in.boolean()));
        });
        call.answer([](WireWriter& out) { out.objectPath(Place); });
    });
    std::string m_order;
    std::string m_caller;
};

TEST_F(LibraryMediaJob, TellsItsProgressAndEnd)
{
    using namespace keys::encoding;
    Job job = m_client
                  .encode("/a.flac", "/a.mp3",
                      { { Format, "mp3" }, { Bitrate, 128'000 }, { Vbr, true }, { Quality, "best" }, { Tags, false },
                          { Replace, true }, { Cores, 2 }, { Mode, "mono" } })
                  .get();
    EXPECT_EQ(
        m_order, "/a.flac /a.mp3 format=mp3 bitrate=128000 vbr=1 quality=best tags=0 replace=1 cores=2 mode=mono");
    std::vector<double> seen;
    job.onChange([&] { seen.push_back(job.progress()); });
    EXPECT_EQ(job.state(), Job::State::Running);
    tellProgress(0.25);
    ASSERT_TRUE(eventually([&] { return seen.size() == 1; }));
    tellProgress(0.5);
    ASSERT_TRUE(eventually([&] { return seen.size() == 2; }));
    EXPECT_FALSE(job.waitFor(std::chrono::milliseconds(1)));
    tellEnd("done");
    EXPECT_EQ(job.wait(), JobEnd::Done);
    EXPECT_THAT(seen, ElementsAre(0.25, 0.5, 0.5));
    EXPECT_EQ(job.error(), nullptr);
}

TEST_F(LibraryMediaJob, FailsWithItsError)
{
    Job job = m_client.encode("/a", "/b").get();
    tellEnd("failed", "Mivo.Media1.Error.NoSpace", "The disk is full.");
    try {
        job.wait();
        FAIL() << "nothing thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::NoSpace);
        EXPECT_STREQ(error.what(), "The disk is full.");
    }
    EXPECT_EQ(job.state(), Job::State::Failed);
}

TEST_F(LibraryMediaJob, IsCancelled)
{
    Job job = m_client.encode("/a", "/b").get();
    job.cancel();
    ASSERT_TRUE(eventually([&] { return m_service->calls("Cancel") == 1; }));
    EXPECT_EQ(job.state(), Job::State::Running);
    tellEnd("cancelled", "Mivo.Media1.Error.Cancelled", "");
    EXPECT_EQ(job.wait(), JobEnd::Cancelled);
    EXPECT_EQ(job.error()->kind(), Error::Kind::Cancelled);
    job.cancel();
    job = Job();
    ASSERT_TRUE(eventually([&] { return m_service->calls("Release") == 1; }));
    EXPECT_EQ(m_service->calls("Cancel"), 1) << "one that has ended";
}

TEST_F(LibraryMediaJob, MayBeDroppedByItsOwnChange)
{
    auto job = std::make_unique<Job>(m_client.encode("/a", "/b").get());
    job->onChange([&] { job.reset(); });
    tellEnd("done");
    ASSERT_TRUE(eventually([&] { return !job; }));
    EXPECT_TRUE(eventually([&] { return m_service->calls("Release") == 1; }));
}

TEST_F(LibraryMediaJob, ABeginningThatIsDroppedIsReleased)
{
    {
        auto dropped = m_client.encode("/a", "/b");
    }
    EXPECT_TRUE(eventually([&] { return m_service->calls("Release") == 1; }));
}

TEST_F(LibraryMediaJob, OutlivesCancelledCalls)
{
    Job job = m_client.encode("/a", "/b").get();
    std::string itsConnection = m_caller;
    m_client.describe("/x").cancel();
    EXPECT_FALSE(m_service->hasLeft(itsConnection));
    tellEnd("done");
    EXPECT_EQ(job.wait(), JobEnd::Done);
}

TEST_F(LibraryMediaJob, EndsWithServiceBusAndClient)
{
    auto client = std::make_unique<MediaClient>(ClientOptions().startService(false));
    Job ofAnother = client->encode("/a", "/b").get();
    client.reset();
    EXPECT_EQ(ofAnother.wait(), JobEnd::Cancelled);
    EXPECT_EQ(ofAnother.error()->kind(), Error::Kind::Cancelled);

    Job ofService = m_client.encode("/a", "/b").get();
    bool isTold = false;
    ofService.onChange([&] { isTold = true; });
    m_service->run([] {});
    auto leaving = std::move(m_service);
    leaving.reset();
    EXPECT_THROW(ofService.wait(), Error);
    EXPECT_EQ(ofService.error()->kind(), Error::Kind::Lost);
    EXPECT_TRUE(isTold);
}

TEST_F(LibraryMediaJob, ABusThatDiesEndsIt)
{
    Job job = m_client.encode("/a", "/b").get();
    m_privateBus.kill();
    EXPECT_THROW(job.wait(), Error);
    EXPECT_EQ(job.error()->kind(), Error::Kind::Lost);
}

TEST_F(LibraryMediaJob, OptionsAreCheckedHere)
{
    using namespace keys::encoding;
    for (const Record& options :
        { Record { { Format, "ogg" } }, Record { { Bitrate, "128000" } }, Record { { Bitrate, -1 } },
            Record { { Bitrate, 1LL << 32 } }, Record { { Vbr, 1 } }, Record { { "flavour", true } } })
        EXPECT_THROW((void)m_client.encode("/a", "/b", options), Error) << options.begin()->first;
    EXPECT_THROW((void)m_client.encode("", "/b"), Error);
    EXPECT_EQ(m_service->calls("Encode"), 0);
    Job none;
    EXPECT_EQ(none.state(), Job::State::Failed);
    EXPECT_THROW(none.wait(), Error);
}

} // namespace
} // namespace mivo
