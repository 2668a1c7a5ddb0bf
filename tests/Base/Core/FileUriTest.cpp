#include "Base/Core/FileUri.h"

#include "Base/Core/Handle.h"

#include <glib.h>
#include <gtest/gtest.h>

namespace mv {
namespace {

std::string uriByGLib(const std::string& path)
{
    std::unique_ptr<char, CloseWith<g_free>> uri(g_filename_to_uri(path.c_str(), nullptr, nullptr));
    return uri ? uri.get() : "";
}

TEST(FileUri, EveryByteIsWrittenAsGLibDoes)
{
    for (int byte = 1; byte < 256; ++byte) {
        std::string path = std::string("/a") + static_cast<char>(byte) + "b";
        EXPECT_EQ(fileUri(path), uriByGLib(path)) << byte;
        EXPECT_EQ(pathOfFileUri(fileUri(path)).value(), path) << byte;
    }
    EXPECT_EQ(fileUri("/Musik/Größe 1; a.mp3"), "file:///Musik/Gr%C3%B6%C3%9Fe%201%3B%20a.mp3");
}

TEST(FileUri, PathsOfThisComputerAlone)
{
    EXPECT_EQ(pathOfFileUri("file:///a%20b").value(), "/a b");
    EXPECT_EQ(pathOfFileUri("file:/a").value(), "/a");
    EXPECT_EQ(pathOfFileUri("FILE://LocalHost/%c3%B6").value(), "/\xc3\xb6");
    for (const char* other :
        { "file://server/a", "http:///a", "file://", "file:a", "file:///a?b", "file:///a#b", "", "/a" })
        EXPECT_EQ(pathOfFileUri(other).ok(), false) << other;
}

TEST(FileUri, BadEscapesAreNoPath)
{
    for (const char* bad : { "file:///a%", "file:///a%2", "file:///a%2x", "file:///a%x2", "file:///a%00b" })
        EXPECT_FALSE(pathOfFileUri(bad).ok()) << bad;
    EXPECT_FALSE(pathOfFileUri(std::string_view("file:///a\0b", 10)).ok());
}

TEST(FileUri, IsToldByItsBeginning)
{
    EXPECT_TRUE(isFileUri("file:///a"));
    EXPECT_TRUE(isFileUri("File:/a"));
    EXPECT_FALSE(isFileUri("file"));
    EXPECT_FALSE(isFileUri("/file:/a"));
}

} // namespace
} // namespace mv
