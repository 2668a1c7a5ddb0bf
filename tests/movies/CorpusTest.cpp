#include "tests/support/Corpus.h"
#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "platform/QTKit.h"
#include "system/DateText.h"
#include "tests/support/LocalZone.h"

#include <gmock/gmock.h>
#include <map>
#include <set>

namespace mv {
namespace {

using test::ExpectedRow;

struct Difference {
    const char* reason;
    double seconds = 0; ///< our duration; 0: it does not open, or has none
};

/// Rows that we answer differently, each with the reason.
const std::map<std::pair<std::string, std::string>, Difference> kDifferences {
    { { "audio/Twinkle.mid", "tracks" }, { "MIDI is notes, not sound" } },
    { { "audio/Twinkle.mid", "track0.sampleMimeType" }, { "MIDI is notes, not sound" } },
    { { "audio/sample.mid", "duration_s" }, { "MIDI is notes, not sound" } },
    { { "audio/empty.aac", "duration_s" }, { "160 frames of 1,024 samples, counted; the source guesses", 3.715193 } },
    { { "audio/full.wma", "duration_s" }, { "the header says that it ends 3,852 bytes before the media begin" } },
    { { "audio/full.wma", "title" }, { "the header says that it ends 3,852 bytes before the media begin" } },
    { { "bad/106-short-picture-block-size.flac", "duration_s" }, { "a picture block without its end is refused" } },
    { { "bad/non-motion-photo-shortened.jpg", "tracks" }, { "a picture" } },
    { { "bad/non-motion-photo-shortened.jpg", "track1024.sampleMimeType" }, { "a picture" } },
    { { "bad/sample_missing_stsd.mp4", "duration_us" }, { "as the movie header says, not the sound track", 1.024 } },
    { { "bad/sample_missing_stsd.mp4", "tracks" },
        { "a track without sample descriptions does not count there", 1.024 } },
    { { "video/sample_empty_track.mp4", "tracks" }, { "a track without samples does not count there", 1.0656 } },
    { { "bad/truncated-64bit.mp4", "duration_s" }, { "as the movie header says, not the sound track", 184 / 600.0 } },
    { { "video/sample_partially_fragmented.mp4", "duration_us" },
        { "with its fragments, as it plays; the source takes the movie header, which counts what stands in front",
            1.155 } },
    { { "video/RIFF.avi", "composite.Duration" }, { "the file holds no frame: the header alone promises them" } },
};

/// What another project's names of codecs are as data formats.
const std::map<std::string, std::set<std::string>> Formats {
    { "video/avc", { "avc1" } },
    { "video/hevc", { "hvc1", "hev1" } },
    { "video/mp4v-es", { "mp4v", "FMP4" } },
    { "audio/mp4a-latm", { "mp4a" } },
    { "audio/opus", { "Opus" } },
    { "audio/vorbis", { "XiVs" } },
    { "audio/mpeg", { ".mp3" } },
    { "audio/ac3", { "ac-3" } },
    { "audio/3gpp", { "samr" } },
    { "audio/amr-wb", { "sawb" } },
    { "audio/raw", { "sowt", "twos", "ima4" } },
};

bool isOurs(const std::string& file)
{
    return file.starts_with("video/") || file.starts_with("audio/") || file.starts_with("bad/");
}

class CorpusTest : public testing::Test {
protected:
    /// Null where the file does not open.
    QTMovie* movieOf(const std::string& file)
    {
        auto known = m_movies.find(file);
        if (known == m_movies.end()) {
            auto movie = QTKit::shared().initWithFile(OpenedFile::at(test::corpusFile(file)));
            known = m_movies.emplace(file, movie ? std::move(*movie) : nullptr).first;
        }
        return known->second.get();
    }
    /// Every row whose key passes, differences left out; each must be of a file that opens.
    template <class Test, class Check> int checkRows(Test isMeant, Check check)
    {
        int count = 0;
        for (const ExpectedRow& row : test::corpusExpectations()) {
            if (!isOurs(row.file) || !isMeant(row.key) || kDifferences.count({ row.file, row.key }))
                continue;
            QTMovie* movie = movieOf(row.file);
            EXPECT_TRUE(movie) << row.file;
            if (!movie)
                continue;
            SCOPED_TRACE(row.file + " " + row.key + " " + row.value + " " + row.origin);
            check(*movie, row);
            ++count;
        }
        return count;
    }

    std::map<std::string, std::unique_ptr<QTMovie>> m_movies;
};

double secondsOf(const QTMovie& movie)
{
    double seconds = 0;
    QTGetTimeInterval(movie.duration(), &seconds);
    return seconds;
}

NSSize sizeOf(const QTMovie& movie) { return movie.attribute<NSSize>(QTMovieNaturalSizeAttribute).value_or(NSSize {}); }

bool startsAndEnds(const std::string& key, const char* start, const char* end)
{
    return key.starts_with(start) && key.ends_with(end);
}

TEST_F(CorpusTest, Durations)
{
    MV_NEEDS_CORPUS();
    const std::map<std::string, double> units { { "duration_us", 1e-6 }, { "duration_ms", 1e-3 }, { "duration_s", 1 },
        { "composite.Duration", 1 }, { "qt.Duration", 1 } };
    int rows = checkRows([&](const std::string& key) { return units.count(key); },
        [&](const QTMovie& movie, const ExpectedRow& row) {
            double expected = std::strtod(row.value.c_str(), nullptr) * units.at(row.key);
            // The sources print two places at worst; and a transport stream's last frame has a length for us.
            double tolerance = row.file.ends_with(".ts") ? 0.11 : 0.011;
            EXPECT_NEAR(secondsOf(movie), expected, tolerance);
        });
    EXPECT_EQ(rows, 27);
}

TEST_F(CorpusTest, Codecs)
{
    MV_NEEDS_CORPUS();
    int rows = checkRows([](const std::string& key) { return startsAndEnds(key, "track", ".sampleMimeType"); },
        [](const QTMovie& movie, const ExpectedRow& row) {
            auto formats = Formats.find(row.value);
            if (formats == Formats.end())
                return;
            bool found = false;
            for (const QTTrack& track : movie.tracks())
                found
                    |= formats->second.count(fourCharacterText(GetMediaSampleDescription(track.media, 1).value_or(0)));
            EXPECT_TRUE(found);
        });
    EXPECT_EQ(rows, 30);
}

TEST_F(CorpusTest, Sizes)
{
    MV_NEEDS_CORPUS();
    auto isSide = [](const std::string& key) {
        return key == "width" || key == "height" || startsAndEnds(key, "track", ".width")
            || startsAndEnds(key, "track", ".height");
    };
    int rows = checkRows(isSide, [](const QTMovie& movie, const ExpectedRow& row) {
        NSSize size = sizeOf(movie);
        // The source tells sizes before turning.
        if (row.file == "video/sample_rotate_and_reflect.mp4")
            std::swap(size.width, size.height);
        EXPECT_EQ(row.key.ends_with("width") ? size.width : size.height, std::stof(row.value));
    });
    EXPECT_EQ(rows, 32);
}

TEST_F(CorpusTest, Titles)
{
    MV_NEEDS_CORPUS();
    int rows = checkRows([](const std::string& key) { return key == "title"; },
        [](const QTMovie& movie, const ExpectedRow& row) {
            EXPECT_EQ(movie.attribute<std::string>(QTMovieDisplayNameAttribute), row.value);
        });
    EXPECT_EQ(rows, 10);
}

TEST_F(CorpusTest, Tracks)
{
    MV_NEEDS_CORPUS();
    int rows = checkRows([](const std::string& key) { return key == "tracks"; },
        [](const QTMovie& movie, const ExpectedRow& row) { EXPECT_EQ(movie.tracks().size(), std::stoul(row.value)); });
    EXPECT_EQ(rows, 19);
}

TEST_F(CorpusTest, TimesOfCreation)
{
    MV_NEEDS_CORPUS();
    test::LocalZone zone("UTC0");
    int rows
        = checkRows([](const std::string& key) { return key == "qt.Create Date" || key == "riff.Date/Time Original"; },
            [](const QTMovie& movie, const ExpectedRow& row) {
                EXPECT_EQ(movie.attribute<Date>(QTMovieCreationTimeAttribute), dateFromExifText(row.value));
            });
    EXPECT_EQ(rows, 2);
}

TEST_F(CorpusTest, TheDifferencesAreReal)
{
    MV_NEEDS_CORPUS();
    for (const auto& [row, difference] : kDifferences) {
        QTMovie* movie = movieOf(row.first);
        EXPECT_NEAR(movie ? secondsOf(*movie) : 0, difference.seconds, 1e-6) << row.first << ": " << difference.reason;
    }
}

/// Every video of the corpus shows a picture, but those that hold none.
TEST_F(CorpusTest, Pictures)
{
    MV_NEEDS_CORPUS();
    const std::set<std::string> withoutFrames { "video/QuickTime.mov", "video/RIFF.avi" };
    int shown = 0;
    for (const std::string& file : test::corpusFiles("video")) {
        QTMovie* movie = movieOf(file);
        ASSERT_TRUE(movie) << file;
        ASSERT_TRUE(movie->attribute<bool>(QTMovieHasVideoAttribute)) << file;
        auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(secondsOf(*movie) > 3 ? 1.0 : 3.0));
        if (!image)
            image = movie->posterImage();
        EXPECT_EQ(image.has_value(), !withoutFrames.count(file)) << file;
        if (!image)
            continue;
        const NSImageRep& picture = *image->representations().front();
        NSSize size = sizeOf(*movie);
        EXPECT_EQ(picture.pixelsWide(), static_cast<int>(size.width)) << file;
        EXPECT_EQ(picture.pixelsHigh(), static_cast<int>(size.height)) << file;
        EXPECT_TRUE(picture.scaledTo(130, 90).ok()) << file;
        ++shown;
    }
    EXPECT_EQ(shown, 40);
}

} // namespace
} // namespace mv
