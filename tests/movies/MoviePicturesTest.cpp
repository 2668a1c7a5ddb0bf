// Sizes, orientations and frames of movies.
#include "tests/movies/FileMovieFixture.h"

#include <array>

namespace mv::test {
namespace {

const std::string kH264 = " -c:v libx264 -preset ultrafast -pix_fmt yuv420p ";

class MoviePicturesTest : public FileMovieTest { };

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

TEST_F(MoviePicturesTest, NaturalSizeHasPixelAspectAndRotation)
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
TEST_F(MoviePicturesTest, EightOrientations)
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

TEST_F(MoviePicturesTest, FramesOfRedGreenAndBlueKeepTheirColours)
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

TEST_F(MoviePicturesTest, AFramesColours)
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

TEST_F(MoviePicturesTest, AFrameOutlivesItsMovie)
{
    auto movie = openClip("a.mp4", movingPicture(64, 64, 10, 0.5) + kH264);
    auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
    movie.reset();
    EXPECT_TRUE(image->representations().front()->scaledTo(32, 32).ok());
}

TEST_F(MoviePicturesTest, ThePosterIsTheFrameAtTheMoviesPosterTime)
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

TEST_F(MoviePicturesTest, ADamagedEndStillHasAPoster)
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
} // namespace mv::test
