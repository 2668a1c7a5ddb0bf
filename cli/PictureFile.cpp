#include "cli/PictureFile.h"

#include "Base/Core/Handle.h"
#include "cli/PictureDecoding.h"
#include "cli/text/JsonText.h"
#include "png/PngFile.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace mv::cli {

namespace {

constexpr int JpegQuality = 85;
constexpr std::size_t Channels = 4;
constexpr std::size_t JpegChannels = 3;

struct JpegFailure {
    jpeg_error_mgr manager; // first, so that the library's pointer to it is one to this
    jmp_buf leave;
};

void leaveLibrary(j_common_ptr info) { std::longjmp(reinterpret_cast<JpegFailure*>(info->err)->leave, 1); }

/// Nothing here has a destructor: the library's failures jump over it.
bool compressRows(const std::uint8_t* rgb, int width, int height, unsigned char** out, unsigned long* size)
{
    jpeg_compress_struct info;
    JpegFailure failure;
    info.err = jpeg_std_error(&failure.manager);
    failure.manager.error_exit = leaveLibrary;
    if (setjmp(failure.leave)) {
        jpeg_destroy_compress(&info);
        return false;
    }
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, out, size);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = static_cast<int>(JpegChannels);
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, JpegQuality, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto* row
            = const_cast<std::uint8_t*>(rgb) + std::size_t { info.next_scanline } * info.image_width * JpegChannels;
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    return true;
}

bool isOpaque(const Bitmap& bitmap)
{
    for (std::size_t i = Channels - 1; i < bitmap.pixels.size(); i += Channels) {
        if (bitmap.pixels[i] != 255)
            return false;
    }
    return true;
}

} // namespace

Bitmap flattened(Bitmap bitmap, Color background)
{
    const std::uint8_t ground[] = { background.red, background.green, background.blue };
    for (std::size_t i = 0; i + Channels <= bitmap.pixels.size(); i += Channels) {
        unsigned alpha = bitmap.pixels[i + 3];
        for (std::size_t j = 0; j < JpegChannels; ++j) {
            unsigned mixed = bitmap.pixels[i + j] * alpha + ground[j] * (255 - alpha);
            bitmap.pixels[i + j] = static_cast<std::uint8_t>((mixed + 127) / 255);
        }
        bitmap.pixels[i + 3] = 255;
    }
    return bitmap;
}

Result<Bytes> jpegOf(const Bitmap& bitmap)
{
    Bytes rgb;
    rgb.reserve(bitmap.pixels.size() / Channels * JpegChannels);
    for (std::size_t i = 0; i + Channels <= bitmap.pixels.size(); i += Channels)
        rgb.insert(rgb.end(), bitmap.pixels.begin() + static_cast<std::ptrdiff_t>(i),
            bitmap.pixels.begin() + static_cast<std::ptrdiff_t>(i + JpegChannels));
    unsigned char* out = nullptr;
    unsigned long size = 0;
    bool done = compressRows(rgb.data(), bitmap.width, bitmap.height, &out, &size);
    std::unique_ptr<unsigned char, CloseWith<std::free>> owner(out);
    if (!done)
        return Error { Error::Kind::Limit, "the picture cannot be made a JPEG" };
    return Bytes(out, out + size);
}

bool isPictureForm(std::string_view extension)
{
    constexpr std::array<std::string_view, 5> Forms { "tif", "tiff", "png", "jpg", "jpeg" };
    return std::find(Forms.begin(), Forms.end(), extension) != Forms.end();
}

Result<Bytes> pictureFor(std::string_view extension, const Bytes& tiff)
{
    if (!isPictureForm(extension))
        return Error { Error::Kind::Unsupported, "the name must end in .tif, .png or .jpg" };
    if (extension == "tif" || extension == "tiff")
        return tiff;
    MV_TRY(bitmap, bitmapOfTiff(tiff));
    if (extension == "png")
        return pngOf(bitmap);
    return jpegOf(flattened(std::move(bitmap), Color::white()));
}

Result<std::string> dataAddress(const Bytes& tiff)
{
    MV_TRY(bitmap, bitmapOfTiff(tiff));
    if (!isOpaque(bitmap))
        return "data:image/png;base64," + base64(pngOf(bitmap));
    MV_TRY(jpeg, jpegOf(bitmap));
    return "data:image/jpeg;base64," + base64(jpeg);
}

} // namespace mv::cli
