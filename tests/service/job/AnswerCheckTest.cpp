#include "service/job/AnswerCheck.h"

#include "Base/Media/MediaDB.h"
#include "Base/Media/TiffForm.h"
#include "service/include/Preview.h"

#include <gtest/gtest.h>

// Records that nobody vouches for.

namespace mv {
namespace {

bool passes(ReadingOperation operation, Record record)
{
    return checkAnswer(operation, ReadingAnswer(std::optional(std::move(record)))).ok();
}

bool passes(Record record) { return passes(ReadingOperation::DescribeMp3, std::move(record)); }

TEST(AnswerCheck, ADescriptionPasses)
{
    EXPECT_TRUE(passes({ { MediaDBMusicColumnTitle, "Tone" }, { MediaDBMusicColumnTrackNo, 3 },
        { MediaDBCommonColumnFileSize, std::int64_t { 5 } }, { MediaDBMusicColumnPlayLength, 1.5 },
        { MediaDBMusicColumnDateAdded, Date::now() }, { MediaDBMusicColumnHasLyrics, true } }));
}

TEST(AnswerCheck, AnswersWithoutARecordPass)
{
    EXPECT_TRUE(checkAnswer(ReadingOperation::DescribeMp3, std::optional<Record>()).ok());
    EXPECT_TRUE(checkAnswer(ReadingOperation::HasAppleLossless, true).ok());
    EXPECT_TRUE(checkAnswer(ReadingOperation::Exif, std::shared_ptr<MVExifInfo>()).ok());
}

TEST(AnswerCheck, AKeyThatNoDescriptionHasFails)
{
    EXPECT_FALSE(passes({ { "LaunchPath", "/bin/sh" } }));
    EXPECT_FALSE(passes({ { "", 1 } }));
}

TEST(AnswerCheck, AValueOfAnotherKindFails)
{
    EXPECT_FALSE(passes({ { MediaDBMusicColumnTitle, 1 } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnTrackNo, "3" } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnTrackNo, std::int64_t { 3 } } }));
    EXPECT_FALSE(passes({ { MediaDBCommonColumnFileSize, 5 } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnHasLyrics, 1 } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnDateAdded, "today" } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnAlbumArt, "a picture" } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnTitle, NullObject() } }));
}

TEST(AnswerCheck, APictureOfAnotherFormFails)
{
    EXPECT_FALSE(passes({ { MediaDBMusicColumnAlbumArt, Bytes() } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnAlbumArt, Bytes(100, 0xFF) } }));
    EXPECT_FALSE(passes({ { MediaDBMusicColumnAlbumArt, Bytes { 'I', 'I', 42, 0, 8, 0, 0, 0 } } }));
}

TEST(AnswerCheck, OperationsHaveTheirOwnKeys)
{
    EXPECT_FALSE(passes(ReadingOperation::Thumbnail, { { MediaDBMusicColumnTitle, "Tone" } }));
    EXPECT_FALSE(passes(ReadingOperation::PodcastInfo, { { MediaDBMusicColumnTitle, "Tone" } }));
    EXPECT_TRUE(passes(ReadingOperation::PodcastInfo, { { kMediaTagPodcastEpisodeId, "one" } }));
    EXPECT_FALSE(passes({ { kMediaTagPodcastEpisodeId, "one" } }));
    EXPECT_TRUE(passes(ReadingOperation::Preview, { { kPreviewIsMissing, true } }));
    EXPECT_TRUE(passes(ReadingOperation::Preview, { { kPreviewSeconds, 1.5 }, { kPreviewSourceWidth, 3 } }));
    EXPECT_FALSE(passes(ReadingOperation::Preview, { { kPreviewPicture, Bytes(100, 0xFF) } }));
    EXPECT_FALSE(passes(ReadingOperation::Preview, { { kThumbnailData, 1 } }));
}

} // namespace
} // namespace mv
