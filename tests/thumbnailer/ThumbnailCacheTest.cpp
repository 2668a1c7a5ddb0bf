#include "thumbnailer/ThumbnailCache.h"

#include "tests/support/Scratch.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

constexpr const ThumbnailSize& Normal = ThumbnailSizes[0];
constexpr const ThumbnailSize& Large = ThumbnailSizes[1];

mode_t modeOf(const std::string& path)
{
    struct stat facts { };
    EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 07777;
}

class ThumbnailCacheTest : public testing::Test {
protected:
    static FilePreview preview() { return { { 2, 1, { 255, 0, 0, 255, 0, 0, 255, 255 } }, 640, 320, 12.9 }; }

    test::ScratchFolder m_folder;
    ThumbnailCache m_cache { m_folder.file("cache/thumbnails") };
    ThumbnailSubject m_subject { "file:///home/jens/photos/me.png", 1000, 77, "image/png" };
};

// The standard's own example.
TEST_F(ThumbnailCacheTest, NamesAreTheSumOfTheUri)
{
    EXPECT_EQ(m_cache.thumbnailPath(Large, m_subject.uri).text(),
        m_folder.file("cache/thumbnails/large/c6ee772d9e49320e97ec29a7eb5b1697.png"));
}

TEST_F(ThumbnailCacheTest, WhatWasStoredIsThereAsTheStandardHasIt)
{
    EXPECT_FALSE(m_cache.holds(Normal, m_subject));
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    EXPECT_TRUE(m_cache.holds(Normal, m_subject));
    EXPECT_FALSE(m_cache.holds(Large, m_subject));
    PngTexts texts = textsOfPng(test::readFile(m_cache.thumbnailPath(Normal, m_subject.uri).text()));
    EXPECT_EQ(texts.extract("Software").mapped().substr(0, 5), "mivo ");
    EXPECT_EQ(texts,
        (PngTexts { { "Thumb::URI", m_subject.uri }, { "Thumb::MTime", "1000" }, { "Thumb::Size", "77" },
            { "Thumb::Mimetype", "image/png" }, { "Thumb::Image::Width", "640" }, { "Thumb::Image::Height", "320" },
            { "Thumb::Movie::Length", "12" } }));
}

TEST_F(ThumbnailCacheTest, NobodyElseCanReadIt)
{
    mode_t before = umask(0);
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    ASSERT_TRUE(m_cache.storeFailure({ "file:///b", 1, 1, "" }, "is broken").ok());
    umask(before);
    for (const char* folder : { "cache", "cache/thumbnails", "cache/thumbnails/normal", "cache/thumbnails/fail" })
        EXPECT_EQ(modeOf(m_folder.file(folder)), 0700u) << folder;
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder.path())) {
        if (!entry.is_regular_file())
            continue;
        ++files;
        EXPECT_EQ(modeOf(entry.path()), 0600u);
    }
    EXPECT_EQ(files, 2);
}

TEST_F(ThumbnailCacheTest, AnotherStateOfTheFileIsAnother)
{
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    ThumbnailSubject newer = m_subject;
    newer.modificationTime = 1001;
    EXPECT_FALSE(m_cache.holds(Normal, newer));
    ThumbnailSubject longer = m_subject;
    longer.size = 78;
    EXPECT_FALSE(m_cache.holds(Normal, longer));
    ASSERT_TRUE(m_cache.store(Normal, newer, preview()).ok());
    EXPECT_TRUE(m_cache.holds(Normal, newer));
}

TEST_F(ThumbnailCacheTest, ThumbnailsOfOtherProgramsCountByUriAndTime)
{
    std::string path = m_cache.thumbnailPath(Normal, m_subject.uri).text();
    auto put = [&](const PngTexts& texts) {
        m_folder.write(path.substr(m_folder.path().size() + 1), ByteView(pngOf(preview().picture, texts)));
    };
    put({ { "Thumb::URI", m_subject.uri }, { "Thumb::MTime", "1000" } });
    EXPECT_TRUE(m_cache.holds(Normal, m_subject));
    put({ { "Thumb::URI", "file:///another" }, { "Thumb::MTime", "1000" } });
    EXPECT_FALSE(m_cache.holds(Normal, m_subject));
    put({ { "Thumb::URI", m_subject.uri } });
    EXPECT_FALSE(m_cache.holds(Normal, m_subject));
    m_folder.write(path.substr(m_folder.path().size() + 1), std::string_view("no PNG"));
    EXPECT_FALSE(m_cache.holds(Normal, m_subject));
}

TEST_F(ThumbnailCacheTest, AFailureIsKnownUntilTheFileChangesOrWorks)
{
    EXPECT_FALSE(m_cache.failure(m_subject));
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    ASSERT_TRUE(m_cache.storeFailure(m_subject, "is broken\n\xc3\xb6").ok());
    EXPECT_EQ(m_cache.failure(m_subject), "is broken???");
    EXPECT_FALSE(m_cache.holds(Normal, m_subject));
    ThumbnailSubject newer = m_subject;
    newer.modificationTime = 1001;
    EXPECT_FALSE(m_cache.failure(newer));
    m_cache.removeFailure(m_subject.uri);
    EXPECT_FALSE(m_cache.failure(m_subject));
}

TEST_F(ThumbnailCacheTest, AnOpenOldFileAndALinkAreReplaced)
{
    std::string path = m_cache.thumbnailPath(Normal, m_subject.uri).text();
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    chmod(path.c_str(), 0644);
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    EXPECT_EQ(modeOf(path), 0600u);
    std::string other = m_folder.write("other", std::string_view("not to be touched"));
    unlink(path.c_str());
    ASSERT_EQ(symlink(other.c_str(), path.c_str()), 0);
    ASSERT_TRUE(m_cache.store(Normal, m_subject, preview()).ok());
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(test::readFile(other).size(), std::string_view("not to be touched").size());
}

TEST_F(ThumbnailCacheTest, TheUsersFolderIsWhereTheVariablesSay)
{
    const char* before = std::getenv("XDG_CACHE_HOME");
    std::string old = before ? before : "";
    std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
    setenv("HOME", "/home/me", 1);
    setenv("XDG_CACHE_HOME", "/elsewhere", 1);
    EXPECT_EQ(ThumbnailCache::ofUser()->folder().text(), "/elsewhere/thumbnails");
    setenv("XDG_CACHE_HOME", "relative", 1);
    EXPECT_EQ(ThumbnailCache::ofUser()->folder().text(), "/home/me/.cache/thumbnails");
    unsetenv("HOME");
    EXPECT_FALSE(ThumbnailCache::ofUser().ok());
    setenv("HOME", home.c_str(), 1);
    before ? setenv("XDG_CACHE_HOME", old.c_str(), 1) : unsetenv("XDG_CACHE_HOME");
}

} // namespace
} // namespace mv
