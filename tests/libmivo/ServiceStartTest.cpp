#include "application/NSDistributedNotificationCenter.h"
#include "client/ServiceBus.h"
#include "service/include/ServiceNames.h"
#include "tests/support/ActivatingBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Places.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Scratch.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <mivo/mivo.h>

namespace mivo {
namespace {

Error::Kind kindOf(Client& client, const std::string& path)
{
    try {
        client.describe(path);
    } catch (const Error& error) {
        return error.kind();
    }
    ADD_FAILURE() << "nothing thrown";
    return Error::Kind::Failed;
}

class WithSong : public testing::Test {
protected:
    WithSong()
        : m_song(m_folder.write("song.mp3",
            mv::test::id3Tag(3, mv::test::id3Frame(3, "TIT2", mv::test::zeroed("\0Song"))) + mv::test::mpegFrames(40)))
    {
    }
    mv::test::ScratchFolder m_folder;
    std::string m_song;
};

class ServiceStart : public WithSong {
protected:
    void quit()
    {
        auto bus = std::move(mv::ServiceBus::open()).value();
        ASSERT_TRUE(mv::NSDistributedNotificationCenter::post(mv::TerminateNotification, mv::TerminateObject));
        EXPECT_TRUE(mv::test::eventually([&] { return !bus->hasOwner(mv::AVParserService); }));
    }

    mv::test::PrivateBus m_bus;
};

TEST_F(ServiceStart, TheProgramBesideTheLibraryIsStartedByTheFirstCallThatNeedsIt)
{
    Client client;
    auto record = client.describe(m_song);
    ASSERT_TRUE(record);
    EXPECT_EQ((*record)[keys::Title].text(), "Song");
    quit();
    EXPECT_TRUE(client.describe(m_song)) << "and again where it has gone";
    quit();
}

TEST_F(ServiceStart, IsNotStartedWhereThatIsNotWanted)
{
    Client client(ClientOptions().startService(false));
    EXPECT_EQ(kindOf(client, m_song), Error::Kind::NoService);
}

TEST_F(ServiceStart, AProgramThatIsNotThereIsAnError)
{
    Client client(ClientOptions().serviceProgram("/no/such/program"));
    EXPECT_EQ(kindOf(client, m_song), Error::Kind::NoService);
}

TEST_F(ServiceStart, AJobStartsItToo)
{
    Client client(ClientOptions().serviceProgram(mv::test::buildPath("bin/mivo-mediad")));
    try {
        client.encode(m_folder.file("none.wav"), m_folder.file("out.mp3"));
        FAIL() << "nothing thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::JobFailed) << error.what();
    }
    quit();
}

TEST_F(ServiceStart, ManyCallsAtOnceStartItOnce)
{
    MediaClient client;
    int described = 0;
    for (int i = 0; i < 50; ++i)
        client.describe(m_song).then(
            [&](Pending<Record> ready) { described += ready.get()[keys::fact::Title].text() == "Song" ? 1 : 0; });
    client.finish();
    EXPECT_EQ(described, 50);
    quit();
    EXPECT_EQ(client.describe(m_song).get()[keys::fact::Kind].text(), "audio") << "and again where it has gone";
    auto files = client.describeMany({ m_song, m_folder.file("none.mp3"), m_song }).get();
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[2].facts()[keys::fact::MimeType].text(), "audio/mpeg");
    EXPECT_EQ(files[1].error()->kind(), Error::Kind::NotFound);
    Record after = client.setTags(m_song, { { keys::fact::Artist, std::vector<std::string> { "A", "B" } } }).get();
    EXPECT_EQ(after[keys::fact::Artist].texts().size(), 2u);
    quit();
}

TEST_F(ServiceStart, AStartThatFailsFailsEveryCall)
{
    MediaClient client(ClientOptions().serviceProgram("/no/such/program"));
    int failed = 0;
    for (int i = 0; i < 3; ++i)
        client.describe(m_song).then([&](Pending<Record> ready) {
            failed += ready.error() && ready.error()->kind() == Error::Kind::NoService ? 1 : 0;
        });
    client.finish();
    EXPECT_EQ(failed, 3);
}

using ServiceStartByTheBus = WithSong;

TEST_F(ServiceStartByTheBus, IsForTheFirstCall)
{
    mv::test::ActivatingBus bus;
    Client client(ClientOptions().startService(false));
    ASSERT_TRUE(client.describe(m_song));
    EXPECT_FALSE(client.isAppleLossless(m_song));
    EXPECT_EQ(bus.starts(), 1);
}

TEST_F(ServiceStartByTheBus, ThatFailsIsAnError)
{
    mv::test::ActivatingBus bus("", "/bin/false");
    Client client;
    EXPECT_EQ(kindOf(client, m_song), Error::Kind::NoService);
}

} // namespace
} // namespace mivo
