#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "ffmpeg/MediaLimits.h"
#include "movies/MovieBackend.h"
#include "platform/FileQTKit.h"
#include "tests/movies/Clips.h"
#include "tests/support/LocalZone.h"

#include <array>
#include <gmock/gmock.h>

namespace mv {
namespace {

using test::kTone;
using test::makeClip;
using test::movingPicture;
using test::psnr;
using test::readFile;
using test::shownByFfmpeg;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

const std::string kH264 = " -c:v libx264 -preset ultrafast -pix_fmt yuv420p ";

class FileMovieTest : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_FFMPEG(); }
    std::unique_ptr<QTMovie> open(const std::string& path)
    {
        EXPECT_TRUE(m_toolkit.canInitWithFile(OpenedFile::at(path)));
        auto movie = m_toolkit.initWithFile(OpenedFile::at(path));
        if (!movie)
            throw std::runtime_error(movie.error().text);
        return std::move(*movie);
    }
    std::unique_ptr<QTMovie> openClip(const std::string& name, const std::string& arguments)
    {
        return open(makeClip(m_folder, name, arguments));
    }
    static double secondsOf(const QTMovie& movie)
    {
        double seconds = -1;
        QTGetTimeInterval(movie.duration(), &seconds);
        return seconds;
    }
    static bool hasVideo(const QTMovie& movie) { return *movie.attribute<bool>(QTMovieHasVideoAttribute); }
    static bool hasAudio(const QTMovie& movie) { return *movie.attribute<bool>(QTMovieHasAudioAttribute); }
    static std::string displayName(const QTMovie& movie)
    {
        return *movie.attribute<std::string>(QTMovieDisplayNameAttribute);
    }
    static NSSize naturalSize(const QTMovie& movie) { return *movie.attribute<NSSize>(QTMovieNaturalSizeAttribute); }
    static std::vector<std::string> formats(const QTMovie& movie)
    {
        std::vector<std::string> result;
        for (const QTTrack& track : movie.tracks())
            result.push_back(fourCharacterText(track.media.type) + " "
                + fourCharacterText(GetMediaSampleDescription(track.media, 1).value_or(0)));
        return result;
    }

    test::ScratchFolder m_folder;
    FileQTKit m_toolkit { DefaultDeadline };
};

/// Changes the `index`-th box of that type in a file: the bytes from the box's version on.
void patchBox(const std::string& path, std::string_view type, int index, std::size_t at, ByteView bytes)
{
    Bytes content = readFile(path);
    std::size_t place = charsOf(content).find(type);
    for (; index > 0; --index)
        place = charsOf(content).find(type, place + 1);
    ASSERT_NE(place, std::string::npos);
    std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(place + 4 + at));
    std::string folder = path.substr(0, path.rfind('/'));
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_TRUE(file);
    std::fwrite(content.data(), 1, content.size(), file);
    std::fclose(file);
}

void enableTrack(const std::string& path, int index, bool enabled)
{
    const std::uint8_t flags[] = { 0, 0, static_cast<std::uint8_t>(enabled ? 3 : 2) };
    patchBox(path, "tkhd", index, 1, flags);
}

/// Gives the first track the matrix a b c d: x' = a x + c y, y' = b x + d y, moved back into view. (ffmpeg's own option
/// for it changed its name between versions.)
void turnPictures(const std::string& path, const std::array<int, 4>& matrix)
{
    auto fixed = [&](std::size_t i) { return static_cast<std::uint32_t>(matrix[i]) << 16; };
    Bytes written;
    ByteWriter writer(written);
    for (std::uint32_t value : { fixed(0), fixed(1), 0u, fixed(2), fixed(3), 0u, 0u, 0u, 0x40000000u })
        writer.u32be(value);
    patchBox(path, "tkhd", 0, 40, written);
}

TEST_F(FileMovieTest, TheNameIsTheTitleElseTheFiles)
{
    for (const char* container : { "mp4", "mkv", "avi", "flv" }) {
        std::string name = std::string("clip.") + container;
        EXPECT_EQ(displayName(*openClip(name, movingPicture(64, 64, 10, 0.5) + kH264)), name);
        EXPECT_EQ(displayName(*openClip(name, movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata title='A täst'")),
            "A täst");
    }
    EXPECT_EQ(displayName(*openClip("a.ogg", kTone + "0.5 -metadata title=Song")), "Song");
    EXPECT_EQ(displayName(*openClip("a.mp3", kTone + "0.5 -metadata title=Song")), "Song");
    // A track's name is not the movie's.
    EXPECT_EQ(displayName(*openClip("t.mkv", kTone + "0.5 -metadata:s:a title=Track")), "t.mkv");
}

TEST_F(FileMovieTest, TimesComeFromTheMovieHeaderElseFromTheFile)
{
    std::string clip = makeClip(
        m_folder, "a.mov", movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata creation_time=2010-05-06T07:08:09Z");
    auto movie = open(clip);
    EXPECT_EQ(movie->attribute<Date>(QTMovieCreationTimeAttribute), Date::fromSeconds(1273129689));
    EXPECT_EQ(movie->attribute<Date>(QTMovieModificationTimeAttribute), Date::fromSeconds(1273129689));

    for (const char* name : { "b.mov", "b.avi" }) {
        clip = makeClip(m_folder, name, movingPicture(64, 64, 10, 0.5) + kH264);
        ASSERT_EQ(test::run("touch -d @1300000000 " + clip), 0);
        movie = open(clip);
        auto facts = attributesAt(clip);
        EXPECT_EQ(movie->attribute<Date>(QTMovieModificationTimeAttribute), Date::fromSeconds(1300000000));
        EXPECT_EQ(movie->attribute<Date>(QTMovieCreationTimeAttribute),
            facts->creationDate.value_or(facts->modificationDate));
    }
}

TEST_F(FileMovieTest, OtherContainersKeepTheTimeOfCreation)
{
    std::string clip = makeClip(
        m_folder, "a.mkv", movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata creation_time=2010-05-06T07:08:09Z");
    ASSERT_EQ(test::run("touch -d @1300000000 " + clip), 0);
    auto movie = open(clip);
    EXPECT_EQ(movie->attribute<Date>(QTMovieCreationTimeAttribute), Date::fromSeconds(1273129689));
    EXPECT_EQ(movie->attribute<Date>(QTMovieModificationTimeAttribute), Date::fromSeconds(1300000000));
}

/// An AVI that says when it was made: `text` as cameras write it into the chunk IDIT, in front of the media.
std::string withRecordingDate(const test::ScratchFolder& folder, const std::string& avi, std::string_view text)
{
    Bytes content = readFile(avi);
    std::size_t media = charsOf(content).find("movi") - 8;
    Bytes chunk;
    ByteWriter writer(chunk);
    writer.text("IDIT");
    writer.u32le(static_cast<std::uint32_t>(text.size()));
    writer.text(text);
    if (text.size() % 2)
        writer.u8(0);
    content.insert(content.begin() + static_cast<std::ptrdiff_t>(media), chunk.begin(), chunk.end());
    return folder.write("dated.avi", content);
}

TEST_F(FileMovieTest, AviSaysWhenItWasMadeInLocalTime)
{
    std::string clip = makeClip(m_folder, "a.avi", movingPicture(64, 64, 10, 0.5) + " -c:v mpeg4");
    constexpr std::int64_t Moment = 1'047'308'683; // 2003-03-10 15:04:43 UTC
    struct {
        std::string_view text;
        std::int64_t seconds;
    } const cases[] = {
        { std::string_view("Mon Mar 10 15:04:43 2003\n\0", 26), Moment },
        { "2003/03/10 15:04:43", Moment },
        { "2003/03/10/ 15:04", Moment - 43 },
        { "2003/ 3/10  3:04PM", Moment - 43 },
    };
    for (const char* zone : { "UTC0", "KST-9" }) {
        test::LocalZone local(zone);
        std::int64_t ahead = zone == std::string_view("UTC0") ? 0 : 9 * 3600;
        for (const auto& [text, seconds] : cases)
            EXPECT_EQ(open(withRecordingDate(m_folder, clip, text))->attribute<Date>(QTMovieCreationTimeAttribute),
                Date::fromSeconds(seconds - ahead))
                << text << " " << zone;
    }
}

TEST_F(FileMovieTest, FlvSaysWhenItWasMadeWithABlankInTheMiddle)
{
    // Under a name of the same length, as the muxer would put a T between day and time.
    std::string clip = makeClip(
        m_folder, "a.flv", movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata creation_tim_='2010-05-06 07:08:09'");
    Bytes content = readFile(clip);
    std::size_t name = charsOf(content).find("creation_tim_");
    ASSERT_NE(name, std::string::npos);
    content[name + 12] = 'e';
    clip = m_folder.write("dated.flv", content);
    test::LocalZone local("KST-9");
    EXPECT_EQ(open(clip)->attribute<Date>(QTMovieCreationTimeAttribute), Date::fromSeconds(1'273'129'689 - 9 * 3600));
}

TEST_F(FileMovieTest, ATimeOfDayIsNoTimeOfCreation)
{
    // Broadcast WAV: FFmpeg gives the time's field the name of the whole moment.
    std::string clip = makeClip(
        m_folder, "a.wav", kTone + "0.5 -write_bext 1 -metadata creation_time=07:08:09 -metadata description=x");
    auto movie = open(clip);
    auto facts = attributesAt(clip);
    EXPECT_EQ(
        movie->attribute<Date>(QTMovieCreationTimeAttribute), facts->creationDate.value_or(facts->modificationDate));
}

TEST_F(FileMovieTest, TheRateIsZeroAndUnknownAttributesAreMissing)
{
    auto movie = openClip("a.mp4", movingPicture(64, 64, 10, 0.5) + kH264);
    EXPECT_EQ(movie->attribute<float>(QTMovieRateAttribute), 0.0f);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(movie->attributeForKey("QTMovieColorAttribute")));
}

TEST_F(FileMovieTest, DurationsInEveryContainer)
{
    std::string both = movingPicture(64, 64, 10, 2.5) + kTone + "2.5" + kH264 + "-c:a aac -shortest";
    for (const char* name : { "a.mp4", "a.mov", "a.mkv", "a.avi", "a.flv", "a.ts" })
        EXPECT_NEAR(secondsOf(*openClip(name, both)), 2.5, 0.15) << name;
    EXPECT_NEAR(secondsOf(*openClip("f.mp4", both + " -movflags frag_keyframe+empty_moov")), 2.5, 0.1);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.wav", kTone + "2.5")), 2.5);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.aiff", kTone + "2.5")), 2.5);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.flac", kTone + "2.5")), 2.5);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.au", kTone + "2.5")), 2.5);
    EXPECT_NEAR(secondsOf(*openClip("a.ogg", kTone + "2.5")), 2.5, 0.001);
    EXPECT_NEAR(secondsOf(*openClip("a.ac3", kTone + "2.5")), 2.5, 0.04);
    EXPECT_NEAR(secondsOf(*openClip("a.eac3", kTone + "2.5")), 2.5, 0.04);
    EXPECT_NEAR(secondsOf(*openClip("a.mp3", kTone + "2.5")), 2.5, 0.06);
}

TEST_F(FileMovieTest, SoundWithoutALengthIsMeasured)
{
    // Silence and noise in one file: a guess from the first frames' bit rate would be far off.
    std::string quietThenLoud = " -f lavfi -i \"aevalsrc=if(gt(t\\,5)\\,random(0)*0.9\\,0):s=44100:d=10\" ";
    EXPECT_NEAR(secondsOf(*openClip("a.aac", quietThenLoud + "-c:a aac -b:a 128k")), 10.0, 0.06);
    EXPECT_NEAR(secondsOf(*openClip("a.mp3", quietThenLoud + "-c:a libmp3lame -q:a 4 -write_xing 0")), 10.0, 0.06);
}

TEST_F(FileMovieTest, ASecondIsExact)
{
    auto movie = openClip("a.mp4", movingPicture(64, 64, 10, 100) + kH264);
    EXPECT_EQ(secondsOf(*movie), 100.0);
}

TEST_F(FileMovieTest, CodecsAsStoredInIsoMedia)
{
    std::string h264 = movingPicture(64, 64, 10, 0.5) + kTone + "0.5";
    EXPECT_THAT(formats(*openClip("a.mp4", h264 + kH264 + "-c:a aac")), ElementsAre("vide avc1", "soun mp4a"));
    EXPECT_THAT(
        formats(*openClip("b.mov", h264 + " -c:v mjpeg -c:a pcm_s16le")), ElementsAre("vide jpeg", "soun sowt"));
    EXPECT_THAT(formats(*openClip("c.mp4", h264 + " -c:v mpeg4 -c:a ac3")), ElementsAre("vide mp4v", "soun ac-3"));
    EXPECT_THAT(formats(*openClip("d.m4a", kTone + "0.5 -c:a alac")), ElementsAre("soun alac"));
    EXPECT_THAT(
        formats(*openClip("e.mp4", movingPicture(64, 64, 10, 0.5) + kH264 + "-tag:v avc3")), ElementsAre("vide avc3"));
}

TEST_F(FileMovieTest, CodecsOfOtherContainersByQuickTimesCodes)
{
    std::string source = movingPicture(64, 64, 10, 0.5) + kTone + "0.5";
    EXPECT_THAT(formats(*openClip("a.mkv", source + kH264 + "-c:a aac")), ElementsAre("vide avc1", "soun mp4a"));
    EXPECT_THAT(formats(*openClip("b.webm", source + " -c:v libvpx-vp9 -cpu-used 8 -deadline realtime -c:a libopus")),
        ElementsAre("vide vp09", "soun Opus"));
    EXPECT_THAT(formats(*openClip("c.mkv", source + " -c:v mpeg4 -c:a flac")), ElementsAre("vide mp4v", "soun fLaC"));
    EXPECT_THAT(
        formats(*openClip("d.ts", source + " -c:v mpeg2video -c:a mp2")), ElementsAre("vide mp2v", "soun .mp2"));
    EXPECT_THAT(formats(*openClip("e.avi", source + " -c:v mpeg4 -vtag XVID -c:a libmp3lame")),
        ElementsAre("vide XVID", "soun .mp3"));
    EXPECT_THAT(
        formats(*openClip("f.avi", source + " -c:v mjpeg -c:a pcm_s16le")), ElementsAre("vide MJPG", "soun sowt"));
    EXPECT_THAT(formats(*openClip("g.flv", source + " -c:v flv -c:a libmp3lame")),
        UnorderedElementsAre("vide FLV1", "soun .mp3"));
    EXPECT_THAT(formats(*openClip("h.asf", source + " -c:v wmv2 -c:a wmav2")), ElementsAre("vide WMV2", "soun WMA2"));
    EXPECT_THAT(formats(*openClip("i.wav", kTone + "0.5 -c:a pcm_s24le")), ElementsAre("soun in24"));
    EXPECT_THAT(formats(*openClip("j.aiff", kTone + "0.5")), ElementsAre("soun twos"));
    EXPECT_THAT(formats(*openClip("k.ogg", kTone + "0.5 -c:a libvorbis")), ElementsAre("soun XiVs"));
}

TEST_F(FileMovieTest, CoverArtIsNotVideo)
{
    std::string cover = kTone + "0.5" + movingPicture(64, 64, 1, 1) + " -map 0 -map 1 -frames:v 1 -c:v mjpeg "
        + "-disposition:v attached_pic ";
    for (const char* name : { "a.mp3", "a.m4a", "a.flac" }) {
        auto movie = openClip(name, cover);
        EXPECT_FALSE(hasVideo(*movie)) << name;
        EXPECT_TRUE(hasAudio(*movie)) << name;
        EXPECT_EQ(movie->tracks().size(), 1u) << name;
        EXPECT_EQ(naturalSize(*movie), NSSize {}) << name;
        EXPECT_FALSE(movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.1))) << name;
        EXPECT_FALSE(movie->posterImage()) << name;
    }
}

TEST_F(FileMovieTest, SoundAloneAndPicturesAlone)
{
    auto movie = openClip("a.m4a", kTone + "0.5");
    EXPECT_FALSE(hasVideo(*movie));
    EXPECT_TRUE(hasAudio(*movie));
    movie = openClip("a.mp4", movingPicture(64, 64, 10, 0.5) + kH264);
    EXPECT_TRUE(hasVideo(*movie));
    EXPECT_FALSE(hasAudio(*movie));
}

TEST_F(FileMovieTest, EnabledFlags)
{
    std::string clip = makeClip(m_folder, "a.mp4",
        movingPicture(64, 64, 10, 0.5) + movingPicture(128, 96, 10, 0.5) + kTone + "0.5 -map 0 -map 1 -map 2" + kH264);
    enableTrack(clip, 0, false);
    enableTrack(clip, 1, true);
    enableTrack(clip, 2, false);
    auto movie = open(clip);
    ASSERT_EQ(movie->tracks().size(), 3u);
    EXPECT_FALSE(movie->tracks()[0].isEnabled);
    EXPECT_TRUE(movie->tracks()[1].isEnabled);
    EXPECT_FALSE(movie->tracks()[2].isEnabled);
    EXPECT_TRUE(hasAudio(*movie)); // it has a sound track, if a silent one
    // The enabled pictures are the movie's.
    EXPECT_EQ(naturalSize(*movie), (NSSize { 128, 96 }));
    auto frame = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->representations().front()->pixelsWide(), 128);
}

TEST_F(FileMovieTest, DisabledStillsArePicturesOfChapters)
{
    std::string clip
        = makeClip(m_folder, "a.mov", kTone + "2" + movingPicture(64, 64, 1, 2) + " -map 0 -map 1 -c:a aac -c:v mjpeg");
    EXPECT_TRUE(hasVideo(*open(clip)));
    enableTrack(clip, 1, false);
    EXPECT_FALSE(hasVideo(*open(clip)));
    EXPECT_EQ(open(clip)->tracks().size(), 2u);
}

TEST_F(FileMovieTest, NaturalSizeHasPixelAspectAndRotation)
{
    std::string anamorphic = movingPicture(180, 144, 10, 0.5) + " -vf setsar=16/15" + kH264;
    EXPECT_EQ(naturalSize(*openClip("a.mp4", anamorphic)), (NSSize { 192, 144 }));
    EXPECT_EQ(naturalSize(*openClip("a.mkv", anamorphic)), (NSSize { 192, 144 }));
    std::string turnedClip = makeClip(m_folder, "b.mp4", movingPicture(640, 360, 10, 0.5) + kH264);
    struct Turn {
        int degrees;
        std::array<int, 4> matrix;
        NSSize size;
    };
    for (const auto& [degrees, matrix, size] : { Turn { 90, { 0, 1, -1, 0 }, { 360, 640 } },
             Turn { 180, { -1, 0, 0, -1 }, { 640, 360 } }, Turn { 270, { 0, -1, 1, 0 }, { 360, 640 } } }) {
        turnPictures(turnedClip, matrix);
        auto movie = open(turnedClip);
        EXPECT_EQ(naturalSize(*movie), size) << degrees;
        auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.25));
        ASSERT_TRUE(image);
        auto& picture = *image->representations().front();
        EXPECT_EQ(picture.pixelsWide(), size.width) << degrees;
        EXPECT_EQ(picture.pixelsHigh(), size.height) << degrees;
        // Made small: ffmpeg turns pictures before it converts them, which shifts colours by half a pixel.
        int width = static_cast<int>(size.width) / 5;
        int height = static_cast<int>(size.height) / 5;
        EXPECT_GT(psnr(*picture.scaledTo(width, height), shownByFfmpeg(turnedClip, 0.25, width, height)), 35)
            << degrees;
    }
}

/// Every way of turning and mirroring, told by the track's matrix.
TEST_F(FileMovieTest, EightOrientations)
{
    std::string clip = makeClip(m_folder, "a.mp4", movingPicture(160, 90, 10, 0.5) + kH264);
    Bitmap upright = shownByFfmpeg(clip, 0.2, 160, 90);
    for (int swaps : { 0, 1 }) {
        for (int x : { 1, -1 }) {
            for (int y : { 1, -1 }) {
                turnPictures(clip, swaps ? std::array { 0, y, x, 0 } : std::array { x, 0, 0, y });
                auto movie = open(clip);
                auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
                ASSERT_TRUE(image);
                int width = swaps ? 90 : 160;
                int height = swaps ? 160 : 90;
                auto shown = image->representations().front()->scaledTo(width, height);
                ASSERT_TRUE(shown.ok());
                Bitmap expected { width, height, Bytes(upright.pixels.size()) };
                for (int row = 0; row < 90; ++row) {
                    for (int column = 0; column < 160; ++column) {
                        int across = swaps ? row : column;
                        int down = swaps ? column : row;
                        across = x < 0 ? width - 1 - across : across;
                        down = y < 0 ? height - 1 - down : down;
                        std::copy_n(upright.pixels.begin() + (row * 160 + column) * 4, 4,
                            expected.pixels.begin() + (down * width + across) * 4);
                    }
                }
                EXPECT_GT(psnr(*shown, expected), 45) << swaps << " " << x << " " << y;
            }
        }
    }
}

TEST_F(FileMovieTest, FramesOfRedGreenAndBlueKeepTheirColours)
{
    auto movie
        = openClip("a.mkv", " -f lavfi -i color=#00ff00:size=64x64:duration=0.5 -c:v libx264rgb -crf 0 -pix_fmt rgb24");
    auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
    ASSERT_TRUE(image);
    auto small = image->representations().front()->scaledTo(32, 32);
    ASSERT_TRUE(small.ok());
    EXPECT_LE(small->pixels[0], 1);
    EXPECT_GE(small->pixels[1], 254);
    EXPECT_LE(small->pixels[2], 1);
}

TEST_F(FileMovieTest, AFramesColours)
{
    std::string clip = makeClip(
        m_folder, "a.mp4", " -f lavfi -i color=red:size=64x64:duration=0.5 -vf pad=128:64:64:0:blue" + kH264);
    turnPictures(clip, { 0, -1, 1, 0 });
    auto movie = open(clip);
    auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
    ASSERT_TRUE(image);
    const NSImageRep& picture = *image->representations().front();
    auto top = picture.colorAtXY(1, 1);
    auto bottom = picture.colorAtXY(62, 1000);
    ASSERT_TRUE(top.ok() && bottom.ok());
    EXPECT_GT(top->red, 200);
    EXPECT_LT(top->blue, 60);
    EXPECT_GT(bottom->blue, 200);
    EXPECT_LT(bottom->red, 60);
    EXPECT_EQ(top->alpha, 255);
    EXPECT_FALSE(picture.scaledTo(0, 10).ok());
}

TEST_F(FileMovieTest, AFrameOutlivesItsMovie)
{
    auto movie = openClip("a.mp4", movingPicture(64, 64, 10, 0.5) + kH264);
    auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
    movie.reset();
    EXPECT_TRUE(image->representations().front()->scaledTo(32, 32).ok());
}

TEST_F(FileMovieTest, ThePosterIsTheFrameAtTheMoviesPosterTime)
{
    std::string clip = makeClip(m_folder, "a.mov", movingPicture(64, 64, 10, 2) + kH264);
    Bitmap start = shownByFfmpeg(clip, 0, 64, 64);
    Bitmap later = shownByFfmpeg(clip, 1.5, 64, 64);
    auto poster = [&] { return *open(clip)->posterImage()->representations().front()->scaledTo(64, 64); };
    EXPECT_GT(psnr(poster(), start), 45);

    constexpr std::size_t PosterTime = 80; // in mvhd
    const std::uint8_t oneAndAHalf[] = { 0, 0, 0x05, 0xDC }; // of the muxer's 1000 ticks a second
    patchBox(clip, "mvhd", 0, PosterTime, oneAndAHalf);
    EXPECT_GT(psnr(poster(), later), 45);

    const std::uint8_t behindTheEnd[] = { 0, 0x10, 0, 0 };
    patchBox(clip, "mvhd", 0, PosterTime, behindTheEnd);
    EXPECT_GT(psnr(poster(), start), 45);
}

TEST_F(FileMovieTest, ADamagedEndStillHasAPoster)
{
    std::string clip
        = makeClip(m_folder, "a.mp4", movingPicture(320, 180, 25, 4) + kH264 + "-g 25 -movflags faststart");
    std::string cut = m_folder.file("cut.mp4");
    Bytes bytes = readFile(clip);
    m_folder.write("cut.mp4", ByteView(bytes).first(bytes.size() / 3));
    auto movie = open(cut);
    EXPECT_NEAR(secondsOf(*movie), 4, 0.01);
    EXPECT_TRUE(movie->posterImage());
}

} // namespace
} // namespace mv
