#include "Base/Core/Result.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

Result<int> half(int value)
{
    if (value % 2)
        return Error { Error::Kind::Format, "odd", 7 };
    return value / 2;
}

Result<int> quarter(int value)
{
    MV_TRY(once, half(value));
    MV_TRY(twice, half(once));
    return twice;
}

Result<void> checkEven(int value)
{
    MV_TRY_VOID(half(value));
    return {};
}

TEST(Result, TryHandsOnTheValue) { EXPECT_EQ(*quarter(12), 3); }

TEST(Result, TryHandsOnTheFirstError)
{
    auto result = quarter(6);
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error().kind, Error::Kind::Format);
    EXPECT_EQ(result.error().text, "odd");
    EXPECT_EQ(result.error().code, 7);
}

TEST(Result, VoidCarriesOnlyTheError)
{
    EXPECT_TRUE(checkEven(4).ok());
    EXPECT_EQ(checkEven(3).error().text, "odd");
}

} // namespace
} // namespace mv
