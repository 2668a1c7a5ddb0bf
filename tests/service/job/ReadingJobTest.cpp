#include "service/job/ReadingJob.h"

#include "Base/Core/NSException.h"
#include "service/job/RecordCode.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace mv {
namespace {

UniqueFd reopened(const std::string& path) { return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC)); }

TEST(ReadingJob, ComesBackWithItsFile)
{
    test::ScratchFolder folder;
    // A name that is no UTF-8 stays what it is.
    std::string path = folder.write("\xff.jpg", "12345");
    ReadingJob job { ReadingOperation::Thumbnail, OpenedFile::at(path), { 100.5f, 50 }, 6 };
    auto back = decodeJob(encodeJob(job), reopened(path));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->operation, ReadingOperation::Thumbnail);
    EXPECT_EQ(back->file.path(), Path(path));
    EXPECT_EQ(back->maximum.width, 100.5f);
    EXPECT_EQ(back->maximum.height, 50);
    EXPECT_EQ(back->debugLevel, 6);
    const FileAttributes& attributes = *back->file.attributes();
    EXPECT_EQ(attributes.size, 5);
    EXPECT_EQ(attributes.modificationDate, job.file.attributes()->modificationDate);
    EXPECT_EQ(attributes.creationDate, job.file.attributes()->creationDate);
    EXPECT_TRUE(attributes.isRegularFile);
    EXPECT_TRUE(back->file.isSameFileAs(job.file.attributes()));
    EXPECT_EQ(charsOf(*(*back->file.content())->bytesAt(0, 5)), "12345");
}

TEST(ReadingJob, FilesThatCouldNotBeOpenedComeBackSo)
{
    test::ScratchFolder folder;
    for (const Path& path : { Path(), Path(folder.file("none")), Path(folder.path()) }) {
        OpenedFile file = OpenedFile::at(path);
        auto back = decodeJob(encodeJob({ ReadingOperation::Exif, file }), UniqueFd());
        ASSERT_TRUE(back.ok());
        EXPECT_EQ(back->file.path(), path);
        EXPECT_EQ(back->file.exists(), file.exists());
        ASSERT_FALSE(back->file.content().ok());
        EXPECT_EQ(back->file.content().error().kind, file.content().error().kind);
        EXPECT_EQ(back->file.content().error().code, file.content().error().code);
        EXPECT_EQ(back->file.content().error().text, file.content().error().text);
    }
}

TEST(ReadingJob, WithoutAnOperationIsNone)
{
    Bytes bytes;
    encodeRecord({ { "path", Bytes { '/' } } }, bytes);
    EXPECT_FALSE(decodeJob(bytes, UniqueFd()).ok());
    EXPECT_FALSE(decodeJob({}, UniqueFd()).ok());
}

TEST(ReadingJob, ComesBackWithItsRendering)
{
    PictureRendering rendering { 3, FloatSize { 90.5f, 60 }, Orientation::fromTag(6), 77 };
    ReadingJob job { .operation = ReadingOperation::RenderPicture, .rendering = rendering };
    auto back = decodeJob(encodeJob(job), UniqueFd());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->rendering.category, 3);
    EXPECT_EQ(back->rendering.maximum->width, 90.5f);
    EXPECT_EQ(back->rendering.maximum->height, 60);
    EXPECT_EQ(back->rendering.orientation, Orientation::fromTag(6));
    EXPECT_EQ(back->rendering.firstRow, 77);
    job.rendering.maximum.reset();
    EXPECT_FALSE(decodeJob(encodeJob(job), UniqueFd())->rendering.maximum);
}

ReadingAnswer throughBytes(ReadingOperation operation, const ReadingAnswer& answer)
{
    auto back = decodeAnswer(operation, encodeAnswer(answer));
    EXPECT_TRUE(back.ok());
    return back.ok() ? *back : ReadingAnswer();
}

TEST(ReadingAnswer, EveryKindComesBack)
{
    using Op = ReadingOperation;
    std::optional<Record> record = Record { { "Title", "제목" }, { "Width", 3 } };
    EXPECT_EQ(std::get<0>(throughBytes(Op::DescribeMp3, record)), record);
    EXPECT_EQ(std::get<0>(throughBytes(Op::PodcastInfo, std::optional<Record>())), std::nullopt);
    EXPECT_EQ(std::get<0>(throughBytes(Op::PodcastInfo, std::optional(Record()))), Record()) << "empty is not none";
    EXPECT_TRUE(std::get<bool>(throughBytes(Op::HasAppleLossless, true)));
    EXPECT_FALSE(std::get<bool>(throughBytes(Op::HasAppleLossless, false)));
    auto raised = std::get<RaisedException>(
        throughBytes(Op::DescribePicture, RaisedException { NSInvalidArgumentException, "no" }));
    EXPECT_EQ(raised.name, NSInvalidArgumentException);
    EXPECT_EQ(raised.reason, "no");
}

TEST(ReadingAnswer, FactsOfAPictureComeBack)
{
    auto info = std::make_shared<MVExifInfo>();
    info->vendor = "a vendor";
    info->redEyeReduction = "";
    info->versionNumber = 220;
    info->date = Date { 77 };
    auto back = std::get<1>(throughBytes(ReadingOperation::Exif, info));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->vendor, "a vendor");
    EXPECT_EQ(back->redEyeReduction, "");
    EXPECT_EQ(back->model, std::nullopt);
    EXPECT_EQ(back->versionNumber, 220);
    EXPECT_EQ(back->date, Date { 77 });
    EXPECT_FALSE(std::get<1>(throughBytes(ReadingOperation::Exif, std::shared_ptr<MVExifInfo>())));
}

TEST(ReadingAnswer, AnswersToOtherQuestionsAreRefused)
{
    Bytes record = encodeAnswer(std::optional(Record()));
    Bytes nothing = encodeAnswer(std::optional<Record>());
    Bytes flag = encodeAnswer(true);
    EXPECT_FALSE(decodeAnswer(ReadingOperation::Exif, record).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::HasAppleLossless, record).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::HasAppleLossless, nothing).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DescribeMp3, flag).ok());
    Bytes odd { 3, 2 };
    EXPECT_FALSE(decodeAnswer(ReadingOperation::HasAppleLossless, odd).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DescribeMp3, {}).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DescribeMp3, Bytes { 9 }).ok());
    Bytes unknown = encodeAnswer(RaisedException { "AnotherException", "no" });
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DescribeMp3, unknown).ok());
}

TEST(ReadingAnswer, FieldsOfATagComeBackAsTheyStandInTheFile)
{
    using Kind = DumpedField::Kind;
    TagDump dump { { Kind::Text, "name", std::string("\xff\0\x1b", 3) }, { Kind::Number, "tempo", "", ~0ull },
        { Kind::Pair, "track", "", 3, 12 }, { Kind::Artwork, "", "", 4, 1234 }, { Kind::Freeform, "a:b", "c" } };
    EXPECT_EQ(std::get<std::optional<TagDump>>(throughBytes(ReadingOperation::DumpTags, dump)), dump);
    auto none = throughBytes(ReadingOperation::DumpTags, std::optional<TagDump>());
    EXPECT_EQ(std::get<std::optional<TagDump>>(none), std::nullopt);
}

TEST(ReadingAnswer, FieldsThatNoWorkerWritesAreNone)
{
    Bytes good = encodeAnswer(std::optional(TagDump { { DumpedField::Kind::Text, "name", "text" } }));
    for (std::size_t size = 1; size < good.size(); ++size)
        EXPECT_FALSE(decodeAnswer(ReadingOperation::DumpTags, ByteView(good).first(size)).ok()) << size;
    Bytes longer = good;
    longer.push_back(0);
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DumpTags, longer).ok());
    Bytes odd = good;
    odd[5] = 6; // the kind of the first field
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DumpTags, odd).ok());
    Bytes many = good;
    many[4] = 0xff; // of how many there are
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DumpTags, many).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DescribeMp4, good).ok());
    EXPECT_FALSE(decodeAnswer(ReadingOperation::DumpTags, encodeAnswer(std::optional(Record()))).ok());
}

} // namespace
} // namespace mv
