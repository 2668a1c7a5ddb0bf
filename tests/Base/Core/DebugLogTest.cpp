#include "Base/Core/DebugLog.h"
#include "Base/Core/NSBundle.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

/// A main bundle of the test's own.
class DebugLog : public testing::Test {
protected:
    DebugLog() { NSBundle::setMainExecutablePathForTesting(m_bundle.file("mivo-mediad")); }
    ~DebugLog() override { NSBundle::setMainExecutablePathForTesting(Path()); }

    void writeLevel(const std::string& value)
    {
        m_bundle.write("Resources/DEBUG.plist",
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key>" + value
                + "</dict></plist>\n");
    }

    test::ScratchFolder m_bundle;
    test::LogCapture m_log;
};

TEST_F(DebugLog, MissingFileIsLevelZero) { EXPECT_EQ(currentDebugLevel(), 0); }

TEST_F(DebugLog, ReadsAnXmlPropertyListAnewEachTime)
{
    writeLevel("<integer>3</integer>");
    EXPECT_EQ(currentDebugLevel(), 3);
    writeLevel("<integer>6</integer>");
    EXPECT_EQ(currentDebugLevel(), 6);
}

TEST_F(DebugLog, TheListMayLieBesideTheExecutable)
{
    m_bundle.write(
        "DEBUG.plist", "<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key><integer>4</integer></dict></plist>");
    EXPECT_EQ(currentDebugLevel(), 4);
    writeLevel("<integer>6</integer>");
    EXPECT_EQ(currentDebugLevel(), 6) << "the resources' folder comes first";
}

TEST_F(DebugLog, ReadsABinaryPropertyList)
{
    const std::string list("bplist00"
                           "\xD1\x01\x02\x5B"
                           "DEBUG_LEVEL\x10\x04\x08\x0B\x17\x00\x00\x00\x00\x00\x00\x01\x01\x00\x00\x00\x00\x00\x00"
                           "\x00\x03\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x19",
        60);
    m_bundle.write("Resources/DEBUG.plist", list);
    EXPECT_EQ(currentDebugLevel(), 4);
}

TEST_F(DebugLog, TextsAndFlagsCountAsIntegers)
{
    writeLevel("<string>5 loud</string>");
    EXPECT_EQ(currentDebugLevel(), 5);
    writeLevel("<true/>");
    EXPECT_EQ(currentDebugLevel(), 1);
    writeLevel("<date>2020-01-01T00:00:00Z</date>");
    EXPECT_EQ(currentDebugLevel(), 0);
}

TEST_F(DebugLog, BrokenOrForeignListsAreLevelZero)
{
    m_bundle.write("Resources/DEBUG.plist", "not a list");
    EXPECT_EQ(currentDebugLevel(), 0);
    m_bundle.write("Resources/DEBUG.plist", "<plist version=\"1.0\"><array><integer>9</integer></array></plist>");
    EXPECT_EQ(currentDebugLevel(), 0);
    m_bundle.write(
        "Resources/DEBUG.plist", "<plist version=\"1.0\"><dict><key>OTHER</key><integer>9</integer></dict></plist>");
    EXPECT_EQ(currentDebugLevel(), 0);
}

TEST_F(DebugLog, AGatedLineIsWrittenAtItsLevelAndAbove)
{
    writeLevel("<integer>2</integer>");
    writeDebugLog(3, "File.cpp", "-[Class method:]", 12, "message");
    EXPECT_TRUE(m_log.lines().empty());
    writeLevel("<integer>3</integer>");
    writeDebugLog(3, "File.cpp", "-[Class method:]", 12, "message");
    EXPECT_EQ(m_log.lines(), std::vector<std::string> { "[File.cpp:-[Class method:]-(12)] message" });
}

TEST_F(DebugLog, TheOldLevelFunctionIsAlwaysZero)
{
    writeLevel("<integer>9</integer>");
    EXPECT_EQ(GET_MV_DEBUG_LEVEL(), 0);
}

} // namespace
} // namespace mv
