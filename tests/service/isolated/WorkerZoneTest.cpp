#include "service/image/ExifExtractor.h"
#include "service/isolated/WorkerProcess.h"
#include "service/job/Messages.h"
#include "service/job/ReadingJob.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LocalZone.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <gtest/gtest.h>

// Dates without a zone are of the user's, in a worker that can read no file of zones, too.

namespace mv {
namespace {

/// The date that a new worker finds.
std::optional<Date> dateInWorker(const OpenedFile& file)
{
    auto worker = WorkerProcess::start(test::buildPath("bin/mivo-worker"), WorkerKind::Light);
    EXPECT_TRUE(worker.ok());
    Channel& channel = (*worker)->channel();
    const int content[] = { file.descriptor() };
    std::optional<Date> date;
    for (int time = 0; time < 2; ++time) { // as a first question could spoil the second
        EXPECT_TRUE(
            channel.send(kindOf(Message::ReadingJob), encodeJob({ ReadingOperation::Exif, file }), content).ok());
        auto frame = channel.receive(Channel::Clock::now() + std::chrono::seconds(60));
        EXPECT_TRUE(frame.ok() && *frame && (*frame)->kind == kindOf(Message::Answer));
        auto answer = decodeAnswer(ReadingOperation::Exif, (*frame)->payload);
        EXPECT_TRUE(answer.ok());
        const auto& facts = std::get<std::shared_ptr<MVExifInfo>>(*answer);
        EXPECT_TRUE(facts);
        date = facts->date;
    }
    return date;
}

TEST(WorkerZone, IsTheHosts)
{
    MV_NEEDS_CLOSED_PROCESSES();
    test::ScratchFolder folder;
    std::string path = folder.file("a.jpg");
    test::outputOf("exiftool -q -EXIF:Model=M -EXIF:ModifyDate='2020:06:15 12:00:00' -o " + path + " "
        + test::sourcePath("tests/data/tags/red.jpg"));
    const OpenedFile file = OpenedFile::at(path);
    std::vector<std::string> zones { "KST-9", "EST5EDT,M3.2.0,M11.1.0", "UTC0" };
    for (const char* zoneFile : { "/usr/share/zoneinfo/Asia/Seoul", "/etc/localtime" }) {
        if (std::filesystem::exists(zoneFile))
            zones.push_back(std::string(":") + zoneFile);
    }
    for (const std::string& name : zones) {
        test::LocalZone zone(name.c_str());
        auto here = ExifExtractor().extractExif(file);
        ASSERT_TRUE(here && here->date) << name;
        EXPECT_EQ(dateInWorker(file), here->date) << name;
    }
}

} // namespace
} // namespace mv
