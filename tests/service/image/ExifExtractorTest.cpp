#include "service/image/ExifExtractor.h"

#include "Base/Core/NSBundle.h"
#include "system/DateText.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace mv {
namespace {

using test::ByteOrder;
using test::ExifMaker;
using Directory = ExifMaker::Directory;
using Text = MVExifInfo::Text;

constexpr auto Ifd0 = ExifMaker::Ifd0;
constexpr auto Exif = ExifMaker::ExifIfd;

class ExifExtractorTest : public testing::TestWithParam<ByteOrder> {
protected:
    std::shared_ptr<MVExifInfo> extract(const ExifMaker& maker)
    {
        return ExifExtractor().extractExif(
            OpenedFile::at(m_folder.write("a.jpg", test::jpegPicture(8, 8, maker.block()))));
    }
    test::ScratchFolder m_folder;
};

TEST_P(ExifExtractorTest, EveryFieldComesFromItsTag)
{
    ExifMaker maker(GetParam());
    maker.ascii(Ifd0, 0x010f, "Maker")
        .ascii(Ifd0, 0x0110, "Model 5")
        .shortValue(Ifd0, 0x0112, 1)
        .ascii(Ifd0, 0x0132, "2013:05:01 12:00:00")
        .rational(Exif, 0x829d, 28, 10)
        .shortValue(Exif, 0x8822, 2)
        .shortValue(Exif, 0x8827, 400)
        .undefined(Exif, 0x9000, "0221")
        .signedRational(Exif, 0x9201, 7, 1)
        .signedRational(Exif, 0x9204, -1, 3)
        .rational(Exif, 0x9205, 3, 1)
        .shortValue(Exif, 0x9207, 5)
        .shortValue(Exif, 0x9209, 0x19)
        .rational(Exif, 0x920a, 50, 1)
        .shortValue(Exif, 0xa001, 1)
        .rational(Exif, 0xa20b, 12, 1)
        .shortValue(Exif, 0xa403, 1)
        .shortValue(Exif, 0xa406, 2);
    auto info = extract(maker);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->vendor, "Maker");
    EXPECT_EQ(info->model, "Model 5");
    EXPECT_EQ(info->orientation, "Top-left");
    EXPECT_EQ(info->maxAperture, "3.00 EV (f/2.8)");
    EXPECT_EQ(info->focalLength, "50.0 mm");
    EXPECT_EQ(info->shutterSpeed, "7.00 EV (1/128 sec.)");
    EXPECT_EQ(info->F_value, "f/2.8");
    EXPECT_EQ(info->exposureBias, "-0.33 EV");
    EXPECT_EQ(info->exposureProgram, "Normal program");
    EXPECT_EQ(info->meteringMode, "Pattern");
    EXPECT_EQ(info->iso, "400");
    EXPECT_EQ(info->whiteBalance, "Manual white balance");
    EXPECT_EQ(info->flash, "Flash fired, auto mode");
    EXPECT_EQ(info->flashMode, "12");
    EXPECT_EQ(info->colorSpace, "sRGB");
    EXPECT_EQ(info->sceneCaptureType, "Portrait");
    EXPECT_EQ(info->version, "Exif Version 2.21");
    EXPECT_EQ(info->redEyeReduction, "No red-eye reduction mode or unknown");
    EXPECT_EQ(info->versionNumber, 221);
    EXPECT_EQ(info->date, dateFromExifText("2013:05:01 12:00:00"));
}

INSTANTIATE_TEST_SUITE_P(Orders, ExifExtractorTest, testing::Values(ByteOrder::Intel, ByteOrder::Motorola),
    [](const auto& row) { return row.param == ByteOrder::Intel ? "Intel" : "Motorola"; });

class ExifExtractorFacts : public ExifExtractorTest { };

TEST_F(ExifExtractorFacts, FieldsWithoutTheirTagStayEmpty)
{
    auto info = extract(ExifMaker().ascii(Ifd0, 0x010f, "Maker"));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->vendor, "Maker");
    EXPECT_EQ(info->model, Text());
    EXPECT_EQ(info->flash, Text());
    EXPECT_EQ(info->redEyeReduction, Text());
    EXPECT_EQ(info->date, std::nullopt);
}

TEST_F(ExifExtractorFacts, EntriesThatTheLibraryInventsCount)
{
    auto info = extract(ExifMaker().ascii(Ifd0, 0x010f, "Maker").shortValue(Exif, 0x9209, 0x41));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->versionNumber, 210);
    EXPECT_EQ(info->version, "Exif Version 2.1");
    EXPECT_TRUE(info->colorSpace.has_value());
    // Invented entries come last, so the flash entry did not know the version yet.
    EXPECT_EQ(info->redEyeReduction, Text());
}

struct RedEyeRow {
    ByteOrder order;
    const char* version;
    unsigned flash;
    Text expected;
};

TEST_F(ExifExtractorFacts, RedEyeReductionByVersionAndFirstRawByte)
{
    const Text supported = "Red-eye reduction supported";
    const Text unknown = "No red-eye reduction mode or unknown";
    const RedEyeRow Rows[] = {
        { ByteOrder::Intel, "0221", 0x41, supported },
        { ByteOrder::Intel, "0220", 0x41, supported },
        { ByteOrder::Intel, "0230", 0x01, unknown },
        { ByteOrder::Intel, "0210", 0x41, Text() },
        { ByteOrder::Intel, "0219", 0x41, Text() },
        // The high byte comes first.
        { ByteOrder::Motorola, "0221", 0x41, unknown },
        { ByteOrder::Motorola, "0221", 0x4100, supported },
    };
    for (const RedEyeRow& row : Rows) {
        auto info
            = extract(ExifMaker(row.order).undefined(Exif, 0x9000, row.version).shortValue(Exif, 0x9209, row.flash));
        ASSERT_TRUE(info);
        EXPECT_EQ(info->redEyeReduction, row.expected) << row.version << " " << row.flash;
    }
}

TEST_F(ExifExtractorFacts, RedEyeReductionNeedsTheVersionFirst)
{
    auto info = extract(ExifMaker().shortValue(Exif, 0x9209, 0x41).undefined(Exif, 0x9000, "0230"));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->versionNumber, 230);
    EXPECT_EQ(info->redEyeReduction, Text());
}

struct VersionRow {
    const char* raw;
    std::int32_t number;
};

TEST_F(ExifExtractorFacts, VersionNumberIsReadFromTheFrontOfTheRawBytes)
{
    const VersionRow Rows[] = {
        { "0220", 220 },
        { "0230", 230 },
        { "0210", 210 },
        { "02x0", 2 },
        { "x220", 0 },
        { " 220", 220 },
        { "-100", -100 },
    };
    for (const VersionRow& row : Rows)
        EXPECT_EQ(extract(ExifMaker().undefined(Exif, 0x9000, row.raw))->versionNumber, row.number) << row.raw;
}

TEST_F(ExifExtractorFacts, DateNeedsExactlyNineteenCharactersThatAreADate)
{
    auto date = [&](const char* text) { return extract(ExifMaker().ascii(Ifd0, 0x0132, text))->date; };
    EXPECT_EQ(date("2013:05:01 12:00:00"), dateFromExifText("2013:05:01 12:00:00"));
    EXPECT_EQ(date("2013: 5: 1 12: 0: 0"), dateFromExifText("2013:05:01 12:00:00"));
    EXPECT_EQ(date("2013:05:01 12:00:00 "), std::nullopt);
    EXPECT_EQ(date("2013:05:01"), std::nullopt);
    EXPECT_EQ(date("2013:13:01 12:00:00"), std::nullopt);
    EXPECT_EQ(date("    :  :     :  :  "), std::nullopt);
    EXPECT_EQ(date(""), std::nullopt);
}

TEST_F(ExifExtractorFacts, ALaterUnreadableDateReplacesAnEarlierOne)
{
    MVExifInfo info;
    info.date = Date::fromSeconds(1);
    test::OwnExifEntry entry(EXIF_TAG_DATE_TIME, EXIF_FORMAT_ASCII, "2013:13:01 12:00:00");
    ExifExtractor::contentForeachEntry(entry.get(), &info);
    EXPECT_EQ(info.date, std::nullopt);
}

TEST_F(ExifExtractorFacts, EntriesWithoutBytesAreHarmless)
{
    MVExifInfo info;
    info.versionNumber = 230;
    test::OwnExifEntry flash(EXIF_TAG_FLASH, EXIF_FORMAT_SHORT, "");
    ExifExtractor::contentForeachEntry(flash.get(), &info);
    EXPECT_EQ(info.redEyeReduction, "No red-eye reduction mode or unknown");
    test::OwnExifEntry version(EXIF_TAG_EXIF_VERSION, EXIF_FORMAT_UNDEFINED, "");
    ExifExtractor::contentForeachEntry(version.get(), &info);
    EXPECT_EQ(info.versionNumber, 0);
}

TEST_F(ExifExtractorFacts, EmptyTextIsStored) { EXPECT_EQ(extract(ExifMaker().ascii(Ifd0, 0x010f, ""))->vendor, ""); }

TEST_F(ExifExtractorFacts, BytesThatAreNotUtf8GiveNil)
{
    auto info = extract(ExifMaker().ascii(Ifd0, 0x010f, "Caf\xe9").ascii(Ifd0, 0x0110, "Caf\xc3\xa9"));
    EXPECT_EQ(info->vendor, Text());
    EXPECT_EQ(info->model, "Caf\xc3\xa9");
}

TEST_F(ExifExtractorFacts, TextsAreCutAtTheBuffersSize)
{
    auto info = extract(ExifMaker().ascii(Ifd0, 0x010f, std::string(2000, 'm')));
    EXPECT_EQ(info->vendor, std::string(1023, 'm'));
    // Cut within a character, so no text.
    EXPECT_EQ(extract(ExifMaker().ascii(Ifd0, 0x010f,
                          std::string(1022, 'm')
                              + "\xc3\xa9"
                                "m"))
                  ->vendor,
        Text());
}

TEST_F(ExifExtractorFacts, TheLastDirectoryWins)
{
    auto maker = ExifMaker().ascii(Ifd0, 0x010f, "First").ascii(ExifMaker::Ifd1, 0x010f, "Second");
    // The library forgets the second directory unless it has a thumbnail.
    EXPECT_EQ(extract(maker)->vendor, "First");
    EXPECT_EQ(extract(maker.thumbnail(test::jpegPicture(8, 8)))->vendor, "Second");
}

TEST_F(ExifExtractorFacts, OfTwoEntriesInOneDirectoryTheLibraryKeepsTheFirst)
{
    EXPECT_EQ(extract(ExifMaker().ascii(Ifd0, 0x0110, "First").ascii(Ifd0, 0x0110, "Second"))->model, "First");
}

TEST_F(ExifExtractorFacts, NoBlockIsNil)
{
    ExifExtractor extractor;
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(m_folder.write("none.jpg", test::jpegPicture(8, 8)))));
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(m_folder.write("a.png", test::pngPicture(8, 8)))));
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(m_folder.write("a.txt", std::string_view("no picture")))));
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(m_folder.write("empty.jpg", std::string_view()))));
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(m_folder.file("missing.jpg"))));
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(m_folder.path())));
    EXPECT_FALSE(extractor.extractExif(OpenedFile::at(Path())));
}

TEST_F(ExifExtractorFacts, AFifoIsNilAtOnce)
{
    std::string path = m_folder.file("fifo.jpg");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(ExifExtractor().extractExif(OpenedFile::at(path)));
}

TEST_F(ExifExtractorFacts, ABlockWithoutEntriesIsAnEmptyRecord)
{
    auto info = ExifExtractor().extractExif(OpenedFile::at(
        m_folder.write("g.jpg", test::jpegPicture(8, 8, { 'E', 'x', 'i', 'f', 0, 0, 9, 9, 9, 9, 9, 9, 9, 9 }))));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->vendor, Text());
    EXPECT_EQ(info->versionNumber, 0);
}

TEST_F(ExifExtractorFacts, TheNameDoesNotMatter)
{
    Bytes jpeg = test::jpegPicture(8, 8, ExifMaker().ascii(Ifd0, 0x010f, "Maker").block());
    EXPECT_EQ(ExifExtractor().extractExif(OpenedFile::at(m_folder.write("song.mp3", jpeg)))->vendor, "Maker");
}

TEST_F(ExifExtractorFacts, ABlockBehindOtherSegmentsIsFound)
{
    Bytes exif = test::jpegPicture(8, 8, ExifMaker().ascii(Ifd0, 0x010f, "Maker").block());
    Bytes jpeg { 0xff, 0xd8 };
    for (int i = 0; i < 40; ++i) {
        Bytes segment(2 + 0xfff0, 0x20);
        segment[0] = 0xff;
        segment[1] = 0xe2;
        segment[2] = 0xff;
        segment[3] = 0xf0;
        jpeg.insert(jpeg.end(), segment.begin(), segment.end());
    }
    jpeg.insert(jpeg.end(), exif.begin() + 2, exif.end());
    auto info = ExifExtractor().extractExif(OpenedFile::at(m_folder.write("far.jpg", jpeg)));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->vendor, "Maker");
}

TEST_F(ExifExtractorFacts, MissingArgumentsAreOneGatedLine)
{
    test::LogCapture log;
    MVExifInfo info;
    ExifExtractor::contentForeachEntry(nullptr, &info);
    EXPECT_TRUE(log.lines().empty());

    m_folder.write("Resources/DEBUG.plist",
        std::string_view("<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key><integer>3</integer></dict></plist>"));
    NSBundle::setMainExecutablePathForTesting(m_folder.file("program"));
    ExifExtractor::contentForeachEntry(nullptr, &info);
    NSBundle::setMainExecutablePathForTesting({});
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines()[0],
        testing::MatchesRegex(
            "\\[ExifExtractor:contentForeachEntry-\\(14\\)\\] invalid arguments entry\\(.*\\), arg\\(0x[0-9a-f]+\\)"));
}

TEST(MVExifInfoTest, StartsEmpty)
{
    MVExifInfo info;
    EXPECT_EQ(info.vendor, Text());
    EXPECT_EQ(info.redEyeReduction, Text());
    EXPECT_EQ(info.versionNumber, 0);
    EXPECT_EQ(info.date, std::nullopt);
}

TEST(MVExifInfoTest, SetValuesPutsTheVersionIntoTheVendor)
{
    MVExifInfo source { "A", "model", "orientation", "maxAperture", "focalLength", "shutterSpeed", "F", "bias",
        "program", "metering", "iso", "white", "flash", "flashMode", "color", "scene", "0220", "red", 220,
        Date::fromSeconds(5) };
    MVExifInfo target;
    target.version = "own";
    target.vendor = "before";
    target.setValues(source);
    EXPECT_EQ(target.vendor, "0220");
    EXPECT_EQ(target.version, "own");
    EXPECT_EQ(target.model, "model");
    EXPECT_EQ(target.orientation, "orientation");
    EXPECT_EQ(target.maxAperture, "maxAperture");
    EXPECT_EQ(target.focalLength, "focalLength");
    EXPECT_EQ(target.shutterSpeed, "shutterSpeed");
    EXPECT_EQ(target.F_value, "F");
    EXPECT_EQ(target.exposureBias, "bias");
    EXPECT_EQ(target.exposureProgram, "program");
    EXPECT_EQ(target.meteringMode, "metering");
    EXPECT_EQ(target.iso, "iso");
    EXPECT_EQ(target.whiteBalance, "white");
    EXPECT_EQ(target.flash, "flash");
    EXPECT_EQ(target.flashMode, "flashMode");
    EXPECT_EQ(target.colorSpace, "color");
    EXPECT_EQ(target.sceneCaptureType, "scene");
    EXPECT_EQ(target.redEyeReduction, "red");
    EXPECT_EQ(target.versionNumber, 220);
    EXPECT_EQ(target.date, Date::fromSeconds(5));
}

TEST(MVExifInfoTest, SetValuesFromItselfReplacesTheVendorOnly)
{
    MVExifInfo info;
    info.vendor = "A";
    info.version = "0220";
    info.setValues(info);
    EXPECT_EQ(info.vendor, "0220");
    EXPECT_EQ(info.version, "0220");
}

} // namespace
} // namespace mv
