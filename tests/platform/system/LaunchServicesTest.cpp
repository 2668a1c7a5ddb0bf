#include "platform/system/LaunchServices.h"

#include "tests/support/Eventually.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace mv {
namespace {

/// A script that writes its process facts to `report`, whole, by a rename.
std::string reportingScript(const std::string& report)
{
    return "#!/bin/sh\n{ ps -o sid= -p $$; ps -o ppid= -p $$; ls /proc/$$/fd | wc -l; readlink /proc/$$/fd/1; } > '"
        + report + ".new'\nmv '" + report + ".new' '" + report + "'\n";
}

std::string waitForReport(const std::string& path)
{
    test::eventually([&] { return std::filesystem::exists(path); });
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void makeExecutable(const std::string& path) { std::filesystem::permissions(path, std::filesystem::perms::owner_all); }

std::int32_t launch(const std::string& path)
{
    LSApplicationParameters parameters;
    EXPECT_EQ(FSPathMakeRef(path, parameters.application), 0);
    return LSOpenApplication(parameters);
}

TEST(LaunchServices, StartsAnExecutableFileDetached)
{
    test::ScratchFolder folder;
    std::string report = folder.file("report");
    std::string app = folder.write("Reporter.app", reportingScript(report));
    makeExecutable(app);
    ASSERT_EQ(launch(app), 0);
    std::istringstream text(waitForReport(report));
    long session = 0;
    long parent = 0;
    text >> session >> parent;
    EXPECT_NE(session, getsid(0)) << "a session of its own";
    EXPECT_NE(parent, getpid()) << "not a child of this process";
}

TEST(LaunchServices, StartsTheExecutableInAFolder)
{
    for (std::string inside : { "Reporter", "Contents/MacOS/Reporter" }) {
        test::ScratchFolder folder;
        std::string report = folder.file("report");
        makeExecutable(folder.write("Reporter.app/" + inside, reportingScript(report)));
        ASSERT_EQ(launch(folder.file("Reporter.app")), 0) << inside;
        EXPECT_FALSE(waitForReport(report).empty()) << inside;
    }
}

TEST(LaunchServices, NothingExecutableIsAnError)
{
    test::ScratchFolder folder;
    folder.write("Empty.app/readme", "nothing to run");
    EXPECT_NE(launch(folder.file("Empty.app")), 0);
    EXPECT_NE(launch(folder.write("Plain.app", "no mode bits")), 0);
    std::string broken = folder.write("Broken.app", "#!/no/such/interpreter\n");
    makeExecutable(broken);
    EXPECT_NE(launch(broken), 0);
    FSRef reference;
    EXPECT_EQ(FSPathMakeRef(folder.file("none"), reference), fnfErr);
    EXPECT_EQ(FSPathMakeRef(Path(), reference), paramErr);
}

} // namespace
} // namespace mv
