// Real pictures against what other projects' own tests state of them.
#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "service/image/ExifExtractor.h"
#include "service/image/UnifiedImageInfoBuider.h"
#include "system/DateText.h"
#include "tests/support/Corpus.h"

#include <cstdlib>
#include <map>
#include <set>

namespace mv {
namespace {

using test::ExpectedRow;

/// Files whose answers differ from what is stated, and why.
struct Explained {
    std::string_view file;
    std::string_view key;
    const char* reason;
};

constexpr Explained ExplainedRows[] = {
    { "image/Panasonic_DMC-FZ30.jpg", "exif.Orientation",
        "the thumbnail's directory says another, and the last one wins" },
    { "image/geodegrees_as_string.jpg", "exif.Make",
        "stands in the EXIF directory, where the library knows no such tag" },
    { "image/geodegrees_as_string.jpg", "exif.Model", "the same" },
};

bool isExplained(const ExpectedRow& row)
{
    for (const Explained& one : ExplainedRows) {
        if (one.file == row.file && one.key == row.key)
            return true;
    }
    return false;
}

/// "59/10" or "4.0 mm" as a number.
double numberOf(const std::string& text)
{
    double first = std::strtod(text.c_str(), nullptr);
    auto slash = text.find('/');
    return slash == std::string::npos ? first : first / std::strtod(text.c_str() + slash + 1, nullptr);
}

std::string orientationText(const std::string& stated)
{
    static const std::map<std::string, std::string> Texts {
        { "1", "Top-left" },
        { "Horizontal (normal)", "Top-left" },
        { "3", "Bottom-right" },
        { "6", "Right-top" },
        { "8", "Left-bottom" },
        { "Rotate 270 CW", "Left-bottom" },
    };
    auto found = Texts.find(stated);
    return found == Texts.end() ? "?" + stated : found->second;
}

/// Other projects take the blanks off with which cameras fill their fields; the library's texts keep them.
MVExifInfo::Text withoutEndBlanks(MVExifInfo::Text text)
{
    while (text && text->ends_with(' '))
        text->pop_back();
    return text;
}

/// What the EXIF record should say for a stated value, and what it says; nothing for keys that it has no field for.
struct Comparison {
    std::string expected;
    MVExifInfo::Text found;
};

std::optional<Comparison> compare(const ExpectedRow& row, const MVExifInfo& info)
{
    if (row.key == "exif.Make")
        return Comparison { row.value, withoutEndBlanks(info.vendor) };
    if (row.key == "exif.Model")
        return Comparison { row.value, withoutEndBlanks(info.model) };
    if (row.key == "exif.ISO" || row.key == "exif.ISOSpeedRatings")
        return Comparison { row.value, info.iso };
    if (row.key == "exif.Orientation")
        return Comparison { orientationText(row.value), info.orientation };
    if (row.key == "exif.FNumber")
        return Comparison { formatText("f/%.1f", numberOf(row.value)), info.F_value };
    if (row.key == "exif.FocalLength") {
        auto text = info.focalLength;
        // The text may go on with the equivalent for 35 mm film.
        return Comparison { formatText("%.1f mm", numberOf(row.value)),
            text ? text->substr(0, text->find(" (")) : text };
    }
    if (row.key == "exif.DateTime") {
        auto date = dateFromExifText(row.value);
        std::string expected = std::to_string(date ? date->microseconds : 0);
        return Comparison { expected, info.date ? std::to_string(info.date->microseconds) : MVExifInfo::Text() };
    }
    return std::nullopt;
}

TEST(CorpusPictures, ExifRecordsAgreeWithOtherProjects)
{
    MV_NEEDS_CORPUS();
    int compared = 0;
    std::set<std::string> files;
    for (const ExpectedRow& row : test::corpusExpectations()) {
        // The EXIF library reads JPEG pictures.
        if (!row.file.starts_with("image/") || !row.file.ends_with(".jpg") || !row.key.starts_with("exif."))
            continue;
        auto info = ExifExtractor().extractExif(OpenedFile::at(test::corpusFile(row.file)));
        auto comparison = info ? compare(row, *info) : std::nullopt;
        if (info && !comparison)
            continue;
        if (isExplained(row)) {
            EXPECT_TRUE(!comparison || comparison->found != comparison->expected) << row.file << " " << row.key;
            continue;
        }
        ASSERT_TRUE(comparison) << row.file << " has no record";
        EXPECT_EQ(comparison->found, comparison->expected) << row.file << " " << row.key;
        files.insert(row.file);
        ++compared;
    }
    EXPECT_GE(compared, 149);
    EXPECT_GE(files.size(), 25u);
}

TEST(CorpusPictures, SizesAgreeWithOtherProjects)
{
    MV_NEEDS_CORPUS();
    int compared = 0;
    for (const ExpectedRow& row : test::corpusExpectations()) {
        bool isSize = row.key == "width" || row.key == "height";
        if (!row.file.starts_with("image/") || !isSize)
            continue;
        auto record = UnifiedImageInfoBuilder().build(OpenedFile::at(test::corpusFile(row.file)));
        ASSERT_TRUE(record) << row.file;
        auto key = row.key == "width" ? MediaDBPhotoColumnWidth : MediaDBPhotoColumnHeight;
        EXPECT_EQ(record->integer(key), std::atoi(row.value.c_str())) << row.file;
        ++compared;
    }
    EXPECT_GE(compared, 30);
}

TEST(CorpusPictures, CommentsAreInTheRecord)
{
    MV_NEEDS_CORPUS();
    auto record = UnifiedImageInfoBuilder().build(OpenedFile::at(test::corpusFile("image/made-xpcomment-II.jpg")));
    ASSERT_TRUE(record);
    EXPECT_EQ(*record->string(MediaDBPhotoColumnDescription), "Ein Kommentar – 주석");
    EXPECT_EQ(*record->string(MediaDBPhotoColumnCameraModel), "Model II");
    // The comment comes after the orientation in this file.
    EXPECT_EQ(*record->string(kPhotoOrientation), "Ein Kommentar – 주석");
    record = UnifiedImageInfoBuilder().build(OpenedFile::at(test::corpusFile("image/made-xpcomment-MM.jpg")));
    ASSERT_TRUE(record);
    // The library reads these texts least significant byte first in both byte orders, as writers write them.
    EXPECT_EQ(*record->string(MediaDBPhotoColumnDescription), "Big endian comment");
}

TEST(CorpusPictures, EveryPictureIsDescribedOrRefused)
{
    MV_NEEDS_CORPUS();
    int described = 0;
    for (const char* folder : { "image", "bad" }) {
        for (const std::string& file : test::corpusFiles(folder)) {
            ExifExtractor().extractExif(OpenedFile::at(test::corpusFile(file)));
            std::optional<Record> record;
            try {
                record = UnifiedImageInfoBuilder().build(OpenedFile::at(test::corpusFile(file)));
            } catch (const std::exception& exception) {
                // An unreadable date of the right length.
                EXPECT_NE(std::string(exception.what()), "") << file;
                continue;
            }
            // Without a thumbnail where the pixels turn out to be broken.
            if (!record)
                continue;
            EXPECT_GT(record->integer(MediaDBPhotoColumnWidth), 0) << file;
            EXPECT_GT(record->integer(MediaDBPhotoColumnHeight), 0) << file;
            ++described;
        }
    }
    EXPECT_GE(described, 60);
}

} // namespace
} // namespace mv
