// Thumbnails that file managers share.
#include "Base/Core/FileUri.h"
#include "tests/cli/ToolFixture.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/OrdinaryUser.h"
#include "thumbnailer/ThumbnailCache.h"

#include <algorithm>
#include <csignal>
#include <sys/stat.h>

namespace mv::cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class ToolCacheTest : public ToolTest {
protected:
    Outcome cache(const std::string& words) { return tool("thumbnail --cache " + words, variables()); }
    std::string variables() const { return "XDG_CACHE_HOME=" + test::shellQuoted(m_logs.file("cache")); }

    std::string photo(const std::string& name, int width = 400)
    {
        return m_folder.write(name, ByteView(test::jpegPicture(width, 300)));
    }
    static ThumbnailSubject subjectOf(const std::string& path)
    {
        struct stat facts { };
        EXPECT_EQ(stat(path.c_str(), &facts), 0) << path;
        return { fileUri(path), facts.st_mtime, facts.st_size, "" };
    }
    bool holds(const std::string& path, std::size_t size = 1) const
    {
        return m_cache.holds(ThumbnailSizes[size], subjectOf(path));
    }
    /// "256x192", of a thumbnail.
    std::string sizeOf(const std::string& path, std::size_t size) const
    {
        Bytes png = test::readFile(m_cache.thumbnailPath(ThumbnailSizes[size], fileUri(path)).text());
        return std::to_string(png[18] * 256 + png[19]) + "x" + std::to_string(png[22] * 256 + png[23]);
    }
    std::size_t filesInCache() const
    {
        std::size_t count = 0;
        if (!std::filesystem::exists(m_cache.folder().text()))
            return 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_cache.folder().text()))
            count += entry.is_regular_file();
        return count;
    }

    ThumbnailCache m_cache { m_logs.file("cache/thumbnails") };
};

TEST_F(ToolCacheTest, AFolderIsMadeOnceAndWhatChangedAnew)
{
    std::string one = photo("one.jpg");
    std::string two = photo("sub/deep/two.JPG");
    std::string broken = m_folder.write("broken.jpg", std::string_view("no picture"));
    tone("song.mp3");
    m_folder.write("notes.txt", std::string_view("nothing to see"));
    photo(".hidden.jpg");
    photo(".git/three.jpg");
    Outcome first = cache(m_folder.path());
    EXPECT_EQ(first.status, 1);
    EXPECT_EQ(first.out, "2 made, 0 there already, 1 without a picture, 1 failed\n");
    EXPECT_EQ(first.err, "mivo thumbnail: " + broken + ": is no picture, song or video that can be read\n");
    EXPECT_TRUE(holds(one, 0) && holds(one, 1) && holds(two, 0) && holds(two, 1));
    EXPECT_EQ(sizeOf(one, 0), "128x96");
    EXPECT_EQ(sizeOf(one, 1), "256x192");
    EXPECT_EQ(filesInCache(), 6u); // two thumbnails of two files, two failures
    EXPECT_EQ(m_cache.failure(subjectOf(broken)), "is no picture, song or video that can be read");

    Outcome second = cache(m_folder.path());
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.out, "0 made, 2 there already, 1 without a picture, 1 failed\n");
    EXPECT_EQ(second.err, first.err);

    timespec long_ago[2] { { 1000, 0 }, { 1000, 0 } };
    ASSERT_EQ(utimensat(AT_FDCWD, one.c_str(), long_ago, 0), 0);
    EXPECT_FALSE(holds(one));
    photo("broken.jpg", 200);
    EXPECT_EQ(cache(m_folder.path()).out, "2 made, 1 there already, 1 without a picture\n");
    EXPECT_TRUE(holds(one));
    EXPECT_FALSE(m_cache.failure(subjectOf(broken)));
    EXPECT_EQ(cache(m_folder.path()).status, 0);
}

TEST_F(ToolCacheTest, TheSizesThatAreAskedFor)
{
    std::string one = photo("one.jpg", 900);
    EXPECT_EQ(cache("--size x-large " + m_folder.path()).out, "1 made, 0 there already\n");
    EXPECT_EQ(sizeOf(one, 2), "512x171");
    EXPECT_FALSE(holds(one, 0));
    EXPECT_EQ(cache("--size all " + m_folder.path()).out, "1 made, 0 there already\n");
    EXPECT_EQ(sizeOf(one, 3), "900x300"); // never enlarged
    EXPECT_EQ(filesInCache(), 4u);
    for (const char* wrong : { "huge", "normal,huge", "normal,", "", "NORMAL", "128x128" })
        EXPECT_EQ(cache(std::string("--size '") + wrong + "' " + m_folder.path()).status, 2) << wrong;
}

TEST_F(ToolCacheTest, NamesAreAsTheFileManagersAre)
{
    std::string odd = photo("sp ace;\xc3\xb6\xff%.jpg");
    std::filesystem::create_directory(m_folder.file("sub"));
    EXPECT_EQ(cache(test::shellQuoted(m_folder.path() + "/./sub/..//")).out, "1 made, 0 there already\n");
    EXPECT_TRUE(holds(odd));
    std::string single = photo("single");
    EXPECT_EQ(cache(single).out, "1 made, 0 there already\n"); // a file that is named counts whatever its ending
    EXPECT_TRUE(holds(single));
    std::string there = "cd " + test::shellQuoted(m_folder.path()) + " && " + variables();
    EXPECT_EQ(tool("thumbnail --cache .", there).out, "0 made, 1 there already\n");
}

TEST_F(ToolCacheTest, LinksToFilesCountAndThoseToFoldersAreNotFollowed)
{
    std::string one = photo("one.jpg");
    symlink(one.c_str(), m_folder.file("link.jpg").c_str());
    symlink("/nowhere.jpg", m_folder.file("dangling.jpg").c_str());
    symlink(m_folder.path().c_str(), m_folder.file("round").c_str());
    mkfifo(m_folder.file("pipe.jpg").c_str(), 0600);
    Outcome done = cache(m_folder.path());
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.out, "2 made, 0 there already\n");
    EXPECT_TRUE(holds(m_folder.file("link.jpg")));
    // A folder that is named is looked into, link or not, and has its own names.
    EXPECT_EQ(cache(m_folder.file("round")).out, "2 made, 0 there already\n");
    EXPECT_TRUE(holds(m_folder.file("round/one.jpg")));
}

TEST_F(ToolCacheTest, ThumbnailsHaveNoThumbnails)
{
    photo("one.jpg");
    EXPECT_EQ(cache(m_folder.path()).status, 0);
    std::filesystem::create_directory_symlink(m_logs.file("cache"), m_folder.file("way in"));
    EXPECT_EQ(cache(m_folder.path() + " " + m_logs.path()).out, "0 made, 1 there already\n");
    std::filesystem::create_directory_symlink(m_cache.folder().text(), m_folder.file("inside"));
    for (const std::string& name :
        { m_cache.folder().text(), m_cache.folder().text() + "/large", m_folder.file("inside") }) {
        Outcome inside = cache(name);
        EXPECT_EQ(inside.status, 1);
        EXPECT_THAT(inside.err, HasSubstr("is in the cache itself"));
    }
    EXPECT_EQ(filesInCache(), 2u);
}

TEST_F(ToolCacheTest, WhatMayNotBeReadIsNamedAndNotRemembered)
{
    std::string one = photo("one.jpg");
    photo("locked/two.jpg");
    std::string secret = photo("secret.jpg");
    chmod(secret.c_str(), 0);
    chmod(m_folder.file("locked").c_str(), 0);
    for (const std::string& path : { m_folder.path(), m_folder.file("locked"), one, secret, m_logs.path() })
        test::OrdinaryUser::give(path);
    std::string asNobody = getuid() == 0 ? " setpriv --reuid=65534 --clear-groups" : "";
    Outcome done = tool("thumbnail --cache " + m_folder.path(), variables() + asNobody);
    chmod(m_folder.file("locked").c_str(), 0700);
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.out, "1 made, 0 there already, 1 failed\n");
    EXPECT_THAT(done.err, HasSubstr(m_folder.file("locked") + ": Permission denied\n"));
    EXPECT_THAT(done.err, HasSubstr(secret + ": "));
    EXPECT_TRUE(holds(one));
    EXPECT_EQ(filesInCache(), 2u);
}

TEST_F(ToolCacheTest, ACacheThatCannotBeWrittenIsNoFaultOfTheFile)
{
    std::string path = photo("a.jpg");
    std::string leadsNowhere = m_cache.folder().appending("normal").text();
    std::filesystem::create_directories(m_cache.folder().text());
    std::filesystem::create_symlink("/nowhere/at/all", leadsNowhere);
    Outcome failed = cache(m_folder.path());
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.out, "0 made, 0 there already, 1 failed\n");
    EXPECT_THAT(failed.err, HasSubstr("a.jpg: nothing can be kept in " + m_cache.folder().text() + ": "));
    std::filesystem::remove(leadsNowhere);
    EXPECT_EQ(cache(m_folder.path()).out, "1 made, 0 there already\n");
    EXPECT_TRUE(holds(path, 0));
}

// Nobody reads what is said of broken files until the interruption is there, so that the work cannot end before.
TEST_F(ToolCacheTest, AnInterruptionLeavesWholeThumbnailsOnly)
{
    std::string good = photo("0.jpg");
    std::string broken = m_logs.write("broken", std::string_view("no picture"));
    constexpr int Links = 4000;
    for (int i = 1; i <= Links; ++i)
        symlink(broken.c_str(), m_folder.file(std::to_string(i) + ".jpg").c_str());
    std::string command = "echo $$ >" + m_logs.file("process") + "; exec env " + variables() + " "
        + test::shellQuoted(kTool) + " thumbnail --cache " + test::shellQuoted(m_folder.path()) + " 2>&1 >"
        + m_logs.file("out");
    std::FILE* complaints = popen(command.c_str(), "r");
    ASSERT_TRUE(complaints);
    EXPECT_TRUE(test::eventually([&] { return filesInCache() > 100; }));
    EXPECT_EQ(kill(std::stoi(text("process")), SIGINT), 0);
    while (std::fgetc(complaints) != EOF) { }
    EXPECT_EQ(WEXITSTATUS(pclose(complaints)), 130);
    EXPECT_THAT(text("out"), testing::StartsWith("1 made, 0 there already, "));
    EXPECT_TRUE(holds(good, 0) && holds(good, 1));
    EXPECT_FALSE(m_cache.failure(subjectOf(good)));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_cache.folder().text())) {
        if (entry.is_regular_file()) {
            EXPECT_EQ(entry.path().filename().native().size(), 36u) << entry.path();
        }
    }
    EXPECT_LT(filesInCache(), std::size_t { Links });
}

TEST_F(ToolCacheTest, WithoutAClosedProcessItSoonEnds)
{
    for (int i = 0; i < 100; ++i)
        photo(std::to_string(i) + ".jpg");
    std::string alone = m_logs.copy(kTool, "mivo");
    chmod(alone.c_str(), 0700);
    std::string words = " thumbnail --cache " + test::shellQuoted(m_folder.path());
    EXPECT_EQ(test::run(variables() + " " + alone + words), 1);
    std::string told = test::outputOf(variables() + " " + alone + words + " 2>&1 || true");
    EXPECT_THAT(told, HasSubstr("nothing can be read, as no worker can be had"));
    EXPECT_LT(std::ranges::count(told, '\n'), 30);
    EXPECT_EQ(filesInCache(), 0u);
}

TEST_F(ToolCacheTest, WithoutAFolderOrAPlaceThereIsNothingToDo)
{
    EXPECT_EQ(tool("thumbnail --cache", variables()).status, 2);
    EXPECT_THAT(cache("--show " + m_folder.path()).err, HasSubstr("--show does not go with --cache"));
    Outcome missing = cache(m_folder.file("nowhere"));
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("nowhere: there is no such file or folder"));
    Outcome homeless = tool("thumbnail --cache " + m_folder.path(), "env -u HOME -u XDG_CACHE_HOME");
    EXPECT_EQ(homeless.status, 1);
    EXPECT_THAT(homeless.err, HasSubstr("neither XDG_CACHE_HOME nor HOME"));
}

} // namespace
} // namespace mv::cli
