#include "tests/platform/graphics/PictureMaker.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <lcms2.h>
#include <numbers>
#include <zlib.h>

namespace mv::test {

Bitmap photo(int width, int height)
{
    Bitmap bitmap { width, height, Bytes(static_cast<std::size_t>(width) * height * 4) };
    std::uint8_t* to = bitmap.pixels.data();
    std::uint32_t noise = 12345;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++, to += 4) {
            double u = static_cast<double>(x) / width;
            double v = static_cast<double>(y) / height;
            double rings = std::sin(60 * std::hypot(u - 0.4, v - 0.6)) * 40;
            bool box = u > 0.6 && u < 0.8 && v > 0.2 && v < 0.5;
            noise = noise * 1664525 + 1013904223;
            double grain = static_cast<double>(noise >> 24) / 16 - 8;
            to[0] = static_cast<std::uint8_t>(std::clamp(40 + 170 * u + rings + grain, 0.0, 255.0));
            to[1] = static_cast<std::uint8_t>(std::clamp(200 - 150 * v + rings + grain, 0.0, 255.0));
            to[2] = static_cast<std::uint8_t>(std::clamp((box ? 220.0 : 60.0) + 40 * u * v + grain, 0.0, 255.0));
            to[3] = 255;
        }
    }
    return bitmap;
}

Bitmap plain(int width, int height, NSColor color)
{
    Bitmap bitmap { width, height, {} };
    for (int i = 0; i < width * height; i++)
        bitmap.pixels.insert(bitmap.pixels.end(), { color.red, color.green, color.blue, color.alpha });
    return bitmap;
}

double meanDifference(const Bitmap& a, const Bitmap& b)
{
    if (a.width != b.width || a.height != b.height)
        return -1;
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); i++)
        sum += i % 4 == 3 ? 0 : std::abs(a.pixels[i] - b.pixels[i]);
    return sum / (static_cast<double>(a.pixels.size()) * 3 / 4);
}

double psnr(const Bitmap& a, const Bitmap& b)
{
    if (a.width != b.width || a.height != b.height)
        return -1;
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); i++)
        sum += i % 4 == 3 ? 0 : std::pow(a.pixels[i] - b.pixels[i], 2);
    double mean = sum / (static_cast<double>(a.pixels.size()) * 3 / 4);
    return mean == 0 ? 100 : 10 * std::log10(255 * 255 / mean);
}

namespace {

double lanczos3(double x)
{
    if (x == 0)
        return 1;
    if (std::fabs(x) >= 3)
        return 0;
    double turn = std::numbers::pi * x;
    return 3 * std::sin(turn) * std::sin(turn / 3) / (turn * turn);
}

/// Makes `target` vectors of `length` out of `count` of them that stand one after the other.
std::vector<double> referenceAxis(const std::vector<double>& from, int count, std::size_t length, int target)
{
    std::vector<double> to(static_cast<std::size_t>(target) * length);
    double ratio = static_cast<double>(count) / target;
    double stretch = std::max(1.0, ratio);
    for (int i = 0; i < target; i++) {
        double centre = (i + 0.5) * ratio - 0.5;
        double* sum = &to[static_cast<std::size_t>(i) * length];
        double weights = 0;
        int last = static_cast<int>(std::floor(centre + 3 * stretch));
        for (int k = static_cast<int>(std::ceil(centre - 3 * stretch)); k <= last; k++) {
            double weight = lanczos3((k - centre) / stretch);
            const double* row = &from[static_cast<std::size_t>(std::clamp(k, 0, count - 1)) * length];
            for (std::size_t n = 0; n < length; n++)
                sum[n] += weight * row[n];
            weights += weight;
        }
        for (std::size_t n = 0; n < length; n++)
            sum[n] /= weights;
    }
    return to;
}

} // namespace

Bitmap referenceLanczos(const Bitmap& source, int width, int height)
{
    std::vector<double> samples(source.pixels.begin(), source.pixels.end());
    std::vector<double> rows
        = referenceAxis(samples, source.height, static_cast<std::size_t>(source.width) * 4, height);
    std::vector<double> result;
    for (int y = 0; y < height; y++) {
        auto start = rows.begin() + static_cast<std::ptrdiff_t>(y) * source.width * 4;
        std::vector<double> columns
            = referenceAxis({ start, start + static_cast<std::ptrdiff_t>(source.width) * 4 }, source.width, 4, width);
        result.insert(result.end(), columns.begin(), columns.end());
    }
    Bitmap bitmap { width, height, {} };
    for (double value : result)
        bitmap.pixels.push_back(static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)));
    return bitmap;
}

namespace {

/// Test pictures are sound, so the library's default error handling is never met.
class Compressor {
public:
    Compressor()
    {
        state.err = jpeg_std_error(&m_errors);
        jpeg_create_compress(&state);
        jpeg_mem_dest(&state, &m_output, &m_size);
    }
    ~Compressor()
    {
        jpeg_destroy_compress(&state);
        std::free(m_output);
    }
    Bytes finish()
    {
        jpeg_finish_compress(&state);
        return Bytes(m_output, m_output + m_size);
    }
    void start(const Bytes& profile)
    {
        jpeg_start_compress(&state, TRUE);
        if (!profile.empty())
            jpeg_write_icc_profile(&state, profile.data(), static_cast<unsigned>(profile.size()));
    }
    void writeRow(Bytes& row)
    {
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&state, &pointer, 1);
    }

    jpeg_compress_struct state {};

private:
    jpeg_error_mgr m_errors {};
    unsigned char* m_output = nullptr;
    unsigned long m_size = 0;
};

} // namespace

Bytes makeJpeg(const Bitmap& bitmap, const JpegWish& wish)
{
    Compressor jpeg;
    jpeg.state.image_width = static_cast<JDIMENSION>(bitmap.width);
    jpeg.state.image_height = static_cast<JDIMENSION>(bitmap.height);
    jpeg.state.input_components = wish.gray ? 1 : 3;
    jpeg.state.in_color_space = wish.gray ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&jpeg.state);
    jpeg_set_quality(&jpeg.state, wish.quality, TRUE);
    if (!wish.gray)
        jpeg.state.comp_info[0].h_samp_factor = jpeg.state.comp_info[0].v_samp_factor = wish.sampling;
    if (wish.progressive)
        jpeg_simple_progression(&jpeg.state);
    jpeg.start(wish.profile);
    Bytes row;
    for (int y = 0; y < bitmap.height; y++) {
        row.clear();
        for (int x = 0; x < bitmap.width; x++) {
            const std::uint8_t* pixel = &bitmap.pixels[(static_cast<std::size_t>(y) * bitmap.width + x) * 4];
            row.insert(row.end(), pixel, pixel + (wish.gray ? 1 : 3));
        }
        jpeg.writeRow(row);
    }
    return jpeg.finish();
}

Bytes makeInkJpeg(int width, int height, const std::array<std::uint8_t, 4>& inks, bool adobe, const Bytes& profile)
{
    Compressor jpeg;
    jpeg.state.image_width = static_cast<JDIMENSION>(width);
    jpeg.state.image_height = static_cast<JDIMENSION>(height);
    jpeg.state.input_components = 4;
    jpeg.state.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&jpeg.state);
    jpeg_set_quality(&jpeg.state, 100, TRUE);
    jpeg.state.write_Adobe_marker = adobe ? TRUE : FALSE;
    jpeg.start(profile);
    Bytes row;
    for (int x = 0; x < width; x++) {
        for (std::uint8_t ink : inks)
            row.push_back(static_cast<std::uint8_t>(adobe ? 255 - ink : ink));
    }
    for (int y = 0; y < height; y++)
        jpeg.writeRow(row);
    return jpeg.finish();
}

namespace {

Bytes deflated(ByteView bytes)
{
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    Bytes result(size);
    compress2(result.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()), 6);
    result.resize(size);
    return result;
}

void appendChunk(Bytes& file, std::string_view type, ByteView content)
{
    ByteWriter writer(file);
    writer.u32be(static_cast<std::uint32_t>(content.size()));
    std::size_t start = file.size();
    writer.text(type);
    writer.bytes(content);
    writer.u32be(static_cast<std::uint32_t>(crc32(0, &file[start], static_cast<uInt>(file.size() - start))));
}

int pngChannels(int colorType) { return colorType == 2 ? 3 : colorType == 4 ? 2 : colorType == 6 ? 4 : 1; }

Bytes packedRow(const PngWish& wish, int y, int x0, int dx)
{
    Bytes row;
    int bits = 0;
    int pool = 0;
    for (int x = x0; x < wish.width; x += dx) {
        for (int c = 0; c < pngChannels(wish.colorType); c++) {
            int value = wish.sample(x, y, c);
            if (wish.depth == 16)
                row.push_back(static_cast<std::uint8_t>(value >> 8));
            if (wish.depth >= 8) {
                row.push_back(static_cast<std::uint8_t>(value));
                continue;
            }
            pool = pool << wish.depth | value;
            bits += wish.depth;
            if (bits == 8) {
                row.push_back(static_cast<std::uint8_t>(pool));
                bits = pool = 0;
            }
        }
    }
    if (bits > 0)
        row.push_back(static_cast<std::uint8_t>(pool << (8 - bits)));
    return row;
}

Bytes filteredRow(const Bytes& row, const Bytes& above, int filter, std::size_t distance)
{
    Bytes result { static_cast<std::uint8_t>(filter) };
    for (std::size_t i = 0; i < row.size(); i++) {
        int left = i >= distance ? row[i - distance] : 0;
        int up = above[i];
        int corner = i >= distance ? above[i - distance] : 0;
        int p = left + up - corner;
        int nearest = std::abs(p - left) <= std::abs(p - up) && std::abs(p - left) <= std::abs(p - corner) ? left
            : std::abs(p - up) <= std::abs(p - corner)                                                     ? up
                                                                                                           : corner;
        const int guesses[] { 0, left, up, (left + up) / 2, nearest };
        result.push_back(static_cast<std::uint8_t>(row[i] - guesses[filter]));
    }
    return result;
}

void appendPass(const PngWish& wish, int x0, int y0, int dx, int dy, Bytes& data)
{
    if (x0 >= wish.width)
        return;
    std::size_t distance = static_cast<std::size_t>(std::max(1, pngChannels(wish.colorType) * wish.depth / 8));
    Bytes above;
    int count = 0;
    for (int y = y0; y < wish.height; y += dy) {
        Bytes row = packedRow(wish, y, x0, dx);
        above.resize(row.size());
        Bytes filtered = filteredRow(row, above, wish.filter == 5 ? count++ % 5 : wish.filter, distance);
        data.insert(data.end(), filtered.begin(), filtered.end());
        above = row;
    }
}

} // namespace

Bytes makePng(const PngWish& wish)
{
    Bytes file { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };
    Bytes header;
    ByteWriter writer(header);
    writer.u32be(static_cast<std::uint32_t>(wish.headerWidth ? wish.headerWidth : wish.width));
    writer.u32be(static_cast<std::uint32_t>(wish.headerHeight ? wish.headerHeight : wish.height));
    for (int value : { wish.depth, wish.colorType, 0, 0, wish.interlaced ? 1 : 0 })
        writer.u8(static_cast<std::uint8_t>(value));
    appendChunk(file, "IHDR", header);
    if (!wish.profile.empty()) {
        Bytes content { 'p', 0, 0 };
        Bytes compressed = deflated(wish.profile);
        content.insert(content.end(), compressed.begin(), compressed.end());
        appendChunk(file, "iCCP", content);
    }
    if (!wish.palette.empty())
        appendChunk(file, "PLTE", wish.palette);
    if (!wish.transparency.empty())
        appendChunk(file, "tRNS", wish.transparency);
    Bytes data;
    if (wish.interlaced) {
        constexpr int kPasses[7][4] = { { 0, 0, 8, 8 }, { 4, 0, 8, 8 }, { 0, 4, 4, 8 }, { 2, 0, 4, 4 }, { 0, 2, 2, 4 },
            { 1, 0, 2, 2 }, { 0, 1, 1, 2 } };
        for (const auto& pass : kPasses)
            appendPass(wish, pass[0], pass[1], pass[2], pass[3], data);
    } else {
        appendPass(wish, 0, 0, 1, 1, data);
    }
    // Several chunks, as real files have them.
    Bytes compressed = deflated(data);
    for (std::size_t start = 0; start < compressed.size(); start += 1000)
        appendChunk(
            file, "IDAT", ByteView(compressed).subspan(start, std::min<std::size_t>(1000, compressed.size() - start)));
    appendChunk(file, "IEND", {});
    return file;
}

namespace {

/// Codes of nine bits without any real compression: the table is cleared before it grows to ten.
Bytes lzwOf(const std::vector<int>& indices)
{
    Bytes data;
    std::uint32_t pool = 0;
    int bits = 0;
    auto put = [&](std::uint32_t code) {
        pool |= code << bits;
        for (bits += 9; bits >= 8; bits -= 8, pool >>= 8)
            data.push_back(static_cast<std::uint8_t>(pool));
    };
    for (std::size_t i = 0; i < indices.size(); i++) {
        if (i % 200 == 0)
            put(256);
        put(static_cast<std::uint32_t>(indices[i]));
    }
    put(257);
    data.push_back(static_cast<std::uint8_t>(pool));
    Bytes blocks { 8 };
    for (std::size_t start = 0; start < data.size(); start += 255) {
        std::size_t count = std::min<std::size_t>(255, data.size() - start);
        blocks.push_back(static_cast<std::uint8_t>(count));
        blocks.insert(blocks.end(), data.begin() + static_cast<std::ptrdiff_t>(start),
            data.begin() + static_cast<std::ptrdiff_t>(start + count));
    }
    blocks.push_back(0);
    return blocks;
}

} // namespace

Bytes makeGif(const GifWish& wish)
{
    Bytes file;
    ByteWriter writer(file);
    writer.text("GIF89a");
    writer.u16le(static_cast<std::uint16_t>(wish.screenWidth));
    writer.u16le(static_cast<std::uint16_t>(wish.screenHeight));
    writer.bytes(Bytes { 0xF7, 0, 0 });
    Bytes palette = wish.palette;
    palette.resize(768);
    writer.bytes(palette);
    writer.bytes(bytesOf("\x21\xFE\x07"
                         "comment"
        + std::string(1, '\0')));
    if (wish.transparentIndex >= 0)
        writer.bytes(Bytes { 0x21, 0xF9, 4, 1, 0, 0, static_cast<std::uint8_t>(wish.transparentIndex), 0 });
    writer.u8(0x2C);
    for (int value : { wish.x, wish.y, wish.width, wish.height })
        writer.u16le(static_cast<std::uint16_t>(value));
    writer.u8(wish.interlaced ? 0x40 : 0);
    std::vector<int> indices;
    auto appendRow = [&](int y) {
        for (int x = 0; x < wish.width; x++)
            indices.push_back(wish.index(x, y));
    };
    if (wish.interlaced) {
        for (auto [first, step] : { std::pair { 0, 8 }, std::pair { 4, 8 }, std::pair { 2, 4 }, std::pair { 1, 2 } }) {
            for (int y = first; y < wish.height; y += step)
                appendRow(y);
        }
    } else {
        for (int y = 0; y < wish.height; y++)
            appendRow(y);
    }
    writer.bytes(lzwOf(indices));
    writer.u8(0x3B);
    return file;
}

Bytes makeBmp(const BmpWish& wish)
{
    Bytes header;
    ByteWriter fields(header);
    fields.u32le(static_cast<std::uint32_t>(wish.headerBytes));
    if (wish.headerBytes == 12) {
        fields.u16le(static_cast<std::uint16_t>(wish.width));
        fields.u16le(static_cast<std::uint16_t>(wish.height));
    } else {
        fields.u32le(static_cast<std::uint32_t>(wish.width));
        fields.u32le(static_cast<std::uint32_t>(wish.height));
    }
    fields.u16le(1);
    fields.u16le(static_cast<std::uint16_t>(wish.depth));
    fields.u32le(static_cast<std::uint32_t>(wish.compression));
    header.resize(40);
    for (std::uint32_t mask : wish.masks)
        fields.u32le(mask);
    header.resize(static_cast<std::size_t>(wish.headerBytes));

    Bytes file;
    ByteWriter writer(file);
    writer.text("BM");
    writer.zeros(8);
    writer.u32le(static_cast<std::uint32_t>(14 + header.size() + wish.extra.size()));
    writer.bytes(header);
    writer.bytes(wish.extra);
    writer.bytes(wish.pixels);
    return file;
}

namespace {

Bytes saved(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

} // namespace

Bytes swappedProfile()
{
    cmsCIExyY white;
    cmsWhitePointFromTemp(&white, 6504);
    cmsCIExyYTRIPLE primaries { { 0.15, 0.06, 1 }, { 0.30, 0.60, 1 }, { 0.64, 0.33, 1 } };
    cmsFloat64Number curve[] { 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045 };
    cmsToneCurve* tone = cmsBuildParametricToneCurve(nullptr, 4, curve);
    cmsToneCurve* tones[] { tone, tone, tone };
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, tones);
    cmsFreeToneCurve(tone);
    return saved(profile);
}

Bytes srgbProfile() { return saved(cmsCreate_sRGBProfile()); }

} // namespace mv::test
