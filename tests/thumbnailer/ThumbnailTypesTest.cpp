#include "thumbnailer/ThumbnailTypes.h"

#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <regex>
#include <set>
#include <sstream>

namespace mv {
namespace {

using testing::HasSubstr;

std::string textOf(const std::string& path)
{
    Bytes bytes = test::readFile(path);
    return { bytes.begin(), bytes.end() };
}

TEST(ThumbnailTypes, TheEndingOfTheNameDecides)
{
    EXPECT_EQ(thumbnailTypeOf("/a/b.JPG"), "image/jpeg");
    EXPECT_EQ(thumbnailTypeOf("b.heic"), "image/heif");
    EXPECT_EQ(thumbnailTypeOf("b.mkv"), "video/x-matroska");
    EXPECT_EQ(thumbnailTypeOf("b.txt"), "");
    EXPECT_EQ(thumbnailTypeOf("jpg"), "");
    EXPECT_EQ(thumbnailTypeOf("a.ts"), "");
    EXPECT_EQ(thumbnailTypeOf(""), "");
}

TEST(ThumbnailTypes, NoEndingStandsForTwo)
{
    std::istringstream lines(textOf(test::sourcePath("thumbnailer/types.list")));
    std::set<std::string> endings;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string type;
        words >> type;
        if (type.starts_with('#'))
            continue;
        for (std::string word; words >> word;) {
            if (word.starts_with('='))
                continue;
            EXPECT_TRUE(endings.insert(word).second) << word;
            EXPECT_EQ(thumbnailTypeOf("a." + word), type);
        }
    }
    EXPECT_GT(endings.size(), 50u);
}

TEST(ThumbnailTypes, DesktopEnvironmentsAreToldOfAll)
{
    std::string text = textOf(test::buildPath("thumbnailer/mivo.thumbnailer"));
    EXPECT_THAT(text, testing::StartsWith("[Thumbnailer Entry]\nTryExec=/"));
    EXPECT_THAT(text, HasSubstr("/mivo-thumbnailer -s %s %i %o\nMimeType=image/jpeg;"));
    for (const char* type : { "image/heic", "image/avif", "audio/mpeg", "audio/flac", "video/mp4", "video/x-matroska" })
        EXPECT_THAT(text, HasSubstr(std::string(";") + type + ";"));
    std::string types = text.substr(text.find("MimeType=") + 9);
    std::set<std::string> seen;
    std::regex one("([^;\n]+);");
    for (std::sregex_iterator at(types.begin(), types.end(), one); at != std::sregex_iterator(); ++at)
        EXPECT_TRUE(seen.insert((*at)[1]).second) << (*at)[1];
}

} // namespace
} // namespace mv
