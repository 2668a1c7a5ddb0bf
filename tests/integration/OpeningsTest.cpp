#include "tests/integration/Operations.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Places.h"

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <sys/stat.h>

// How often the service goes to the file system for each operation. A file is opened once, and asked for its attributes
// once, so that all of an answer speaks of one file, and a file on a slow disk is not waited for twice.

namespace mv {
namespace {

using test::Operation;

bool canTrace() { return test::run("strace -o /dev/null true 2>/dev/null") == 0; }

/// A program that runs the service and writes its system calls on files to `trace`. Of the two processes the service is
/// the one that was started.
std::string tracedService(const test::ScratchFolder& folder, const std::string& trace)
{
    // A descriptor is written with its path; a question mark passes over what an architecture does not have. Leaks
    // cannot be looked for in a process that is traced.
    std::string program = folder.write("mivo-mediad-traced",
        "#!/bin/sh\nASAN_OPTIONS=\"$ASAN_OPTIONS:detect_leaks=0\" exec strace -D -f -y -s 4096 -o "
            + test::shellQuoted(trace)
            + " -e trace=?open,openat,?openat2,?creat,?access,faccessat,?faccessat2,%%stat,readlinkat,?readlink "
            + test::buildPath("bin/mivo-mediad") + "\n");
    chmod(program.c_str(), 0700);
    return program;
}

/// How often a file was opened, and how often it was asked for, by its path or its descriptor.
struct Openings {
    int opened = 0;
    int asked = 0;
};

/// By the path; what has no name yet, or one that lasts for a while, is together under "new".
class Trace {
public:
    Trace(const std::string& file, const test::ScratchFolder& folder, std::vector<std::string> names)
        : m_folder(folder.path())
        , m_names(std::move(names))
    {
        std::ifstream in(file);
        for (std::string line; std::getline(in, line);)
            read(line);
    }

    std::string openedAndAsked() const
    {
        std::string text;
        for (const auto& [name, count] : m_counts)
            text += "; " + name + " opened " + std::to_string(count.opened) + " asked " + std::to_string(count.asked);
        return text;
    }

    /// How often files alone were opened, not the folder around them.
    std::string opened() const
    {
        std::string text;
        for (const auto& [name, count] : m_counts) {
            if (count.opened > 0 && name != "folder")
                text += "; " + name + " opened " + std::to_string(count.opened);
        }
        return text;
    }

private:
    void read(const std::string& line)
    {
        // A call that another thread's interrupts stands on two lines; the second tells what came of it.
        static const std::regex Call("^[0-9]+ +(<\\.\\.\\. )?([a-z0-9]+)");
        static const std::regex Opened(" = [0-9]+<([^>]*)>(\\(deleted\\))?$");
        std::smatch call;
        if (!std::regex_search(line, call, Call))
            return;
        bool opens = call[2].str().starts_with("open") || call[2] == "creat";
        std::smatch result;
        if (opens && std::regex_search(line, result, Opened) && nameOf(result[1]))
            ++m_counts[*nameOf(result[1])].opened;
        if (!opens && !call[1].matched) {
            if (auto name = askedName(line))
                ++m_counts[*name].asked;
        }
    }

    std::optional<std::string> nameOf(const std::string& path) const
    {
        if (path == m_folder)
            return "folder";
        if (!path.starts_with(m_folder + "/"))
            return std::nullopt;
        std::string name = path.substr(m_folder.size() + 1);
        return std::find(m_names.begin(), m_names.end(), name) == m_names.end() ? "new" : name;
    }

    std::optional<std::string> askedName(const std::string& line) const
    {
        std::size_t at = line.find(m_folder);
        return at == std::string::npos ? std::nullopt : nameOf(line.substr(at, line.find_first_of(">\"", at) - at));
    }

    std::string m_folder;
    std::vector<std::string> m_names;
    std::map<std::string, Openings> m_counts;
};

struct TraceFolder {
    test::ScratchFolder m_programs;
    std::string m_traceFile = m_programs.file("trace");
};

class OpeningsTest : protected TraceFolder, public test::RunningService {
protected:
    OpeningsTest()
        : RunningService(canTrace() ? tracedService(m_programs, m_traceFile) : std::string())
    {
    }
    void SetUp() override
    {
        if (!canTrace())
            GTEST_SKIP() << "strace is not installed, or processes may not be traced here";
        RunningService::SetUp();
    }

    /// What each operation opened and asked, in a folder of its own.
    std::vector<Trace> performed(const std::vector<Operation>& operations)
    {
        std::vector<test::ScratchFolder> folders(operations.size());
        for (std::size_t i = 0; i < folders.size(); ++i)
            perform(operations[i], folders[i]);
        EXPECT_TRUE(waitForTrace());
        std::vector<Trace> traces;
        for (std::size_t i = 0; i < folders.size(); ++i)
            traces.push_back(Trace(m_traceFile, folders[i], { namedOf(operations[i]), otherOf(operations[i]) }));
        return traces;
    }

private:
    void perform(const Operation& operation, const test::ScratchFolder& folder)
    {
        std::string named = folder.write(namedOf(operation), operation.content());
        std::string other = operation.otherContent ? folder.write(otherOf(operation), operation.otherContent())
                                                   : folder.file(otherOf(operation));
        auto answer = m_client.call(operation.service, "/", operation.interface, operation.member,
            [&](WireWriter& out) { operation.arguments(out, named, other); });
        EXPECT_TRUE(answer.ok()) << operation.name << ": " << answer.text;
    }

    /// Ends the service, so that the trace is whole.
    bool waitForTrace()
    {
        const std::regex end("(^|\n)" + std::to_string(m_service.pid()) + " +\\+\\+\\+ exited with 0 ");
        return quit() && m_service.waitForEnd() == 0 && test::eventually([&] {
            std::ifstream in(m_traceFile);
            std::ostringstream text;
            text << in.rdbuf();
            return std::regex_search(text.str(), end);
        });
    }

    static std::string namedOf(const Operation& operation) { return std::string("file") + operation.extension; }
    static std::string otherOf(const Operation& operation)
    {
        return std::string("other") + (operation.otherContent ? operation.extension : ".out");
    }
};

/// Of the table, for another file if one is given.
Operation operationOf(const std::string& name, const char* extension = nullptr, Bytes (*content)() = nullptr)
{
    Operation one = *std::find_if(
        test::operations().begin(), test::operations().end(), [&](const Operation& each) { return each.name == name; });
    one.extension = extension ? extension : one.extension;
    one.content = content ? content : one.content;
    return one;
}

TEST_F(OpeningsTest, AFileThatIsReadIsOpenedOnceAndAskedOnce)
{
    auto movie = operationOf("movie").content;
    std::vector<Operation> operations {
        operationOf("movie"),
        operationOf("movie", ".mp3", test::song), // FFmpeg's
        operationOf("mp3"),
        operationOf("mp3", ".mp3", movie), // no MPEG audio: goes to the movie toolkit
        operationOf("mp4"),
        operationOf("audio"),
        operationOf("image"),
        operationOf("image", ".jpg"), // looks for EXIF
        operationOf("thumbnail"),
        operationOf("exif"),
        operationOf("podcast", ".mp3", test::podcastSong),
        operationOf("podcast", ".m4a", movie),
        operationOf("alac"),
        operationOf("alac", ".mp3", test::song),
    };
    std::vector<Trace> traces = performed(operations);
    for (std::size_t i = 0; i < traces.size(); ++i) {
        EXPECT_EQ(traces[i].openedAndAsked(), "; file" + std::string(operations[i].extension) + " opened 1 asked 1")
            << operations[i].name;
    }
}

TEST_F(OpeningsTest, WhoWritesOpensWhatItReadsOnceAndWhatItMakesOnce)
{
    auto movie = operationOf("movie").content;
    struct {
        Operation operation;
        const char* opened;
    } const rows[] {
        // A second time each for the worker that plans and checks: it must hold neither a lock nor what can be written.
        { operationOf("update-mp3"), "; file.mp3 opened 2; new opened 2" },
        { operationOf("update-m4a"), "; file.m4a opened 2; new opened 2" },
        { operationOf("encode-from"), "; file.wav opened 1; other.out opened 1" },
        { operationOf("encode-from", ".mp3", test::song), "; file.mp3 opened 1; other.out opened 1" },
        { operationOf("convert-from"), "; file.wav opened 1; new opened 1" },
        // The tags go into what was made, as an update of its own.
        { operationOf("convert-from", ".mp3", test::song), "; file.mp3 opened 1; new opened 3; other.out opened 2" },
        { operationOf("export-from", ".m4a", movie), "; file.m4a opened 1; new opened 1" },
        { operationOf("export-from", ".mp3", test::song), "; file.mp3 opened 1; new opened 1" },
    };
    std::vector<Operation> operations;
    for (const auto& row : rows)
        operations.push_back(row.operation);
    std::vector<Trace> traces = performed(operations);
    for (std::size_t i = 0; i < traces.size(); ++i)
        EXPECT_EQ(traces[i].opened(), rows[i].opened) << operations[i].name;
}

/// A song that is made ready to be streamed where it is exported: its new track has a number by chance.
Bytes streamableSong()
{
    test::ScratchFolder folder;
    std::string path = folder.file("song.m4a");
    test::outputOf("ffmpeg -nostdin -v error -f lavfi -i sine=d=1 -c:a aac " + path);
    return test::readFile(path);
}

// A closed process may open no device of chance, and FFmpeg's libraries work long where they have none.
TEST_F(OpeningsTest, ChanceComesFromNoFile)
{
    if (!test::haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    performed({ operationOf("export-from", ".m4a", streamableSong) });
    const std::string trace(charsOf(test::readFile(m_traceFile)));
    EXPECT_NE(trace.find("/file.m4a"), trace.npos);
    EXPECT_EQ(trace.find("random"), trace.npos);
}

} // namespace
} // namespace mv
