#include "service/job/Requests.h"

#include <cmath>
#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(Requests, ComeBack)
{
    for (int number = 1; number <= static_cast<int>(LastRequestKind); ++number) {
        Request request { static_cast<RequestKind>(number), -number, static_cast<float>(number) / 3 };
        auto back = decodeRequest(encodeRequest(request));
        ASSERT_TRUE(back.ok());
        EXPECT_EQ(back->kind, request.kind);
        EXPECT_EQ(back->number, request.number);
        EXPECT_EQ(back->percent, request.percent);
    }
    EXPECT_EQ(decodeRequest(encodeRequest({ RequestKind::Progress, 0, INFINITY }))->percent, INFINITY);
}

TEST(Requests, RepliesComeBack)
{
    EXPECT_TRUE(flagOf(replyOfFlag(true)));
    EXPECT_FALSE(flagOf(replyOfFlag(false)));
    EXPECT_FALSE(flagOf({}));
    EXPECT_TRUE(doneOf(replyOfDone({})).ok());
    const Error error { Error::Kind::Access, "no \xff right", 13 };
    for (const Error& back : { doneOf(replyOfDone(error)).error(), outcomeOf(replyOfOutcome(error)).error() }) {
        EXPECT_EQ(back.kind, error.kind);
        EXPECT_EQ(back.code, error.code);
        EXPECT_EQ(back.text, "no \xEF\xBF\xBD right");
    }
    for (auto outcome : { FileReplacement::Outcome::Replaced, FileReplacement::Outcome::Unchanged })
        EXPECT_EQ(*outcomeOf(replyOfOutcome(outcome)), outcome);
}

} // namespace
} // namespace mv
