#include "tests/support/FaultyPrograms.h"

#include "tests/support/Places.h"

#include <filesystem>

namespace mv::test {

namespace fs = std::filesystem;

namespace {

void place(const std::string& built, const std::string& copy)
{
    fs::create_directories(fs::path(copy).parent_path());
    std::error_code problem;
    fs::create_hard_link(buildPath(built), copy, problem);
    if (problem) // another file system
        fs::copy_file(buildPath(built), copy);
}

} // namespace

FaultyPrograms::FaultyPrograms(std::string_view fault)
{
    place("bin/mivo-mediad", service());
    place("tests/faulty_worker", worker());
    place("lib/mivo-ffmpeg.so", m_folder.file("lib/mivo-ffmpeg.so"));
    if (!fault.empty())
        m_folder.write("bin/fault", fault);
}

} // namespace mv::test
