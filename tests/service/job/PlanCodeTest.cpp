#include "service/job/PlanCode.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

std::vector<Bytes> partsOf(const PlannedContent& plan)
{
    std::vector<Bytes> parts;
    auto sent = encodePlan(plan, [&](ByteView part) {
        parts.emplace_back(part.begin(), part.end());
        return Result<void> {};
    });
    EXPECT_TRUE(sent.ok());
    return parts;
}

/// What the host gets of a plan for a file of that size.
PlannedContent throughBytes(const PlannedContent& plan, std::uint64_t fileSize)
{
    PlanDecoder decoder(fileSize);
    std::vector<Bytes> parts = partsOf(plan);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        auto isWhole = decoder.add(parts[i]);
        EXPECT_TRUE(isWhole.ok());
        EXPECT_EQ(isWhole.ok() && *isWhole, i + 1 == parts.size());
    }
    return decoder.plan();
}

Bytes flattened(const FileContent& content)
{
    Bytes bytes;
    for (const FileSegment& segment : content) {
        if (segment.isCopy)
            bytes.insert(
                bytes.end(), static_cast<std::size_t>(segment.length), static_cast<std::uint8_t>(segment.offset));
        else
            bytes.insert(bytes.end(), segment.bytes.begin(), segment.bytes.end());
    }
    return bytes;
}

TEST(PlanCode, PlansComeBack)
{
    EXPECT_FALSE(throughBytes(std::optional<FileContent> {}, 10)->has_value());
    auto failed = throughBytes(Error { Error::Kind::Limit, "too large", 5 }, 10);
    ASSERT_FALSE(failed.ok());
    EXPECT_EQ(failed.error().kind, Error::Kind::Limit);
    EXPECT_EQ(failed.error().text, "too large");
    EXPECT_EQ(failed.error().code, 5);
    FileContent content { FileSegment::literal({ 1, 2 }), FileSegment::copy(3, 4), FileSegment::copy(7, 3) };
    auto back = throughBytes(std::optional(content), 10);
    EXPECT_EQ(flattened(**back), flattened(content));
    EXPECT_EQ((**back)[1].offset, 3u);
    EXPECT_TRUE((*throughBytes(std::optional(FileContent {}), 0))->empty());
}

TEST(PlanCode, LongPlansComeInParts)
{
    FileContent content;
    for (std::uint64_t i = 0; i < 300'000; ++i)
        content.push_back(FileSegment::copy(64 * i, 1));
    content.push_back(FileSegment::literal(Bytes(std::size_t { 9 } << 20, 'x')));
    content.push_back(FileSegment::copy(19'200'000, 1));
    std::vector<Bytes> parts = partsOf(std::optional(content));
    EXPECT_GT(parts.size(), 3u);
    for (const Bytes& part : parts)
        EXPECT_LT(part.size(), std::size_t { 9 } << 20);
    auto back = throughBytes(std::optional(content), 19'200'001);
    EXPECT_TRUE(flattened(**back) == flattened(content));
}

TEST(PlanCode, APlanThatCannotBeSentEnds)
{
    int sent = 0;
    FileContent content { FileSegment::literal(Bytes(std::size_t { 20 } << 20)) };
    auto result = encodePlan(std::optional(content), [&](ByteView) {
        ++sent;
        return Result<void>(Error { Error::Kind::Io, "gone" });
    });
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(sent, 1);
}

TEST(PlanCode, WhatIsNewHasABound)
{
    Bytes part { 1 };
    constexpr std::size_t Length = std::size_t { 64 } << 20;
    part.insert(part.end(), { 'l', 4, 0, 0, 0 });
    part.resize(part.size() + Length);
    PlanDecoder decoder(0);
    for (std::size_t total = Length; total <= PlanDecoder::MaxLiteralBytes; total += Length)
        ASSERT_TRUE(decoder.add(part).ok());
    auto refused = decoder.add(part);
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error().kind, Error::Kind::Limit);
}

TEST(PlanCode, StretchesAreCounted)
{
    constexpr std::size_t Each = 1 << 16;
    Bytes part { 1 };
    for (std::size_t i = 0; i < Each; ++i)
        part.insert(part.end(), { 'l', 0, 0, 0, 0 });
    PlanDecoder ofNothing(0);
    ASSERT_TRUE(ofNothing.add(part).ok());
    EXPECT_EQ(ofNothing.add(part).error().kind, Error::Kind::Limit) << "for a small file fewer will do";
    PlanDecoder decoder(std::uint64_t { 1 } << 30);
    for (std::size_t count = Each; count <= PlanDecoder::MaxSegments; count += Each)
        ASSERT_TRUE(decoder.add(part).ok());
    auto refused = decoder.add(part);
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error().kind, Error::Kind::Limit);
}

TEST(PlanCode, VerdictsComeBack)
{
    EXPECT_FALSE(decodeVerdict(encodeVerdict({}))->has_value());
    auto unsound = decodeVerdict(encodeVerdict(Error { Error::Kind::Format, "not the same", 0 }));
    ASSERT_TRUE(unsound.ok() && unsound->has_value());
    EXPECT_EQ((*unsound)->kind, Error::Kind::Format);
    EXPECT_EQ((*unsound)->text, "not the same");
    auto shortened = decodeVerdict(encodeVerdict(Error { Error::Kind::Format, std::string(100'000, 'x'), 0 }));
    ASSERT_TRUE(shortened.ok());
    EXPECT_LE((*shortened)->text.size(), 1000u);
}

TEST(PlanCode, ASizeComesBackAndNothingElseIsOne)
{
    for (std::uint64_t size : { std::uint64_t { 0 }, std::uint64_t { 1 } << 40 }) {
        auto back = decodeFileSize(encodeFileSize(size));
        ASSERT_TRUE(back.ok());
        EXPECT_EQ(*back, size);
    }
    Bytes tooLong = encodeFileSize(1);
    tooLong.push_back(0);
    EXPECT_FALSE(decodeFileSize(tooLong).ok());
    EXPECT_FALSE(decodeFileSize({}).ok());
}

} // namespace
} // namespace mv
