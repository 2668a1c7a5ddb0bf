#include "service/job/MediaJob.h"

#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace std::string_literals;

class MediaJobTest : public testing::Test {
protected:
    OpenedFile file(const std::string& name) { return OpenedFile::at(m_folder.write(name, "content of " + name)); }
    static std::vector<UniqueFd> contentsOf(const MediaJob& job)
    {
        std::vector<UniqueFd> contents;
        for (const OpenedFile& one : job.files)
            contents.emplace_back(dup(one.descriptor()));
        return contents;
    }
    MediaJob job(MediaOperation operation)
    {
        return { operation, 3, { 100, false, ThumbnailFormat::Jpeg }, { file("a.mp3") } };
    }

    test::ScratchFolder m_folder;
};

Facts someFacts(const std::string& title)
{
    Facts facts;
    facts.set(fact::Kind, "audio"s);
    facts.set(fact::Title, title);
    return facts;
}

TEST_F(MediaJobTest, AJobGoesOverWithNamesAndSizesAlone)
{
    MediaJob job { MediaOperation::Describe, 3, { 100, false, ThumbnailFormat::Jpeg }, { file("a.mp3"), file("b") } };
    Bytes bytes = encodeMediaJob(job);
    EXPECT_EQ(charsOf(bytes).find(m_folder.path()), std::string_view::npos) << "nobody need know the folder";
    auto got = decodeMediaJob(bytes, contentsOf(job));
    ASSERT_TRUE(got.ok()) << got.error().text;
    EXPECT_EQ(got->operation, job.operation);
    EXPECT_EQ(got->debugLevel, 3);
    EXPECT_EQ(got->thumbnail, job.thumbnail);
    ASSERT_EQ(got->files.size(), 2u);
    EXPECT_EQ(got->files[0].path().text(), "a.mp3");
    EXPECT_EQ(got->files[1].attributes()->size, 12);
    EXPECT_EQ((*got->files[1].content())->size(), 12u);
}

TEST_F(MediaJobTest, JobsThatNobodySendsAreRefused)
{
    MediaJob whole = job(MediaOperation::Describe);
    Bytes bytes = encodeMediaJob(whole);
    EXPECT_FALSE(decodeMediaJob(bytes, {}).ok()) << "a file without content";
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(decodeMediaJob(ByteView(bytes).first(length), contentsOf(whole)).ok()) << length;
    bytes.push_back(0);
    EXPECT_FALSE(decodeMediaJob(bytes, contentsOf(whole)).ok());
}

TEST_F(MediaJobTest, ResultsOfEveryKindRoundTrip)
{
    MediaJob both { MediaOperation::Describe, 0, {}, { file("a"), file("b"), file("c") } };
    Bytes bytes = encodeMediaResults({ someFacts("one"), MediaProblem::NeedsMedia, someFacts("three") });
    auto got = decodeMediaResults(both, bytes);
    ASSERT_TRUE(got.ok()) << got.error().text;
    EXPECT_EQ(std::get<Facts>((*got)[0]), someFacts("one"));
    EXPECT_EQ(std::get<MediaProblem>((*got)[1]), MediaProblem::NeedsMedia);
    EXPECT_EQ(std::get<Facts>((*got)[2]), someFacts("three"));

    Thumbnail picture { 100, 50, { 0xff, 0xd8, 0xff, 0xe0 } };
    auto thumbnail = decodeMediaResults(job(MediaOperation::Thumbnail), encodeMediaResults({ picture }));
    ASSERT_TRUE(thumbnail.ok()) << thumbnail.error().text;
    EXPECT_EQ(std::get<Thumbnail>(thumbnail->front()).data, picture.data);
    EXPECT_EQ(std::get<Thumbnail>(thumbnail->front()).height, 50u);
}

TEST_F(MediaJobTest, AnswersToOtherQuestionsAreRefused)
{
    Thumbnail jpeg { 100, 50, { 0xff, 0xd8, 0xff, 0xe0 } };
    Thumbnail large { 101, 50, { 0xff, 0xd8, 0xff, 0xe0 } };
    Thumbnail empty { 0, 50, { 0xff, 0xd8, 0xff, 0xe0 } };
    Thumbnail other { 100, 50, { 'G', 'I', 'F', '8' } };
    MediaJob thumbnail = job(MediaOperation::Thumbnail);
    for (const Thumbnail& picture : { large, empty, other })
        EXPECT_FALSE(decodeMediaResults(thumbnail, encodeMediaResults({ picture })).ok());
    EXPECT_FALSE(decodeMediaResults(thumbnail, encodeMediaResults({ someFacts("x") })).ok());
    MediaJob describe = job(MediaOperation::Describe);
    EXPECT_FALSE(decodeMediaResults(describe, encodeMediaResults({ jpeg })).ok());
    EXPECT_FALSE(decodeMediaResults(describe, encodeMediaResults({})).ok());
    EXPECT_FALSE(decodeMediaResults(describe, encodeMediaResults({ someFacts("x"), someFacts("y") })).ok());
    Facts withPicture = someFacts("x");
    withPicture.pictures.push_back({ 3, "image/png", "", { 1, 2, 3 } });
    EXPECT_FALSE(decodeMediaResults(describe, encodeMediaResults({ withPicture })).ok());
    MediaJob withPictures = job(MediaOperation::DescribeWithPictures);
    EXPECT_TRUE(decodeMediaResults(withPictures, encodeMediaResults({ withPicture })).ok());
}

TEST_F(MediaJobTest, RawPixelsAreAsManyAsTheSizeSays)
{
    MediaJob raw { MediaOperation::Thumbnail, 0, { 4, true, ThumbnailFormat::Rgba }, { file("a") } };
    EXPECT_TRUE(decodeMediaResults(raw, encodeMediaResults({ Thumbnail { 2, 3, Bytes(24) } })).ok());
    EXPECT_FALSE(decodeMediaResults(raw, encodeMediaResults({ Thumbnail { 2, 3, Bytes(23) } })).ok());
    EXPECT_FALSE(decodeMediaResults(raw, encodeMediaResults({ Thumbnail { 2, 3, Bytes(25) } })).ok());
}

} // namespace
} // namespace mv
