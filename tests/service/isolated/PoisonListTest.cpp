#include "service/isolated/PoisonList.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace std::chrono_literals;
using Death = PoisonList::Death;

const PoisonList::Clock::time_point Now = PoisonList::Clock::now();

FileDeed deedOf(ino_t inode, int operation = 1) { return { { 7, inode }, 1000, Date(), operation }; }

TEST(PoisonListTest, KnowsNothingAtFirst) { EXPECT_FALSE(PoisonList().isPoison(deedOf(1), Now)); }

TEST(PoisonListTest, OneCrashIsEnough)
{
    PoisonList list;
    list.remember(deedOf(1), Death::Crash, Now);
    EXPECT_TRUE(list.isPoison(deedOf(1), Now));
}

TEST(PoisonListTest, ADeadlineCountsFromTheSecondTime)
{
    PoisonList list;
    list.remember(deedOf(1), Death::Deadline, Now);
    EXPECT_FALSE(list.isPoison(deedOf(1), Now));
    list.remember(deedOf(1), Death::Deadline, Now);
    EXPECT_TRUE(list.isPoison(deedOf(1), Now));
}

TEST(PoisonListTest, IsForgottenAfterAWhile)
{
    PoisonList list;
    list.remember(deedOf(1), Death::Crash, Now);
    EXPECT_TRUE(list.isPoison(deedOf(1), Now + PoisonList::Memory - 1s));
    EXPECT_FALSE(list.isPoison(deedOf(1), Now + PoisonList::Memory));
    list.remember(deedOf(2), Death::Deadline, Now);
    list.remember(deedOf(2), Death::Deadline, Now + PoisonList::Memory);
    EXPECT_FALSE(list.isPoison(deedOf(2), Now + PoisonList::Memory));
}

TEST(PoisonListTest, IsOfThatContentAndThatOperation)
{
    PoisonList list;
    list.remember(deedOf(1), Death::Crash, Now);
    EXPECT_FALSE(list.isPoison(deedOf(1, 2), Now));
    EXPECT_FALSE(list.isPoison(deedOf(2), Now));
    FileDeed longer = deedOf(1);
    ++longer.size;
    EXPECT_FALSE(list.isPoison(longer, Now));
    FileDeed later = deedOf(1);
    later.modified = Date::now();
    EXPECT_FALSE(list.isPoison(later, Now));
    FileDeed elsewhere = deedOf(1);
    ++elsewhere.file.device;
    EXPECT_FALSE(list.isPoison(elsewhere, Now));
}

TEST(PoisonListTest, TheOldestGoWhenThereAreTooMany)
{
    PoisonList list;
    for (ino_t inode = 1; inode <= PoisonList::MaxEntries + 10; ++inode)
        list.remember(deedOf(inode), Death::Crash, Now);
    EXPECT_FALSE(list.isPoison(deedOf(1), Now));
    EXPECT_FALSE(list.isPoison(deedOf(10), Now));
    EXPECT_TRUE(list.isPoison(deedOf(11), Now));
    EXPECT_TRUE(list.isPoison(deedOf(PoisonList::MaxEntries + 10), Now));
}

TEST(PoisonListTest, WhatIsForgottenTakesNoRoom)
{
    PoisonList list;
    for (ino_t inode = 1; inode <= 100; ++inode)
        list.remember(deedOf(inode), Death::Crash, Now + std::chrono::seconds(inode));
    EXPECT_EQ(list.size(), 100u);
    // What ended another worker meanwhile counts from then.
    list.remember(deedOf(1), Death::Crash, Now + 200s);
    list.remember(deedOf(101), Death::Crash, Now + 50s + PoisonList::Memory);
    EXPECT_EQ(list.size(), 52u);
    EXPECT_TRUE(list.isPoison(deedOf(1), Now + 50s + PoisonList::Memory));
    EXPECT_FALSE(list.isPoison(deedOf(50), Now));
    EXPECT_TRUE(list.isPoison(deedOf(51), Now));
    list.remember(deedOf(102), Death::Crash, Now + 24h);
    EXPECT_EQ(list.size(), 1u);
}

} // namespace
} // namespace mv
