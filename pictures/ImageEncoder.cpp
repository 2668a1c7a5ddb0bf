#include "pictures/ImageEncoder.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace mv {

namespace {

/// libjpeg's compressor with an owner; as it leaves by longjmp when it fails, its calls sit in small members that
/// have nothing to destroy on the way.
class JpegCompressor {
public:
    JpegCompressor()
    {
        m_state.err = jpeg_std_error(&m_errors.manager);
        m_errors.manager.error_exit = failed;
        m_errors.manager.output_message = [](j_common_ptr) {};
    }
    ~JpegCompressor()
    {
        jpeg_destroy_compress(&m_state);
        std::free(m_output);
    }
    JpegCompressor(const JpegCompressor&) = delete;
    JpegCompressor& operator=(const JpegCompressor&) = delete;

    bool start(int width, int height, int quality)
    {
        if (setjmp(m_errors.jump))
            return false;
        jpeg_create_compress(&m_state);
        jpeg_mem_dest(&m_state, &m_output, &m_outputBytes);
        m_state.image_width = static_cast<JDIMENSION>(width);
        m_state.image_height = static_cast<JDIMENSION>(height);
        m_state.input_components = 3;
        m_state.in_color_space = JCS_RGB;
        jpeg_set_defaults(&m_state);
        jpeg_set_quality(&m_state, quality, TRUE);
        jpeg_start_compress(&m_state, TRUE);
        return true;
    }
    bool writeRow(JSAMPROW row)
    {
        if (setjmp(m_errors.jump))
            return false;
        return jpeg_write_scanlines(&m_state, &row, 1) == 1;
    }
    bool finish()
    {
        if (setjmp(m_errors.jump))
            return false;
        jpeg_finish_compress(&m_state);
        return true;
    }
    Bytes output() const { return Bytes(m_output, m_output + m_outputBytes); }

private:
    struct Errors {
        jpeg_error_mgr manager; // first, as the library knows only this part
        std::jmp_buf jump;
    };
    static void failed(j_common_ptr state) { std::longjmp(reinterpret_cast<Errors*>(state->err)->jump, 1); }

    jpeg_compress_struct m_state {};
    Errors m_errors {};
    unsigned char* m_output = nullptr;
    unsigned long m_outputBytes = 0;
};

void overWhite(const std::uint8_t* rgba, std::uint8_t* rgb, int width)
{
    for (int x = 0; x < width; ++x, rgba += 4, rgb += 3) {
        for (int c = 0; c < 3; ++c)
            rgb[c] = static_cast<std::uint8_t>((rgba[c] * rgba[3] + 255 * (255 - rgba[3]) + 127) / 255);
    }
}

bool isEmpty(const Bitmap& bitmap)
{
    return bitmap.width < 1 || bitmap.height < 1
        || bitmap.pixels.size() != static_cast<std::size_t>(bitmap.width) * bitmap.height * 4;
}

} // namespace

Result<Bytes> encodeJpeg(const Bitmap& bitmap, int quality)
{
    if (isEmpty(bitmap) || bitmap.width > JPEG_MAX_DIMENSION || bitmap.height > JPEG_MAX_DIMENSION)
        return Error { Error::Kind::Unsupported, "a size that JPEG does not have" };
    JpegCompressor jpeg;
    Bytes row(static_cast<std::size_t>(bitmap.width) * 3);
    bool fine = jpeg.start(bitmap.width, bitmap.height, quality);
    for (int y = 0; fine && y < bitmap.height; ++y) {
        overWhite(&bitmap.pixels[static_cast<std::size_t>(y) * bitmap.width * 4], row.data(), bitmap.width);
        fine = jpeg.writeRow(row.data());
    }
    if (!fine || !jpeg.finish())
        return Error { Error::Kind::Io, "the JPEG encoder failed" };
    return jpeg.output();
}

} // namespace mv
