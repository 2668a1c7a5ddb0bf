#include "tests/pictures/JpegMaker.h"

#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace mv::test {

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

void setSampling(jpeg_compress_struct& state, const JpegWish& wish)
{
    state.comp_info[0].h_samp_factor = wish.sampling;
    state.comp_info[0].v_samp_factor = wish.samplingDown ? wish.samplingDown : wish.sampling;
}

} // namespace

Bytes makeJpeg(const Bitmap& bitmap, const JpegWish& wish)
{
    Compressor jpeg;
    jpeg.state.image_width = static_cast<JDIMENSION>(bitmap.width);
    jpeg.state.image_height = static_cast<JDIMENSION>(bitmap.height);
    jpeg.state.input_components = wish.gray ? 1 : 3;
    jpeg.state.in_color_space = wish.gray ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&jpeg.state);
    if (wish.storedRgb)
        jpeg_set_colorspace(&jpeg.state, JCS_RGB);
    jpeg_set_quality(&jpeg.state, wish.quality, TRUE);
    if (!wish.gray)
        setSampling(jpeg.state, wish);
    if (wish.progressive)
        jpeg_simple_progression(&jpeg.state);
    constexpr jpeg_scan_info ComponentScans[] { { 1, { 0 }, 0, 63, 0, 0 }, { 1, { 1 }, 0, 63, 0, 0 },
        { 1, { 2 }, 0, 63, 0, 0 } };
    if (wish.componentScans) {
        jpeg.state.scan_info = ComponentScans;
        jpeg.state.num_scans = 3;
    }
    jpeg.state.restart_interval = static_cast<unsigned>(wish.restartInterval);
    jpeg.state.arith_code = wish.arithmetic ? TRUE : FALSE;
    jpeg.start(wish.profile);
    Bytes row;
    for (int y = 0; y < bitmap.height; ++y) {
        row.clear();
        for (int x = 0; x < bitmap.width; ++x) {
            const std::uint8_t* pixel = &bitmap.pixels[(static_cast<std::size_t>(y) * bitmap.width + x) * 4];
            row.insert(row.end(), pixel, pixel + (wish.gray ? 1 : 3));
        }
        jpeg.writeRow(row);
    }
    return jpeg.finish();
}

Bytes makeYcckJpeg(const Bitmap& bitmap, bool progressive)
{
    Compressor jpeg;
    jpeg.state.image_width = static_cast<JDIMENSION>(bitmap.width);
    jpeg.state.image_height = static_cast<JDIMENSION>(bitmap.height);
    jpeg.state.input_components = 4;
    jpeg.state.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&jpeg.state);
    jpeg_set_colorspace(&jpeg.state, JCS_YCCK);
    for (int i : { 0, 3 })
        jpeg.state.comp_info[i].h_samp_factor = jpeg.state.comp_info[i].v_samp_factor = 1;
    jpeg_set_quality(&jpeg.state, 90, TRUE);
    if (progressive)
        jpeg_simple_progression(&jpeg.state);
    jpeg.start({});
    Bytes row;
    for (int y = 0; y < bitmap.height; ++y) {
        row.clear();
        for (int x = 0; x < bitmap.width; ++x) {
            const std::uint8_t* pixel = &bitmap.pixels[(static_cast<std::size_t>(y) * bitmap.width + x) * 4];
            row.insert(row.end(), { pixel[0], pixel[1], pixel[2], pixel[0] });
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
    for (int x = 0; x < width; ++x) {
        for (std::uint8_t ink : inks)
            row.push_back(static_cast<std::uint8_t>(adobe ? 255 - ink : ink));
    }
    for (int y = 0; y < height; ++y)
        jpeg.writeRow(row);
    return jpeg.finish();
}

} // namespace mv::test
