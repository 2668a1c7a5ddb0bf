#include "Base/Core/OSStatus.h"
#include "tests/service/isolated/WritingFixture.h"
#include "tests/support/Corpus.h"

// Every writing operation on real files: what a closed process does is what this one does, and its filter knows every
// system call that it makes.

namespace mv {
namespace {

using test::NotingDelegate;
using test::NotingListener;

class WritingCorpus : public test::WritingFixture, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        MV_NEEDS_CORPUS();
        MV_NEEDS_CLOSED_PROCESSES();
        side = test::WorkerSide::Trapping;
    }
    static std::vector<std::string> files()
    {
        std::vector<std::string> paths;
        for (const std::string& name : test::corpusFiles(GetParam()))
            paths.push_back(test::corpusFile(name));
        EXPECT_FALSE(paths.empty());
        return paths;
    }
    /// Both made files, or neither.
    void expectEqual(const std::string& of)
    {
        ASSERT_EQ(std::filesystem::exists(here), std::filesystem::exists(there)) << of;
        if (!std::filesystem::exists(here))
            return;
        ++made;
        EXPECT_TRUE(test::readFile(here) == test::readFile(there)) << of;
        std::filesystem::remove(here);
        std::filesystem::remove(there);
    }

    std::size_t made = 0;
    std::string here = scratch.file("here");
    std::string there = scratch.file("there");
};

TEST_P(WritingCorpus, TagsAreUpdatedAlike)
{
    kind = WorkerKind::Light;
    for (const std::string& path : files()) {
        for (std::int32_t type : { MVMediaTypeMP3, MVMediaTypeM4A }) {
            scratch.copy(path, "here");
            scratch.copy(path, "there");
            Record record = test::tagRecord(type, 5000);
            bool expected = test::updatedHere(here, record);
            EXPECT_EQ(update(there, record), WritingAnswer(expected)) << path;
            expectEqual(path);
        }
    }
    EXPECT_GT(made, 0u);
}

TEST_P(WritingCorpus, SoundIsEncodedAlike)
{
    for (const std::string& path : files()) {
        NotingListener listenerHere;
        NotingListener listenerThere;
        listenerHere.stopAt = listenerThere.stopAt = 3000; // a minute is enough
        bool expected = standardEncoding()({}, listenerHere, OpenedFile::at(path), *OutputPlace::at(here));
        EXPECT_EQ(encode(path, there, {}, listenerThere), WritingAnswer(expected)) << path;
        EXPECT_EQ(listenerThere.heard, listenerHere.heard) << path;
        expectEqual(path);
    }
}

TEST_P(WritingCorpus, SoundIsConvertedAlike)
{
    MP4ExporterImpl exporter;
    for (const std::string& path : files()) {
        NotingDelegate delegateHere;
        NotingDelegate delegateThere;
        delegateHere.refuseAt = delegateThere.refuseAt = 50;
        std::int32_t expected = exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
            &delegateHere, OpenedFile::at(path), OutputPlace::at(here), 64000);
        EXPECT_EQ(convert(path, there, 64000, &delegateThere), WritingAnswer(expected)) << path;
        EXPECT_EQ(delegateThere.percents, delegateHere.percents) << path;
        expectEqual(path);
    }
}

TEST_P(WritingCorpus, MoviesAreExportedAlike)
{
    MP4ExporterImpl exporter;
    for (const std::string& path : files()) {
        NotingDelegate delegateHere;
        NotingDelegate delegateThere;
        std::int32_t expected
            = exporter.exportWithDelegateFromPathToMp4Path(&delegateHere, OpenedFile::at(path), OutputPlace::at(here));
        EXPECT_EQ(exportMovie(path, there, &delegateThere), WritingAnswer(expected)) << path;
        EXPECT_EQ(delegateThere.percents, delegateHere.percents) << path;
        expectEqual(path);
    }
}

std::string nameOf(const testing::TestParamInfo<const char*>& row) { return row.param; }

INSTANTIATE_TEST_SUITE_P(Every, WritingCorpus, testing::Values("mp3", "mp4", "audio", "video", "bad"), nameOf);

} // namespace
} // namespace mv
