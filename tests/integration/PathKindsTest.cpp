#include "tests/integration/PathKinds.h"

#include "Base/Media/MediaDB.h"
#include "tests/integration/Operations.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Places.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <thread>

// What each service answers and logs for each kind of path, and what is there afterwards. The table is
// tests/data/paths/answers.txt; MIVO_WRITE_PATH_ANSWERS=FILE in the environment writes what the service does today.

namespace mv {
namespace {

using test::Answer;
using test::Operation;
using test::PathKinds;

std::string toldOf(const Answer& answer, const std::function<std::string(WireReader)>& value)
{
    return answer.ok() ? value(answer.reader()) : answer.error + ": " + answer.text;
}

/// The texts of the log lines, without date, process, thread and the line of an assertion.
std::vector<std::string> logTexts(const std::string& log)
{
    std::vector<std::string> texts;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        std::size_t end = line.find("] ");
        std::string text = end == std::string::npos ? line : line.substr(end + 2);
        texts.push_back(std::regex_replace(text, std::regex("\\.cpp:[0-9]+$"), ".cpp"));
    }
    return texts;
}

/// A program that runs the service without root's power to pass over a file's mode, which a user's service lacks.
std::string serviceOfAUser(const test::ScratchFolder& folder)
{
    std::string program = folder.write("mivo-mediad-of-a-user",
        std::string("#!/bin/sh\n[ \"$(id -u)\" -ne 0 ] || lowered='setpriv --bounding-set "
                    "-dac_override,-dac_read_search'\nexec $lowered "
            + test::buildPath("bin/mivo-mediad") + "\n"));
    chmod(program.c_str(), 0700);
    return program;
}

struct ProgramFolder {
    test::ScratchFolder m_programs;
};

class PathKindsTest : private ProgramFolder, public test::RunningService {
protected:
    PathKindsTest()
        : RunningService(serviceOfAUser(m_programs))
    {
    }

    std::string row(const Operation& operation, const PathKinds& paths, std::string_view kind)
    {
        test::ScratchFolder others;
        std::string other = operation.otherContent
            ? others.write("other" + std::string(operation.extension), operation.otherContent())
            : others.file("other.out");
        std::size_t logged = m_service.log().size();
        Answer answer = m_client.call(operation.service, "/", operation.interface, operation.member,
            [&](WireWriter& out) { operation.arguments(out, paths.path(kind), other); });
        std::string text
            = std::string(operation.name) + " " + std::string(kind) + ": " + toldOf(answer, operation.value);
        for (const std::string& line : logTexts(m_service.log().substr(logged)))
            text += "; logs \"" + line + "\"";
        text += "; leaves " + paths.leftAt(kind);
        if (!operation.otherContent && test::run("test -e " + test::shellQuoted(other)) == 0)
            text += "; makes its output";
        for (const std::string& stranger : paths.strangers())
            text += "; beside it " + stranger;
        return paths.withoutFolder(text);
    }
};

std::vector<std::string> linesOf(const std::string& file)
{
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.front() != '#')
            lines.push_back(line);
    }
    return lines;
}

TEST_F(PathKindsTest, EachServiceAnswersEachKindOfPath)
{
    std::vector<std::string> rows;
    for (const Operation& operation : test::operations()) {
        PathKinds paths(operation.content(), operation.extension);
        for (std::string_view kind : test::AllPathKinds)
            rows.push_back(row(operation, paths, kind));
    }
    if (const char* file = std::getenv("MIVO_WRITE_PATH_ANSWERS")) {
        std::ofstream out(file);
        for (const std::string& text : rows)
            out << text << '\n';
    }
    EXPECT_EQ(rows, linesOf(test::sourcePath("tests/data/paths/answers.txt")));
}

TEST_F(PathKindsTest, AGrowingSongIsDescribedAtEveryMoment)
{
    test::ScratchFolder folder;
    Bytes content = test::song();
    std::string path = folder.write("growing.mp3", content);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        std::ofstream out(path, std::ios::app | std::ios::binary);
        std::string frames = test::mpegFrames(7);
        constexpr int MaxWrites = 20'000;
        for (int i = 0; i < MaxWrites && !done; ++i)
            out << frames << std::flush;
    });
    std::int32_t before = static_cast<std::int32_t>(content.size());
    for (int i = 0; i < 50; ++i) {
        auto record = m_client.build("MivoMP3Parser_1._3._0._12062", path);
        ASSERT_TRUE(record && *record);
        ASSERT_TRUE((*record)->integer(MediaDBMusicColumnPlayLength).has_value());
        std::int32_t size = *(*record)->integer(MediaDBCommonColumnFileSize);
        EXPECT_GE(size, before);
        before = size;
    }
    done = true;
    writer.join();
}

} // namespace
} // namespace mv
