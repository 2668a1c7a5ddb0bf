#include "Base/Core/ByteReader.h"
#include "ffmpeg/MediaBackend.h"
#include "movies/MovieBackend.h"
#include "platform/QTKit.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <typeinfo>
#include <vector>

namespace mv {
namespace {

bool ffmpegIsLoaded()
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("libavformat") != std::string::npos)
            return true;
    }
    return false;
}

/// Runs one of the tests below that are disabled, in a process of its own; what it printed.
std::string outputOfDisabled(const std::string& program, const std::string& test)
{
    return test::outputOf(
        test::shellQuoted(program) + " --gtest_also_run_disabled_tests --gtest_filter='*.DISABLED_" + test + "' 2>&1");
}

TEST(ModuleBackendTest, FfmpegIsLoadedAtTheFirstUseOnly)
{
    // Nothing may have come before in its process.
    std::string output = outputOfDisabled(std::filesystem::read_symlink("/proc/self/exe"), "LoadedAtTheFirstUse");
    EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
}

/// Run by the test above only.
TEST(ModuleBackendTest, DISABLED_LoadedAtTheFirstUse)
{
    test::ScratchFolder folder;
    EXPECT_FALSE(ffmpegIsLoaded());
    // What needs no FFmpeg does not load it.
    EXPECT_TRUE(QTKit::shared().findNextComponent({ fourCC("mhlr"), fourCC("vide") }));
    EXPECT_FALSE(QTKit::shared().canInitWithFile(OpenedFile::at("/no/such/file")));
    Bytes box { 0, 0, 0, 8, 'f', 'r', 'e', 'e' };
    EXPECT_TRUE(QTKit::shared().canInitWithFile(OpenedFile::at(folder.write("a.mp4", ByteView(box)))));
    EXPECT_FALSE(ffmpegIsLoaded());
    EXPECT_TRUE(QTKit::shared().findNextComponent({ fourCC("imdc"), fourCC("avc1") }));
    EXPECT_TRUE(ffmpegIsLoaded());
}

TEST(ModuleBackendTest, ThereIsOneForAllThreads)
{
    std::vector<MovieBackend*> found(8);
    std::vector<std::thread> threads;
    for (MovieBackend*& backend : found)
        threads.emplace_back([&backend] { backend = &installedMovieBackend(); });
    for (std::thread& thread : threads)
        thread.join();
    for (MovieBackend* backend : found)
        EXPECT_EQ(backend, found.front());
    EXPECT_NE(typeid(installedMovieBackend()), typeid(MovieBackend));
}

TEST(ModuleBackendTest, WithoutTheModuleNothingOpens)
{
    // The same program, where no module lies beside it.
    test::ScratchFolder folder;
    std::string program = folder.copy("/proc/self/exe", "bin");
    ASSERT_EQ(chmod(program.c_str(), 0755), 0);
    std::string output = outputOfDisabled(program, "MissingModule");
    EXPECT_NE(output.find("cannot load the media module: no "), std::string::npos) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
}

/// Run by the test above only.
TEST(ModuleBackendTest, DISABLED_MissingModule)
{
    test::ScratchFolder folder;
    EXPECT_FALSE(QTKit::shared().findNextComponent({ fourCC("imdc"), fourCC("avc1") }));
    EXPECT_FALSE(QTKit::shared().canInitWithFile(OpenedFile::at(folder.write("a.txt", std::string_view("text")))));
    EXPECT_EQ(typeid(installedMovieBackend()), typeid(MovieBackend));
    auto movie = QTKit::shared().initWithFile(OpenedFile::at(folder.file("a.txt")));
    ASSERT_FALSE(movie.ok());
    EXPECT_EQ(movie.error().text, "the media module is missing");
}

} // namespace
} // namespace mv
