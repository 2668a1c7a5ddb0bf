// Cameras, exposures and places, beside what exiftool says of the pictures.
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

namespace mv::test {
namespace {

struct KeyPair {
    std::string_view theirs; ///< with its group
    std::string_view ours;
};

constexpr KeyPair Keys[] = {
    { "IFD0:Make", fact::CameraMake },
    { "IFD0:Model", fact::CameraModel },
    { "ExifIFD:LensModel", fact::Lens },
    { "ExifIFD:ExposureTime", fact::ExposureTime },
    { "ExifIFD:FNumber", fact::FNumber },
    { "ExifIFD:FocalLength", fact::FocalLength },
    { "ExifIFD:ISO", fact::Iso },
    { "Composite:GPSLatitude", fact::Latitude },
    { "Composite:GPSLongitude", fact::Longitude },
    { "Composite:GPSAltitude", fact::Altitude },
    { "IFD0:Orientation", fact::Orientation },
    { "ExifIFD:DateTimeOriginal", fact::ContentCreated },
    { "File:ImageWidth", fact::Width },
    { "File:ImageHeight", fact::Height },
};

/// What differs, and why.
const std::map<std::string, std::string> Explained {
    { "image/geodegrees_as_string.jpg Composite:GPSLatitude", "a text where numbers belong" },
    { "image/geodegrees_as_string.jpg Composite:GPSLongitude", "a text where numbers belong" },
    { "image/geodegrees_as_string.jpg ExifIFD:ExposureTime", "0 is no time" },
    { "image/GPS.jpg ExifIFD:FocalLength", "0 is no length" },
    { "image/GPS.jpg ExifIFD:ISO", "0 is no sensitivity" },
};

using Said = std::map<std::string, std::map<std::string, std::string>>;

/// Of all pictures in one run: lines of a file's name, of its group and tag, and of the value.
Said exiftoolSays()
{
    std::string list;
    for (const KeyPair& key : Keys)
        list += " -" + std::string(key.theirs);
    std::istringstream lines(outputOf(
        "cd " + shellQuoted(corpusFolder()) + " && exiftool -n -G1 -s -r" + list + " image 2>/dev/null || true"));
    Said said;
    std::string line;
    std::string file;
    while (std::getline(lines, line)) {
        if (line.starts_with("======== ")) {
            file = line.substr(9);
            continue;
        }
        // "[IFD0]          Make                            : Canon"
        auto close = line.find(']');
        auto colon = line.find(": ");
        if (!line.starts_with('[') || close == std::string::npos || colon == std::string::npos)
            continue;
        std::string tag = line.substr(close + 1, colon - close - 1);
        tag.erase(0, tag.find_first_not_of(' '));
        tag.erase(tag.find_last_not_of(' ') + 1);
        said[file][line.substr(1, close - 1) + ":" + tag] = line.substr(colon + 2);
    }
    return said;
}

bool isSame(std::string_view key, std::string theirs, const std::string& ours)
{
    if (key == "ExifIFD:DateTimeOriginal") {
        // Ours has an offset where the file states one.
        theirs.replace(4, 1, "-").replace(7, 1, "-").replace(10, 1, "T");
        return ours.starts_with(theirs);
    }
    char* end = nullptr;
    double number = std::strtod(theirs.c_str(), &end);
    if (end && *end == '\0' && !theirs.empty())
        return !ours.empty()
            && std::abs(number - std::strtod(ours.c_str(), nullptr)) <= 1e-4 * std::max(1.0, std::abs(number));
    theirs.erase(theirs.find_last_not_of(' ') + 1);
    return theirs == ours;
}

TEST(CorpusPictures, AreWhatExiftoolSays)
{
    MV_NEEDS_CORPUS();
    if (!haveProgram("exiftool"))
        GTEST_SKIP() << "exiftool is not here (libimage-exiftool-perl)";
    int compared = 0;
    std::set<std::string> differing;
    for (const auto& [file, tags] : exiftoolSays()) {
        auto facts = describedCorpusFile(file);
        ASSERT_TRUE(facts.ok()) << file;
        for (const KeyPair& key : Keys) {
            auto said = tags.find(std::string(key.theirs));
            if (said == tags.end() || said->second.empty())
                continue;
            ++compared;
            std::string ours = textOf(*facts, key.ours);
            if (isSame(key.theirs, said->second, ours))
                continue;
            std::string name = file + " " + std::string(key.theirs);
            EXPECT_TRUE(Explained.contains(name)) << name << ": " << ours << " in place of " << said->second;
            differing.insert(name);
        }
    }
    EXPECT_EQ(differing.size(), Explained.size()) << "something explained is the same now";
    EXPECT_GT(compared, 350);
}

} // namespace
} // namespace mv::test
