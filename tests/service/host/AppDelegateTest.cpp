#include "service/host/AppDelegate.h"

#include "tests/support/LogCapture.h"

#include <array>
#include <gtest/gtest.h>

namespace mv {
namespace {

struct NoObject final : ServedObject {
    std::span<const ServedInterface> interfaces() const override { return {}; }
};

std::vector<std::string>& rootsMade()
{
    static std::vector<std::string> made;
    return made;
}

template <char Letter> std::unique_ptr<ServedObject> makeRoot()
{
    rootsMade().emplace_back(1, Letter);
    return std::make_unique<NoObject>();
}

const std::array Rows {
    ServiceRow { "first", "failed to register first", makeRoot<'1'> },
    ServiceRow { "second", "failed to register second", makeRoot<'2'> },
    ServiceRow { "third", "failed to register third", makeRoot<'3'> },
};

struct FakePlatform final : HostPlatform {
    std::vector<std::string> events;
    std::string taken;
    std::function<void()> observer;

    struct Connection final : ServiceConnection {
        Connection(FakePlatform& owner, std::string serviceName)
            : platform(owner)
            , name(std::move(serviceName))
        {
        }
        void runInNewThread() override { platform.events.push_back("run " + name); }
        void giveNameUp() override { platform.events.push_back("give up " + name); }
        void invalidate() override { platform.events.push_back("invalidate " + name); }
        FakePlatform& platform;
        std::string name;
    };

    std::unique_ptr<ServiceConnection> serviceConnectionWithName(
        std::string_view name, std::unique_ptr<ServedObject> root) override
    {
        EXPECT_NE(root, nullptr);
        if (name == taken)
            return nullptr;
        events.push_back("publish " + std::string(name));
        return std::make_unique<Connection>(*this, std::string(name));
    }
    void addObserver(const std::string& name, const std::string& object, std::function<void()> call) override
    {
        events.push_back("observe " + name + " of " + object);
        observer = std::move(call);
    }
    void removeObserver(const std::string& name, const std::string& object) override
    {
        events.push_back("stop observing " + name + " of " + object);
    }
    void terminate() override { events.emplace_back("terminate"); }
    void tellReady() override { events.emplace_back("ready"); }
};

class AppDelegateTest : public testing::Test {
protected:
    AppDelegateTest() { rootsMade().clear(); }
    FakePlatform m_platform;
    test::LogCapture m_log;
};

TEST_F(AppDelegateTest, ObservesFromTheStartOn)
{
    AppDelegate delegate(m_platform, Rows);
    EXPECT_EQ(m_platform.events, std::vector<std::string> { "observe MivoTerminitor of Mivo" });
}

TEST_F(AppDelegateTest, PublishesAndRunsEachInOrder)
{
    AppDelegate delegate(m_platform, Rows);
    m_platform.events.clear();
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(m_platform.events,
        (std::vector<std::string> {
            "publish first", "run first", "publish second", "run second", "publish third", "run third", "ready" }));
    EXPECT_TRUE(m_log.lines().empty());
    EXPECT_TRUE(delegate.hasPublishedAll());
}

TEST_F(AppDelegateTest, ATakenNameIsLoggedAndNothingAfterItIsCreated)
{
    m_platform.taken = "second";
    AppDelegate delegate(m_platform, Rows);
    m_platform.events.clear();
    delegate.applicationDidFinishLaunching();
    EXPECT_FALSE(delegate.hasPublishedAll());
    EXPECT_EQ(m_platform.events, (std::vector<std::string> { "publish first", "run first", "terminate" }));
    EXPECT_EQ(rootsMade(), (std::vector<std::string> { "1", "2" }));
    EXPECT_EQ(m_log.lines(), std::vector<std::string> { "failed to register second" });
}

TEST_F(AppDelegateTest, ANameThatIsNotNeededMayBeTaken)
{
    m_platform.taken = "second";
    std::vector<ServiceRow> rows(std::begin(Rows), std::end(Rows));
    rows[1].isNeeded = false;
    AppDelegate delegate(m_platform, rows);
    m_platform.events.clear();
    delegate.applicationDidFinishLaunching();
    EXPECT_TRUE(delegate.hasPublishedAll());
    EXPECT_EQ(m_platform.events,
        (std::vector<std::string> { "publish first", "run first", "publish third", "run third", "ready" }));
    EXPECT_EQ(m_log.lines(), std::vector<std::string> { "failed to register second" });
}

TEST_F(AppDelegateTest, TheNotificationTerminates)
{
    AppDelegate delegate(m_platform, Rows);
    m_platform.events.clear();
    m_platform.observer();
    EXPECT_EQ(m_platform.events, std::vector<std::string> { "terminate" });
}

TEST_F(AppDelegateTest, EveryNameIsGivenUpBeforeAnythingIsWaitedFor)
{
    AppDelegate delegate(m_platform, Rows);
    delegate.applicationDidFinishLaunching();
    m_platform.events.clear();
    delegate.giveNamesUp();
    delegate.finish();
    EXPECT_EQ(m_platform.events,
        (std::vector<std::string> { "give up first", "give up second", "give up third", "invalidate first",
            "invalidate second", "invalidate third" }));
}

TEST_F(AppDelegateTest, DestructionStopsObservingThenInvalidatesInOrder)
{
    {
        AppDelegate delegate(m_platform, Rows);
        delegate.applicationDidFinishLaunching();
        m_platform.events.clear();
    }
    EXPECT_EQ(m_platform.events,
        (std::vector<std::string> {
            "stop observing MivoTerminitor of Mivo", "invalidate first", "invalidate second", "invalidate third" }));
}

} // namespace
} // namespace mv
