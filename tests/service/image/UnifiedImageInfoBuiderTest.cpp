#include "service/image/UnifiedImageInfoBuider.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/NSBundle.h"
#include "Base/Core/NSException.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "system/DateText.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/LocalZone.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <limits>
#include <sys/stat.h>

namespace mv {
namespace {

using test::ByteOrder;
using test::ExifMaker;

constexpr auto Ifd0 = ExifMaker::Ifd0;

constexpr int TagModel = 0x0110;
constexpr int TagOrientation = 0x0112;
constexpr int TagDateTime = 0x0132;
constexpr int TagArtist = 0x013b;
constexpr int TagXPComment = 0x9c9c;

const std::string_view ExifKeys[] = { MediaDBPhotoColumnDatePictured, MediaDBPhotoColumnCameraModel,
    MediaDBPhotoColumnCreator, MediaDBPhotoColumnDescription, kPhotoOrientation };

/// The sizes that a little-endian TIFF file states.
std::pair<unsigned, unsigned> tiffSize(const Bytes& tiff)
{
    auto at = [&](std::size_t place, int count) {
        std::uint32_t value = 0;
        for (int i = count; i-- > 0;)
            value = value << 8 | tiff.at(place + static_cast<std::size_t>(i));
        return value;
    };
    std::pair<unsigned, unsigned> size { 0, 0 };
    std::size_t directory = at(4, 4);
    for (unsigned i = 0; i < at(directory, 2); ++i) {
        std::size_t entry = directory + 2 + i * 12;
        unsigned value = at(entry + 2, 2) == 3 ? at(entry + 8, 2) : at(entry + 8, 4);
        if (at(entry, 2) == 256)
            size.first = value;
        if (at(entry, 2) == 257)
            size.second = value;
    }
    return size;
}

/// A gray TIFF with a page of each size.
Bytes pagesOf(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& sizes)
{
    constexpr std::uint32_t EntryCount = 8;
    Bytes file;
    ByteWriter writer(file);
    writer.text("II");
    writer.u16le(42);
    writer.u32le(8);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        auto [width, height] = sizes[i];
        std::uint32_t pixels = static_cast<std::uint32_t>(file.size()) + 2 + EntryCount * 12 + 4;
        const std::uint32_t entries[EntryCount][2] { { 256, width }, { 257, height }, { 258, 8 }, { 259, 1 },
            { 262, 1 }, { 273, pixels }, { 278, height }, { 279, width * height } };
        writer.u16le(EntryCount);
        for (auto [tag, value] : entries) {
            writer.u16le(static_cast<std::uint16_t>(tag));
            writer.u16le(4);
            writer.u32le(1);
            writer.u32le(value);
        }
        writer.u32le(i + 1 < sizes.size() ? pixels + width * height : 0);
        writer.zeros(width * height);
    }
    return file;
}

class UnifiedImageInfoBuilderTest : public testing::Test {
protected:
    Record describe(const std::string& name, const Bytes& content)
    {
        auto record = m_builder.build(OpenedFile::at(m_folder.write(name, content)));
        EXPECT_TRUE(record) << name;
        return record.value_or(Record());
    }
    Record describe(const ExifMaker& maker) { return describe("a.jpg", test::jpegPicture(16, 8, maker.block())); }

    test::ScratchFolder m_folder;
    UnifiedImageInfoBuilder m_builder;
};

TEST_F(UnifiedImageInfoBuilderTest, DescribesAJpeg)
{
    Bytes jpeg = test::jpegPicture(640, 480);
    std::string path = m_folder.write("My.Photo.jpg", jpeg);
    Date before = Date::now();
    auto record = m_builder.build(OpenedFile::at(path));
    Date after = Date::now();
    ASSERT_TRUE(record);
    EXPECT_EQ(*record->string(MediaDBCommonColumnFilePath), path);
    EXPECT_EQ(*record->string(MediaDBCommonColumnFileName), "My.Photo.jpg");
    EXPECT_EQ(*record->find(MediaDBCommonColumnIsManaged), Value(false));
    EXPECT_GE(*record->date(MediaDBPhotoColumnDateAdded), before);
    EXPECT_LE(*record->date(MediaDBPhotoColumnDateAdded), after);
    EXPECT_EQ(*record->find(MediaDBCommonColumnFileSize), Value(static_cast<std::int64_t>(jpeg.size())));
    EXPECT_EQ(*record->find(MediaDBCommonColumnMediaType), Value(MVMediaTypeJPG));
    EXPECT_EQ(*record->string(MediaDBCommonColumnFileTypeString), "JPG");
    EXPECT_EQ(*record->string(MediaDBPhotoColumnTitle), "My.Photo");
    EXPECT_EQ(*record->find(MediaDBPhotoColumnWidth), Value(640));
    EXPECT_EQ(*record->find(MediaDBPhotoColumnHeight), Value(480));
    EXPECT_EQ(*record->find(MediaDBPhotoColumnRating), Value(0));
    EXPECT_EQ(*record->find(MediaDBPhotoColumnIsChecked), Value(false));
    EXPECT_EQ(*record->find(MediaDBCommonColumnLinkError), Value(false));
    for (std::string_view key : ExifKeys)
        EXPECT_FALSE(record->contains(key)) << key;
    for (std::string_view key : { MediaDBPhotoColumnLocation, MediaDBPhotoColumnTag, MediaDBPhotoColumnKeyword })
        EXPECT_FALSE(record->contains(key)) << key;
}

TEST_F(UnifiedImageInfoBuilderTest, KeepsTheOrderOfTheKeys)
{
    auto maker = ExifMaker().ascii(Ifd0, TagModel, "M").shortValue(Ifd0, TagOrientation, 6);
    std::vector<std::string> keys;
    for (const auto& [key, value] : describe(maker)) {
        if (key != MediaDBPhotoColumnDateCreated)
            keys.push_back(key);
    }
    EXPECT_THAT(keys,
        testing::ElementsAre("FilePath", "FileName", "IsManaged", "DateAdded", "FileSize", "MediaType",
            "FileTypeString", "Title", "CameraModel", "Orientation", "Image", "Width", "Height", "Rating", "IsChecked",
            "DateModified", "LinkError"));
}

TEST_F(UnifiedImageInfoBuilderTest, TheThumbnailKeepsTheProportionsWithinAHundred)
{
    struct Row {
        int width, height;
        unsigned thumbnailWidth, thumbnailHeight;
    };
    for (const Row& row :
        { Row { 640, 480, 100, 75 }, Row { 480, 640, 75, 100 }, Row { 50, 50, 100, 100 }, Row { 1000, 1, 100, 1 } }) {
        Record record = describe("a.jpg", test::jpegPicture(row.width, row.height));
        ASSERT_TRUE(record.data(MediaDBPhotoColumnImage));
        EXPECT_EQ(tiffSize(*record.data(MediaDBPhotoColumnImage)), std::pair(row.thumbnailWidth, row.thumbnailHeight));
    }
}

TEST_F(UnifiedImageInfoBuilderTest, DatesAreTheFileSystems)
{
    std::string path = m_folder.write("a.png", test::pngPicture(4, 4));
    timespec times[2] = { { 1000000000, 0 }, { 1234567890, 500000000 } };
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    auto record = m_builder.build(OpenedFile::at(path));
    EXPECT_EQ(*record->date(MediaDBPhotoColumnDateModified), Date::fromTimespec(1234567890, 500000000));
    auto created = attributesAt(path)->creationDate;
    EXPECT_EQ(record->contains(MediaDBPhotoColumnDateCreated), created.has_value());
    if (created) {
        EXPECT_EQ(*record->date(MediaDBPhotoColumnDateCreated), *created);
    }
}

class ExifOrders : public UnifiedImageInfoBuilderTest, public testing::WithParamInterface<ByteOrder> { };

TEST_P(ExifOrders, AJpegsExifFactsAreInTheRecord)
{
    ExifMaker maker(GetParam());
    maker.ascii(Ifd0, TagModel, "Model 5")
        .shortValue(Ifd0, TagOrientation, 6)
        .ascii(Ifd0, TagDateTime, "2013:05:01 12:00:00")
        .ascii(Ifd0, TagArtist, "J\xc3\xbcrgen");
    Record record = describe(maker);
    EXPECT_EQ(*record.date(MediaDBPhotoColumnDatePictured), *dateFromExifText("2013:05:01 12:00:00"));
    EXPECT_EQ(*record.string(MediaDBPhotoColumnCameraModel), "Model 5");
    EXPECT_EQ(*record.string(MediaDBPhotoColumnCreator), "J\xc3\xbcrgen");
    EXPECT_EQ(*record.string(kPhotoOrientation), "Right-top");
    EXPECT_FALSE(record.contains(MediaDBPhotoColumnDescription));
}

TEST_P(ExifOrders, ACommentIsTheOrientationToo)
{
    Record record = describe(ExifMaker(GetParam()).wide(Ifd0, TagXPComment, u"Holiday"));
    EXPECT_EQ(*record.string(MediaDBPhotoColumnDescription), "Holiday");
    EXPECT_EQ(*record.string(kPhotoOrientation), "Holiday");
}

INSTANTIATE_TEST_SUITE_P(Orders, ExifOrders, testing::Values(ByteOrder::Intel, ByteOrder::Motorola),
    [](const auto& row) { return row.param == ByteOrder::Intel ? "Intel" : "Motorola"; });

TEST_F(UnifiedImageInfoBuilderTest, OfCommentAndOrientationTheLaterEntryIsTheOrientation)
{
    Record comment
        = describe(ExifMaker().shortValue(Ifd0, TagOrientation, 6).wide(Ifd0, TagXPComment, u"\uc8fc\uc11d"));
    EXPECT_EQ(*comment.string(MediaDBPhotoColumnDescription), "\xec\xa3\xbc\xec\x84\x9d");
    EXPECT_EQ(*comment.string(kPhotoOrientation), "\xec\xa3\xbc\xec\x84\x9d");
    Record orientation = describe(ExifMaker().wide(Ifd0, TagXPComment, u"Holiday").shortValue(Ifd0, TagOrientation, 6));
    EXPECT_EQ(*orientation.string(MediaDBPhotoColumnDescription), "Holiday");
    EXPECT_EQ(*orientation.string(kPhotoOrientation), "Right-top");
}

TEST_F(UnifiedImageInfoBuilderTest, TextsOfOneByteOrNoneAreNotStored)
{
    Record record = describe(
        ExifMaker().ascii(Ifd0, TagModel, "").raw(Ifd0, TagArtist, 2, 0, {}).raw(Ifd0, TagXPComment, 1, 1, { 0 }));
    for (std::string_view key : ExifKeys)
        EXPECT_FALSE(record.contains(key)) << key;
    // Two bytes are stored, even when the text of them is empty.
    EXPECT_EQ(*describe(ExifMaker().raw(Ifd0, TagArtist, 2, 2, { 0, 0 })).string(MediaDBPhotoColumnCreator), "");
}

TEST_F(UnifiedImageInfoBuilderTest, TextsThatAreNotUtf8AreNotStored)
{
    EXPECT_FALSE(describe(ExifMaker().ascii(Ifd0, TagModel, "Caf\xe9")).contains(MediaDBPhotoColumnCameraModel));
}

TEST_F(UnifiedImageInfoBuilderTest, ADateOfAnotherLengthIsIgnored)
{
    for (const char* text : { "2013:05:01", "2013:05:01 12:00:00 ", "", "2013:13:01 12:00:0" })
        EXPECT_FALSE(describe(ExifMaker().ascii(Ifd0, TagDateTime, text)).contains(MediaDBPhotoColumnDatePictured))
            << text;
}

TEST_F(UnifiedImageInfoBuilderTest, ADatePaddedWithBlanksIsADate)
{
    Record record
        = describe(ExifMaker().ascii(Ifd0, TagDateTime, "2013: 5: 1 12: 0: 0").ascii(Ifd0, TagModel, "Model"));
    EXPECT_EQ(*record.date(MediaDBPhotoColumnDatePictured), *dateFromExifText("2013:05:01 12:00:00"));
    EXPECT_EQ(*record.string(MediaDBPhotoColumnCameraModel), "Model");
}

/// The camera's clock is read in the zone of the process; an offset in another entry does not count.
TEST_F(UnifiedImageInfoBuilderTest, TheDateIsLocalTime)
{
    constexpr int TagOffsetTime = 0x9010;
    ExifMaker exif;
    exif.ascii(Ifd0, TagDateTime, "2013:05:01 12:00:00").ascii(ExifMaker::ExifIfd, TagOffsetTime, "+03:00");
    for (auto [zone, seconds] : { std::pair { "UTC0", 1'367'409'600 }, { "KST-9", 1'367'377'200 } }) {
        test::LocalZone local(zone);
        EXPECT_EQ(*describe(exif).date(MediaDBPhotoColumnDatePictured), Date::fromSeconds(seconds)) << zone;
    }
}

TEST_F(UnifiedImageInfoBuilderTest, NineteenCharactersThatAreNoDateRaise)
{
    for (const char* text :
        { "2013:13:01 12:00:00", "0000:00:00 00:00:00", "    :  :     :  :  ", "2013-05-01 12:00:00",
            "\xc3\xa9"
            "013:05:01 12:00:00" }) {
        std::string path
            = m_folder.write("a.jpg", test::jpegPicture(16, 8, ExifMaker().ascii(Ifd0, TagDateTime, text).block()));
        try {
            m_builder.build(OpenedFile::at(path));
            ADD_FAILURE() << "no exception for " << text;
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), NSInvalidArgumentException);
            EXPECT_NE(exception.reason(), "");
        }
    }
}

TEST_F(UnifiedImageInfoBuilderTest, AnUnreadableDateOfAPngDoesNotMatter)
{
    Record record = describe(
        "a.png", test::pngPicture(8, 8, ExifMaker().ascii(Ifd0, TagDateTime, "2013:13:01 12:00:00").block()));
    EXPECT_FALSE(record.contains(MediaDBPhotoColumnDatePictured));
}

TEST_F(UnifiedImageInfoBuilderTest, OnlyTheNameOfAJpegGetsExifFacts)
{
    Bytes exif = ExifMaker().ascii(Ifd0, TagModel, "M").wide(Ifd0, TagXPComment, u"Holiday").block();
    Record png = describe("a.png", test::pngPicture(8, 8, exif));
    for (std::string_view key : ExifKeys)
        EXPECT_FALSE(png.contains(key)) << key;
    // The name decides, not the content.
    EXPECT_FALSE(describe("b.png", test::jpegPicture(8, 8, exif)).contains(MediaDBPhotoColumnCameraModel));
    Record upper = describe("b.JPEG", test::jpegPicture(8, 8, exif));
    EXPECT_EQ(*upper.string(MediaDBPhotoColumnCameraModel), "M");
    EXPECT_EQ(*upper.string(MediaDBCommonColumnFileTypeString), "JPG");
}

TEST_F(UnifiedImageInfoBuilderTest, APictureOfAnUnknownNameIsDescribed)
{
    Record record = describe("picture.dat", test::pngPicture(30, 20));
    EXPECT_EQ(*record.find(MediaDBCommonColumnMediaType), Value(0));
    EXPECT_EQ(*record.string(MediaDBCommonColumnFileTypeString), "UNKNOWN");
    EXPECT_EQ(*record.find(MediaDBPhotoColumnWidth), Value(30));
    EXPECT_EQ(*record.find(MediaDBPhotoColumnHeight), Value(20));
}

TEST_F(UnifiedImageInfoBuilderTest, WhatIsNoPictureIsNilWithoutALine)
{
    test::LogCapture log;
    std::string fifo = m_folder.file("fifo.jpg");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const Path& path : { Path(m_folder.write("text.jpg", std::string_view("no picture"))),
             Path(m_folder.write("empty.jpg", std::string_view())), Path(m_folder.file("missing.jpg")),
             Path(m_folder.path()), Path(fifo), Path() }) {
        EXPECT_FALSE(m_builder.build(OpenedFile::at(path))) << path.text();
        EXPECT_FALSE(m_builder.makeThumbnailWithMaxSize(OpenedFile::at(path), { 10, 10 })) << path.text();
    }
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(UnifiedImageInfoBuilderTest, ThumbnailDictionaryHasThreeKeys)
{
    auto thumbnail = m_builder.makeThumbnailWithMaxSize(
        OpenedFile::at(m_folder.write("a.jpg", test::jpegPicture(640, 480))), { 64, 64 });
    ASSERT_TRUE(thumbnail);
    EXPECT_EQ(thumbnail->size(), 3u);
    EXPECT_EQ(*thumbnail->find("width"), Value(640.0));
    EXPECT_EQ(*thumbnail->find("height"), Value(480.0));
    ASSERT_TRUE(thumbnail->data("data"));
    EXPECT_EQ(tiffSize(*thumbnail->data("data")), std::pair(64u, 48u));
}

TEST_F(UnifiedImageInfoBuilderTest, AMaximumBelowOneIsTheWholePicture)
{
    auto thumbnail = m_builder.makeThumbnailWithMaxSize(
        OpenedFile::at(m_folder.write("a.jpg", test::jpegPicture(64, 48))), { 0.5f, 0.5f });
    ASSERT_TRUE(thumbnail);
    EXPECT_EQ(tiffSize(*thumbnail->data("data")), std::pair(64u, 48u));
}

TEST_F(UnifiedImageInfoBuilderTest, OddMaximaAreSurvived)
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::string path = m_folder.write("a.jpg", test::jpegPicture(64, 48));
    for (float value : { nan, infinity, -infinity, -5.0f, 1e30f })
        EXPECT_FALSE(m_builder.makeThumbnailWithMaxSize(OpenedFile::at(path), { value, value })) << value;
    auto whole = m_builder.makeThumbnailWithMaxSize(OpenedFile::at(path), { 0, 0 });
    ASSERT_TRUE(whole);
    EXPECT_EQ(tiffSize(*whole->data("data")), std::pair(64u, 48u));
}

// The drawn picture is the first page, the stated size that of the largest.
TEST_F(UnifiedImageInfoBuilderTest, OfSeveralPagesTheFirstIsDrawnAndTheLargestIsStated)
{
    std::string path = m_folder.write("a.tif", pagesOf({ { 8, 16 }, { 60, 20 }, { 30, 10 } }));
    auto thumbnail = m_builder.makeThumbnailWithMaxSize(OpenedFile::at(path), { 100, 100 });
    ASSERT_TRUE(thumbnail);
    EXPECT_EQ(*thumbnail->find("width"), Value(60.0));
    EXPECT_EQ(*thumbnail->find("height"), Value(20.0));
    EXPECT_EQ(tiffSize(*thumbnail->data("data")), std::pair(50u, 100u));
    auto record = m_builder.build(OpenedFile::at(path));
    ASSERT_TRUE(record);
    EXPECT_EQ(*record->find(MediaDBPhotoColumnWidth), Value(8));
    EXPECT_EQ(*record->find(MediaDBPhotoColumnHeight), Value(16));
    EXPECT_EQ(tiffSize(*record->data(MediaDBPhotoColumnImage)), std::pair(50u, 100u));
}

TEST_F(UnifiedImageInfoBuilderTest, AHeaderWithoutPixelsIsDescribedWithoutAThumbnail)
{
    test::LogCapture log;
    Bytes jpeg = test::jpegPicture(640, 480, ExifMaker().ascii(Ifd0, TagModel, "Model").block());
    const Bytes scan { 0xFF, 0xDA };
    jpeg.erase(std::search(jpeg.begin(), jpeg.end(), scan.begin(), scan.end()) + 14, jpeg.end());
    Record record = describe("a.jpg", jpeg);
    EXPECT_FALSE(record.contains(MediaDBPhotoColumnImage));
    EXPECT_EQ(*record.find(MediaDBPhotoColumnWidth), Value(640));
    EXPECT_EQ(*record.string(MediaDBPhotoColumnCameraModel), "Model");
    EXPECT_FALSE(m_builder.makeThumbnailWithMaxSize(OpenedFile::at(m_folder.file("a.jpg")), { 10, 10 }));
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(UnifiedImageInfoBuilderTest, MissingArgumentsAreOneGatedLine)
{
    test::LogCapture log;
    Record record;
    UnifiedImageInfoBuilder::contentForeachEntry(nullptr, &record);
    EXPECT_TRUE(log.lines().empty());

    m_folder.write("Resources/DEBUG.plist",
        std::string_view("<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key><integer>3</integer></dict></plist>"));
    NSBundle::setMainExecutablePathForTesting(m_folder.file("program"));
    UnifiedImageInfoBuilder::contentForeachEntry(nullptr, &record);
    test::OwnExifEntry entry(EXIF_TAG_MODEL, EXIF_FORMAT_ASCII, "Model");
    UnifiedImageInfoBuilder::contentForeachEntry(entry.get(), nullptr);
    m_folder.write("Resources/DEBUG.plist",
        std::string_view("<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key><integer>2</integer></dict></plist>"));
    UnifiedImageInfoBuilder::contentForeachEntry(nullptr, &record);
    NSBundle::setMainExecutablePathForTesting({});

    EXPECT_TRUE(record.empty());
    EXPECT_THAT(log.lines(), testing::SizeIs(2));
    EXPECT_THAT(log.lines(),
        testing::Each(testing::MatchesRegex("\\[UnifiedImageInfoBuider:contentForeachEntry-\\(155\\)\\] invalid "
                                            "arguments entry\\(.*\\), arg\\(.*\\)")));
}

} // namespace
} // namespace mv
