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
