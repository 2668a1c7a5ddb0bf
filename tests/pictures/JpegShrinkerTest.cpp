#include "pictures/jpeg/JpegShrinker.h"

#include "pictures/jpeg/JpegDecompressor.h"
#include "tests/pictures/JpegMaker.h"
#include "tests/pictures/PictureMaker.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

/// Keeps the rows that it gets.
class Collected final : public RowSink {
public:
    bool begin(const RowLayout& given) override
    {
        begun = true;
        layout = given;
        return true;
    }
    bool row(const std::uint8_t* pixels) override
    {
        samples.insert(samples.end(), pixels, pixels + layout.width * channelsOf(layout.model));
        return ++rows < layout.height;
    }
    void scatter(int, int, int, const std::uint8_t*, int) override { FAIL(); }

    Bytes channel(int which) const
    {
        Bytes result;
        for (std::size_t i = static_cast<std::size_t>(which); i < samples.size(); i += channelsOf(layout.model))
            result.push_back(samples[i]);
        return result;
    }

    bool begun = false;
    RowLayout layout;
    int rows = 0;
    Bytes samples;
};

struct Shrunk {
    bool taken = false;
    bool failed = false;
    Collected rows;
};

Shrunk shrunk(const Bytes& jpeg, const JpegShrinkPlan& plan)
{
    auto source = sourceOfBytes(jpeg);
    Shrunk result;
    auto taken = JpegShrinker(*source, plan).deliver(result.rows);
    result.failed = !taken.ok();
    result.taken = taken.ok() && *taken;
    return result;
}

JpegShrinkPlan eighth(JpegColors colors) { return { 1, false, colors, false }; }

/// libjpeg's own decoding at one eighth, in the file's own colours.
Bytes byLibrary(const Bytes& jpeg, J_COLOR_SPACE space)
{
    auto source = sourceOfBytes(jpeg);
    JpegDecompressor library(*source);
    EXPECT_TRUE(library.readHeader());
    jpeg_decompress_struct& state = library.state();
    state.scale_denom = 8;
    state.out_color_space = space;
    state.do_block_smoothing = FALSE;
    state.do_fancy_upsampling = FALSE;
    EXPECT_TRUE(library.start());
    Bytes row(state.output_width * static_cast<std::size_t>(state.output_components));
    Bytes all;
    JSAMPROW pointer = row.data();
    while (library.readRows(&pointer, 1) == 1)
        all.insert(all.end(), row.begin(), row.end());
    return all;
}

struct KindOfJpeg {
    const char* name;
    JpegWish wish;
};

const std::vector<KindOfJpeg>& kindsOfJpeg()
{
    static const std::vector<KindOfJpeg> kinds { { "plain", { .sampling = 1 } },
        { "progressive", { .progressive = true, .sampling = 1 } },
        { "restarts", { .sampling = 1, .restartInterval = 7 } },
        { "progressive restarts", { .progressive = true, .sampling = 1, .restartInterval = 5 } },
        { "component scans", { .sampling = 1, .componentScans = true } },
        { "component scans with restarts", { .sampling = 1, .restartInterval = 11, .componentScans = true } },
        { "large numbers", { .sampling = 1, .quality = 100 } },
        { "progressive large numbers", { .progressive = true, .sampling = 1, .quality = 100 } },
        { "small numbers", { .sampling = 1, .quality = 8 } } };
    return kinds;
}

TEST(JpegShrinker, AnEighthIsLibjpegsToTheBit)
{
    for (const KindOfJpeg& kind : kindsOfJpeg()) {
        for (auto [width, height] : { std::pair { 203, 101 }, std::pair { 64, 64 }, std::pair { 7, 300 } }) {
            Bytes jpeg = makeJpeg(photo(width, height), kind.wish);
            Shrunk got = shrunk(jpeg, eighth(JpegColors::Ycc));
            ASSERT_TRUE(got.taken) << kind.name;
            EXPECT_EQ(got.rows.samples, byLibrary(jpeg, JCS_YCbCr)) << kind.name << " " << width << "x" << height;
        }
    }
}

TEST(JpegShrinker, OneComponentIsLibjpegsToTheBit)
{
    for (bool progressive : { false, true }) {
        Bytes jpeg = makeJpeg(photo(203, 101), { .progressive = progressive, .gray = true, .restartInterval = 3 });
        Shrunk got = shrunk(jpeg, eighth(JpegColors::Gray));
        ASSERT_TRUE(got.taken);
        EXPECT_EQ(got.rows.samples, byLibrary(jpeg, JCS_GRAYSCALE));
    }
}

TEST(JpegShrinker, StoredColoursAreLibjpegsToTheBit)
{
    for (bool progressive : { false, true }) {
        Bytes jpeg = makeJpeg(photo(203, 101), { .progressive = progressive, .sampling = 1, .storedRgb = true });
        Shrunk got = shrunk(jpeg, eighth(JpegColors::Rgb));
        ASSERT_TRUE(got.taken);
        EXPECT_EQ(got.rows.samples, byLibrary(jpeg, JCS_RGB));
    }
}

TEST(JpegShrinker, InksAreLibjpegsToTheBit)
{
    for (bool progressive : { false, true }) {
        Bytes jpeg = makeYcckJpeg(photo(99, 61), progressive);
        Shrunk got = shrunk(jpeg, eighth(JpegColors::Ycck));
        ASSERT_TRUE(got.taken);
        EXPECT_EQ(got.rows.samples, byLibrary(jpeg, JCS_CMYK));
    }
}

TEST(JpegShrinker, ProgressiveAndSequentialAreTheSame)
{
    // The same coefficients, sent in another order: with coarse colours that need details, in steps of single bits.
    for (auto [across, down] : { std::pair { 2, 2 }, std::pair { 2, 1 }, std::pair { 1, 2 } }) {
        for (bool coarse : { false, true }) {
            JpegShrinkPlan plan { 1, coarse, JpegColors::Ycc, false };
            JpegWish wish { .sampling = across, .samplingDown = down, .quality = 95 };
            Shrunk sequential = shrunk(makeJpeg(photo(333, 217), wish), plan);
            wish.componentScans = true;
            Shrunk apart = shrunk(makeJpeg(photo(333, 217), wish), plan);
            wish.componentScans = false;
            wish.progressive = true;
            Shrunk progressive = shrunk(makeJpeg(photo(333, 217), wish), plan);
            wish.restartInterval = 4;
            Shrunk restarting = shrunk(makeJpeg(photo(333, 217), wish), plan);
            ASSERT_TRUE(sequential.taken && apart.taken && progressive.taken && restarting.taken);
            EXPECT_EQ(progressive.rows.samples, sequential.rows.samples) << across << down << coarse;
            EXPECT_EQ(apart.rows.samples, sequential.rows.samples) << across << down << coarse;
            EXPECT_EQ(restarting.rows.samples, sequential.rows.samples) << across << down << coarse;
        }
    }
}

TEST(JpegShrinker, BrightnessIsLibjpegsWhateverTheColoursAre)
{
    Bytes jpeg = makeJpeg(photo(333, 217), { .progressive = true });
    Shrunk got = shrunk(jpeg, eighth(JpegColors::Ycc));
    Bytes library = byLibrary(jpeg, JCS_YCbCr);
    ASSERT_EQ(got.rows.samples.size(), library.size());
    int worst = 0;
    for (std::size_t i = 0; i < library.size(); ++i) {
        int difference = std::abs(got.rows.samples[i] - library[i]);
        EXPECT_TRUE(i % 3 != 0 || difference == 0);
        worst = std::max(worst, difference);
    }
    EXPECT_LT(worst, 24); // the library averages colours, which here are transformed back
}

TEST(JpegShrinker, LayoutTellsTheTrueSize)
{
    for (int numerator : { 1, 2, 3, 4 }) {
        Shrunk got = shrunk(makeJpeg(photo(333, 217)), { numerator, false, JpegColors::Ycc, false });
        ASSERT_TRUE(got.taken);
        EXPECT_EQ(got.rows.layout.width, (333 * numerator + 7) / 8);
        EXPECT_EQ(got.rows.rows, (217 * numerator + 7) / 8);
        EXPECT_DOUBLE_EQ(got.rows.layout.spanWidth, 333 * numerator / 8.0);
        EXPECT_DOUBLE_EQ(got.rows.layout.spanHeight, 217 * numerator / 8.0);
    }
}

TEST(JpegShrinker, LeavesOthersToTheLibrary)
{
    Bytes plain = makeJpeg(photo(64, 64));
    auto patched = [&](std::uint8_t marker, int offset, std::uint8_t value) {
        Bytes jpeg = plain;
        const Bytes wanted { 0xFF, marker };
        auto found = std::search(jpeg.begin(), jpeg.end(), wanted.begin(), wanted.end());
        *(found + offset) = value;
        return jpeg;
    };
    const std::pair<const char*, Bytes> cases[] { { "arithmetic", makeJpeg(photo(64, 64), { .arithmetic = true }) },
        { "lossless", patched(0xC0, 1, 0xC3) }, { "12 bits", patched(0xC0, 4, 12) },
        { "three samples for two", makeJpeg(photo(64, 64), { .sampling = 3, .samplingDown = 1 }) },
        { "no quantisation table", patched(0xDB, 1, 0xE5) }, { "no Huffman table", patched(0xC4, 1, 0xE5) },
        { "too many codes", patched(0xC4, 5, 200) }, { "nothing", {} }, { "start only", { 0xFF, 0xD8, 0xFF } } };
    for (const auto& [name, jpeg] : cases) {
        Shrunk got = shrunk(jpeg, eighth(JpegColors::Ycc));
        EXPECT_FALSE(got.taken || got.failed || got.rows.begun) << name;
    }
    EXPECT_FALSE(shrunk(plain, eighth(JpegColors::Gray)).rows.begun) << "components that do not fit";
    EXPECT_TRUE(shrunk(plain, { 1, false, JpegColors::Ycc, false, 64, 64 }).taken);
    EXPECT_FALSE(shrunk(plain, { 1, false, JpegColors::Ycc, false, 64, 65 }).rows.begun) << "another size";
    EXPECT_FALSE(shrunk(makeJpeg(photo(64, 64), { .progressive = true }), { 4, false, JpegColors::Ycc, false }).taken);
}

TEST(JpegShrinker, CutAnywhereIsAPictureOrNone)
{
    for (const JpegWish& wish : { JpegWish {}, JpegWish { .progressive = true }, JpegWish { .restartInterval = 2 },
             JpegWish { .componentScans = true } }) {
        Bytes jpeg = makeJpeg(photo(120, 90), wish);
        for (std::size_t length = 0; length < jpeg.size(); length += 13) {
            Bytes cut(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(length));
            Shrunk got = shrunk(cut, eighth(JpegColors::Ycc));
            EXPECT_TRUE(!got.taken || got.rows.rows == 12) << length;
        }
    }
}

TEST(JpegShrinker, RowsBeforeACutAreWhole)
{
    Bytes jpeg = makeJpeg(photo(320, 240), { .sampling = 1 });
    Bytes half(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(jpeg.size() / 2));
    Shrunk cut = shrunk(half, eighth(JpegColors::Ycc));
    Shrunk whole = shrunk(jpeg, eighth(JpegColors::Ycc));
    ASSERT_TRUE(cut.taken);
    ASSERT_EQ(cut.rows.samples.size(), whole.rows.samples.size());
    EXPECT_TRUE(
        std::equal(cut.rows.samples.begin(), cut.rows.samples.begin() + 40 * 3 * 10, whole.rows.samples.begin()));
    EXPECT_EQ(cut.rows.samples[cut.rows.samples.size() - 3], 128); // what is missing is gray
}

TEST(JpegShrinker, DamageEndsAtTheNextRestart)
{
    Bytes jpeg = makeJpeg(photo(320, 240), { .sampling = 1, .restartInterval = 40 }); // a row of blocks
    Shrunk whole = shrunk(jpeg, eighth(JpegColors::Ycc));
    std::vector<std::size_t> restarts;
    for (std::size_t i = 0; i + 1 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xFF && jpeg[i + 1] >= 0xD0 && jpeg[i + 1] <= 0xD7)
            restarts.push_back(i);
    }
    ASSERT_EQ(restarts.size(), 29u);
    const std::size_t row = whole.rows.samples.size() / 30;
    auto sameRow = [&](const Shrunk& got, std::size_t y) {
        return std::equal(whole.rows.samples.begin() + static_cast<std::ptrdiff_t>(row * y),
            whole.rows.samples.begin() + static_cast<std::ptrdiff_t>(row * (y + 1)),
            got.rows.samples.begin() + static_cast<std::ptrdiff_t>(row * y));
    };

    Bytes cleared = jpeg;
    std::fill(cleared.begin() + static_cast<std::ptrdiff_t>(restarts[4] + 4),
        cleared.begin() + static_cast<std::ptrdiff_t>(restarts[5]), std::uint8_t { 0 });
    Shrunk damaged = shrunk(cleared, eighth(JpegColors::Ycc));
    Bytes missing = jpeg;
    missing.erase(missing.begin() + static_cast<std::ptrdiff_t>(restarts[4]),
        missing.begin() + static_cast<std::ptrdiff_t>(restarts[5]));
    Shrunk gap = shrunk(missing, eighth(JpegColors::Ycc));
    for (std::size_t y = 0; y < 30; ++y) {
        EXPECT_EQ(sameRow(damaged, y), y != 5) << y;
        EXPECT_EQ(sameRow(gap, y), y != 5) << y;
    }
}

} // namespace
} // namespace mv
