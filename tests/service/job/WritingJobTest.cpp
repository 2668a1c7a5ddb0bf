#include "service/job/WritingJob.h"

#include "Base/Core/NSException.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(WritingJob, ComesBackWithItsFile)
{
    test::ScratchFolder folder;
    std::string path = folder.write("in.wav", "12345");
    WritingJob job { WritingOperation::ConvertToAac, OpenedFile::at(path), Path("/out/\xff.m4a"),
        { { "key", std::string("no \xff text") }, { "picture", Bytes(100'000, 7) } }, 96000, true, 3 };
    auto back = decodeWritingJob(encodeWritingJob(job), UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC)));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->operation, WritingOperation::ConvertToAac);
    EXPECT_EQ(back->file.path(), Path(path));
    EXPECT_EQ(charsOf(*(*back->file.content())->bytesAt(0, 5)), "12345");
    EXPECT_EQ(back->output, job.output);
    EXPECT_EQ(back->record, job.record);
    EXPECT_EQ(back->bitrate, 96000);
    EXPECT_TRUE(back->hasDelegate);
    EXPECT_EQ(back->debugLevel, 3);
}

TEST(WritingJob, ARecordMayHaveMoreThanAServiceGives)
{
    WritingJob job { .operation = WritingOperation::UpdateTag };
    for (int i = 0; i < 5000; ++i)
        job.record.set(std::string(400, 'k') + std::to_string(i), i);
    auto back = decodeWritingJob(encodeWritingJob(job), UniqueFd());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->record, job.record);
    EXPECT_TRUE(back->output.isNil());
}

TEST(WritingJob, AnEncodingComesBackAsItIsWished)
{
    WritingJob job { .operation = WritingOperation::EncodeSound,
        .encoding = { SoundFormat::Aac, 96'000, true, EncodingQuality::Best, false, 5, ChannelMode::Stereo } };
    auto back = decodeWritingJob(encodeWritingJob(job), UniqueFd());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->encoding, job.encoding);
    job.encoding.format = static_cast<SoundFormat>(3);
    EXPECT_FALSE(decodeWritingJob(encodeWritingJob(job), UniqueFd()).ok());
    job.encoding = { .quality = static_cast<EncodingQuality>(0) };
    EXPECT_FALSE(decodeWritingJob(encodeWritingJob(job), UniqueFd()).ok());
    job.encoding = { .mode = static_cast<ChannelMode>(4) };
    EXPECT_FALSE(decodeWritingJob(encodeWritingJob(job), UniqueFd()).ok());
    for (std::uint32_t cores : { 0u, MaxEncodingCores + 1, 0xffffffffu }) {
        job.encoding = { .cores = cores };
        EXPECT_FALSE(decodeWritingJob(encodeWritingJob(job), UniqueFd()).ok());
    }
}

TEST(WritingJob, CutShortOrWithoutAnOperationIsNone)
{
    Bytes bytes = encodeWritingJob({ .operation = WritingOperation::EncodeMp3, .record = { { "a", 1 } } });
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(decodeWritingJob(ByteView(bytes).first(length), UniqueFd()).ok()) << length;
    EXPECT_FALSE(decodeWritingJob(encodeWritingJob({}), UniqueFd()).ok());
    EXPECT_FALSE(decodeWritingJob(
        encodeWritingJob({ .operation = static_cast<WritingOperation>(static_cast<int>(LastWritingOperation) + 1) }),
        UniqueFd())
                     .ok());
}

TEST(WritingJob, AnswersComeBack)
{
    const RaisedException raised { NSInvalidArgumentException, "a reason" };
    for (WritingOperation operation : { WritingOperation::UpdateTag, WritingOperation::EncodeMp3 }) {
        for (const WritingAnswer& answer : { WritingAnswer(true), WritingAnswer(false), WritingAnswer(raised) }) {
            auto back = decodeWritingAnswer(operation, encodeWritingAnswer(answer));
            ASSERT_TRUE(back.ok());
            EXPECT_EQ(*back, answer);
        }
        EXPECT_FALSE(decodeWritingAnswer(operation, encodeWritingAnswer(std::int32_t { 0 })).ok());
    }
    for (WritingOperation operation :
        { WritingOperation::ConvertToAac, WritingOperation::ExportMovie, WritingOperation::EncodeSound }) {
        for (std::int32_t status : { 0, -1, INT32_MIN, INT32_MAX }) {
            auto back = decodeWritingAnswer(operation, encodeWritingAnswer(status));
            ASSERT_TRUE(back.ok());
            EXPECT_EQ(*back, WritingAnswer(status));
        }
        EXPECT_FALSE(decodeWritingAnswer(operation, encodeWritingAnswer(true)).ok());
    }
}

TEST(WritingJob, OtherAnswersAreNone)
{
    for (const Bytes& bytes : { Bytes {}, Bytes { 3 }, Bytes { 3, 2 }, Bytes { 3, 1, 0 }, Bytes { 4 }, Bytes { 9, 1 },
             encodeWritingAnswer(RaisedException { "SomethingElse", "" }) })
        EXPECT_FALSE(decodeWritingAnswer(WritingOperation::UpdateTag, bytes).ok());
    for (const Bytes& bytes : { Bytes { 5 }, Bytes { 5, 0, 0, 0 }, Bytes { 5, 0, 0, 0, 0, 0 } })
        EXPECT_FALSE(decodeWritingAnswer(WritingOperation::ExportMovie, bytes).ok());
}

} // namespace
} // namespace mv
