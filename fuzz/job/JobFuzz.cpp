// Any bytes as a job, and as the answer to every operation: what is taken gives the same bytes again.

#include "service/job/ReadingJob.h"
#include "service/job/RecordCode.h"

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
    for (int operation = 1; operation <= static_cast<int>(LastReadingOperation); ++operation)
        asAnswer(static_cast<ReadingOperation>(operation), bytes);
    return 0;
}
