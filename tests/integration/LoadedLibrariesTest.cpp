#include "tests/integration/Attempt.h"
#include "tests/integration/RunningService.h"
#include "tests/support/ProcessTree.h"

#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <set>
#include <unistd.h>

// What is in the memory of the process that has the bus, after it was asked for everything that the services do.

namespace mv {
namespace {

/// The names of the files that are mapped into a process.
std::set<std::string> mappedFiles(pid_t process)
{
    std::set<std::string> names;
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        auto slash = line.rfind('/');
        if (slash != std::string::npos)
            names.insert(line.substr(slash + 1));
    }
    return names;
}

bool readsMedia(const std::string& name)
{
    static const std::regex Libraries(
        "(lib(av|sw|heif|de265|webp|gif|png|tiff|jpeg|turbojpeg|lcms|exif|isal|mp3lame|vorbis|ogg|opus|FLAC|tag)"
        "|mivo-ffmpeg).*");
    return std::regex_match(name, Libraries);
}

std::set<std::string> mediaLibrariesOf(pid_t process)
{
    std::set<std::string> found = mappedFiles(process);
    std::erase_if(found, [](const std::string& name) { return !readsMedia(name); });
    return found;
}

class LoadedLibraries : public test::RunningService { };

TEST_F(LoadedLibraries, NoneThatReadsMediaStandsBesideTheBus)
{
    for (const test::AnswerRow& row : test::AnswerRows) {
        std::string answer = test::Attempt(row.operation, "file").named(m_client);
        ASSERT_TRUE(answer.starts_with(row.good)) << row.operation << ": " << answer;
    }
    EXPECT_THAT(mappedFiles(m_service.pid()), testing::Contains("mivo-mediad"));
    EXPECT_THAT(mediaLibrariesOf(m_service.pid()), testing::IsEmpty());
    if (geteuid() != 0)
        return; // Nobody else looks into a worker.
    // The workers that have done it are what has them.
    std::set<std::string> ofWorkers;
    for (pid_t worker : test::childrenOf(m_service.pid()))
        ofWorkers.merge(mediaLibrariesOf(worker));
    EXPECT_THAT(ofWorkers, testing::Contains(testing::StartsWith("libjpeg")));
}

} // namespace
} // namespace mv
