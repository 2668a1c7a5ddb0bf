// Any bytes as a job, and as the answer to every operation: what is taken gives the same bytes again.

#include "service/job/MediaJob.h"
#include "service/job/PlanCode.h"
#include "service/job/ReadingJob.h"
#include "service/job/RecordCode.h"
#include "service/job/Requests.h"
#include "service/job/WritingJob.h"

#include <algorithm>
#include <cstdlib>

using namespace mv;

namespace {

void check(bool isTrue)
{
    if (!isTrue)
        std::abort();
}

void asRecord(ByteView bytes)
{
    auto record = decodeRecord(bytes);
    if (!record)
        return;
    Bytes again;
    encodeRecord(*record, again);
    check(std::ranges::equal(again, bytes));
}

void asAnswer(ReadingOperation operation, ByteView bytes)
{
    auto answer = decodeAnswer(operation, bytes);
    if (!answer)
        return;
    // Facts of a picture keep what they know of a record, so only from there on the bytes are the same.
    Bytes once = encodeAnswer(*answer);
    auto again = decodeAnswer(operation, once);
    check(again.ok() && encodeAnswer(*again) == once);
}

void asWritingJob(ByteView bytes)
{
    auto job = decodeWritingJob(bytes, UniqueFd());
    if (!job)
        return;
    Bytes once = encodeWritingJob(*job);
    auto again = decodeWritingJob(once, UniqueFd());
    check(again.ok() && encodeWritingJob(*again) == once);
}

void asWritingAnswer(WritingOperation operation, ByteView bytes)
{
    auto answer = decodeWritingAnswer(operation, bytes);
    if (!answer)
        return;
    auto again = decodeWritingAnswer(operation, encodeWritingAnswer(*answer));
    check(again.ok() && *again == *answer);
}

void asMediaResults(MediaOperation operation, ByteView bytes)
{
    MediaJob job { operation, 0, { 64, true, ThumbnailFormat::Rgba }, { OpenedFile() } };
    auto results = decodeMediaResults(job, bytes);
    if (!results)
        return;
    auto again = decodeMediaResults(job, encodeMediaResults(*results));
    check(again.ok() && encodeMediaResults(*again) == encodeMediaResults(*results));
}

void asMediaJob(ByteView bytes)
{
    std::vector<UniqueFd> contents(1);
    static_cast<void>(decodeMediaJob(bytes, std::move(contents)));
}

void asRequest(ByteView bytes)
{
    auto request = decodeRequest(bytes);
    check(!request || std::ranges::equal(encodeRequest(*request), bytes));
    static_cast<void>(decodeVerdict(bytes));
}

void asPlan(ByteView bytes)
{
    constexpr std::uint64_t FileSize = 1000;
    PlanDecoder decoder(FileSize);
    auto isWhole = decoder.add(bytes);
    if (!isWhole || !*isWhole)
        return;
    PlannedContent plan = decoder.plan();
    PlanDecoder again(FileSize);
    check(encodePlan(plan, [&](ByteView part) {
        check(again.add(part).ok());
        return Result<void> {};
    }).ok());
    PlannedContent back = again.plan();
    check(plan.ok() == back.ok());
    if (plan && *plan)
        check(*back && lengthOf(**back) == lengthOf(**plan));
}

void asJob(ByteView bytes)
{
    auto job = decodeJob(bytes, UniqueFd());
    if (!job)
        return;
    Bytes once = encodeJob(*job);
    auto again = decodeJob(once, UniqueFd());
    check(again.ok() && encodeJob(*again) == once);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ByteView bytes(data, size);
    asRecord(bytes);
    asJob(bytes);
    asWritingJob(bytes);
    asRequest(bytes);
    asPlan(bytes);
    asMediaJob(bytes);
    for (int operation = 1; operation <= static_cast<int>(MediaOperation::Thumbnail); ++operation)
        asMediaResults(static_cast<MediaOperation>(operation), bytes);
    for (int operation = 1; operation <= static_cast<int>(LastWritingOperation); ++operation)
        asWritingAnswer(static_cast<WritingOperation>(operation), bytes);
    for (int operation = 1; operation <= static_cast<int>(LastReadingOperation); ++operation)
        asAnswer(static_cast<ReadingOperation>(operation), bytes);
    return 0;
}
