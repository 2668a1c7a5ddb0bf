#include "service/host/IdleExit.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

struct Launched final : NSApplicationDelegate {
    void applicationDidFinishLaunching() override { }
};

class IdleExitTest : public testing::Test {
protected:
    NSApplication m_application;
    Activity m_activity;
    Launched m_delegate;
};

TEST_F(IdleExitTest, EndsAnApplicationInWhichNothingGoesOn)
{
    IdleExit idle(m_application, m_activity, std::chrono::seconds(0));
    m_application.run(m_delegate);
    EXPECT_TRUE(idle.hasCome());
}

TEST_F(IdleExitTest, NotBeforeTheTimeHasPassed)
{
    auto start = Activity::Clock::now();
    IdleExit idle(m_application, m_activity, std::chrono::seconds(1));
    m_application.run(m_delegate);
    EXPECT_GE(Activity::Clock::now() - start, std::chrono::seconds(1));
}

TEST_F(IdleExitTest, WhatGoesOnPutsItOff)
{
    auto hold = m_activity.begin(Activity::Kind::Client);
    IdleExit idle(m_application, m_activity, std::chrono::seconds(0));
    bool isOver = false;
    m_application.post([&] {
        m_application.post([&] {
            EXPECT_FALSE(m_application.terminateAsked());
            isOver = true;
            hold.reset();
        });
    });
    m_application.run(m_delegate);
    EXPECT_TRUE(isOver);
    EXPECT_TRUE(idle.hasCome());
}

TEST_F(IdleExitTest, WhoIsToldToQuitBeforeHasNotComeToIt)
{
    auto hold = m_activity.begin(Activity::Kind::Work);
    IdleExit idle(m_application, m_activity, std::chrono::seconds(0));
    m_application.post([&] { m_application.terminate(); });
    m_application.run(m_delegate);
    EXPECT_FALSE(idle.hasCome());
}

} // namespace
} // namespace mv
