#include "pictures/WebPReader.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Handle.h"

#include <algorithm>
#include <cstring>
#include <webp/decode.h>

namespace mv {

namespace {

using IncrementalDecoder = std::unique_ptr<WebPIDecoder, CloseWith<WebPIDelete>>;

constexpr std::uint64_t RiffBytes = 12;
constexpr std::uint64_t ChunkHeaderBytes = 8;
constexpr std::uint64_t FrameHeaderBytes = 16;
// Unknown chunks may stand before the picture, but not for ever.
constexpr int MaxChunks = 1000;
// The library wants the compressed picture in one piece; the largest one possible is not compressed to more.
constexpr std::uint64_t MaxCompressedBytes = 256u << 20;
// The decoder's own shrinking averages; leave this many times the target to the resampler.
constexpr int ShrinkReserve = 2;
constexpr int ShrinkFrom = 4;
constexpr int SmoothFrom = 3;

constexpr std::uint32_t Vp8x = fourCC("VP8X");
constexpr std::uint32_t Iccp = fourCC("ICCP");
constexpr std::uint32_t Alph = fourCC("ALPH");
constexpr std::uint32_t Vp8 = fourCC("VP8 ");
constexpr std::uint32_t Vp8l = fourCC("VP8L");
constexpr std::uint32_t Anmf = fourCC("ANMF");

int u24le(ByteReader& reader)
{
    int low = reader.u16le();
    return low | reader.u8() << 16;
}

int shrunkSide(int side, int target)
{
    return side >= ShrinkFrom * std::int64_t { target } ? ShrinkReserve * target : side;
}

} // namespace

Result<PictureReaders> WebPReader::open(const SharedSource& source)
{
    std::unique_ptr<WebPReader> reader(new WebPReader);
    reader->m_source = source;
    MV_TRY_VOID(reader->readChunks(*source));
    PictureReaders readers;
    readers.push_back(std::move(reader));
    return readers;
}

Result<void> WebPReader::readChunks(const ByteSource& source)
{
    std::uint64_t offset = RiffBytes;
    for (int count = 0; count < MaxChunks; ++count) {
        MV_TRY(start, source.bytesAt(offset, ChunkHeaderBytes));
        ByteReader reader(start);
        std::uint32_t type = reader.u32be();
        std::uint64_t length = reader.u32le();
        std::uint64_t content = offset + ChunkHeaderBytes;
        if (type == Vp8x) {
            MV_TRY(canvas, source.bytesAt(content, 10));
            ByteReader fields(ByteView(canvas).subspan(4));
            m_header.width = u24le(fields) + 1;
            m_header.height = u24le(fields) + 1;
        } else if (type == Iccp && length <= MaxProfileBytes) {
            MV_TRY(profile, source.bytesAt(content, length));
            m_header.profile = std::move(profile);
        } else if (type == Anmf) {
            return readAnimationFrame(source, content, length);
        } else if (type == Alph || type == Vp8 || type == Vp8l) {
            m_frame.offset = offset;
            m_frame.length = source.size() - offset;
            m_header.width = m_header.height = 0; // a still picture is its own canvas
            return readFrameHeader(source);
        }
        offset = content + length + length % 2;
    }
    return Error { Error::Kind::Limit, "a WebP without a picture" };
}

Result<void> WebPReader::readAnimationFrame(const ByteSource& source, std::uint64_t offset, std::uint64_t length)
{
    MV_TRY(bytes, source.bytesAt(offset, FrameHeaderBytes));
    ByteReader reader(bytes);
    m_frame.x = u24le(reader) * 2;
    m_frame.y = u24le(reader) * 2;
    m_frame.offset = offset + FrameHeaderBytes;
    m_frame.length = std::min(length, source.size() - offset) - std::min(length, FrameHeaderBytes);
    return readFrameHeader(source);
}

Result<void> WebPReader::readFrameHeader(const ByteSource& source)
{
    // An alpha chunk may stand before the one that tells the size.
    constexpr std::uint64_t EnoughForFeatures = 1u << 20;
    MV_TRY(start, source.bytesAt(m_frame.offset, std::min(m_frame.length, EnoughForFeatures)));
    WebPBitstreamFeatures features {};
    VP8StatusCode status = WebPGetFeatures(start.data(), start.size(), &features);
    if (status == VP8_STATUS_NOT_ENOUGH_DATA && m_frame.length > EnoughForFeatures
        && m_frame.length <= MaxCompressedBytes) {
        MV_TRY(whole, source.bytesAt(m_frame.offset, m_frame.length));
        status = WebPGetFeatures(whole.data(), whole.size(), &features);
    }
    if (status != VP8_STATUS_OK || features.width < 1 || features.height < 1)
        return Error { Error::Kind::Format, "a WebP header that cannot be read" };
    m_frame.width = features.width;
    m_frame.height = features.height;
    if (m_header.width == 0) {
        m_header.width = m_frame.width;
        m_header.height = m_frame.height;
    }
    m_header.model = features.has_alpha || !coversCanvas() ? PixelModel::RgbAlpha : PixelModel::Rgb;
    MV_TRY_VOID(
        checkPictureSize(static_cast<std::uint64_t>(m_header.width), static_cast<std::uint64_t>(m_header.height)));
    if (static_cast<std::uint64_t>(m_frame.width) * m_frame.height > MaxWholePicturePixels)
        return Error { Error::Kind::Limit, "a WebP of too many pixels" };
    return {};
}

/// Decodes into `width` x `height`; `rows` tells how many came, fewer than all when the file is cut short.
Result<Bytes> WebPReader::decodeFrame(int width, int height, int& rows) const
{
    if (m_frame.length > MaxCompressedBytes)
        return Error { Error::Kind::Limit, "a WebP too large to hold" };
    MV_TRY(compressed, m_source->bytesAt(m_frame.offset, m_frame.length));
    int channels = channelsOf(m_header.model);
    Bytes pixels(static_cast<std::size_t>(width) * height * channels);
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config))
        return Error { Error::Kind::Unsupported, "another libwebp than was built for" };
    config.options.use_scaling = width != m_frame.width || height != m_frame.height;
    config.options.scaled_width = width;
    config.options.scaled_height = height;
    // Smoothing between blocks is the last step of a decoder and does not show when several pixels become one.
    config.options.bypass_filtering = m_frame.width >= SmoothFrom * width && m_frame.height >= SmoothFrom * height;
    config.output.colorspace = channels == 4 ? MODE_RGBA : MODE_RGB;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = pixels.data();
    config.output.u.RGBA.stride = width * channels;
    config.output.u.RGBA.size = pixels.size();

    IncrementalDecoder decoder(WebPIDecode(nullptr, 0, &config));
    if (!decoder)
        return Error { Error::Kind::Limit, "no memory for a WebP" };
    VP8StatusCode status = WebPIUpdate(decoder.get(), compressed.data(), compressed.size());
    rows = 0;
    WebPIDecGetRGB(decoder.get(), &rows, nullptr, nullptr, nullptr);
    if (status == VP8_STATUS_OK)
        rows = height;
    return pixels;
}

Result<void> WebPReader::decode(int targetWidth, int targetHeight, RowSink& sink)
{
    int rows = 0;
    if (!coversCanvas()) {
        if (!sink.begin({ m_header.width, m_header.height, m_header.model }))
            return Error { Error::Kind::Limit, "a WebP too large to draw" };
        MV_TRY(pixels, decodeFrame(m_frame.width, m_frame.height, rows));
        placeFrame(pixels, rows, sink);
        return {};
    }
    int width = shrunkSide(m_header.width, targetWidth);
    int height = shrunkSide(m_header.height, targetHeight);
    if (!sink.begin({ width, height, m_header.model }))
        return Error { Error::Kind::Limit, "a WebP too large to draw" };
    MV_TRY(pixels, decodeFrame(width, height, rows));
    std::size_t stride = static_cast<std::size_t>(width) * channelsOf(m_header.model);
    for (int y = 0; y < rows; ++y) {
        if (!sink.row(&pixels[stride * y]))
            break;
    }
    return {};
}

/// Lays the frame on the clear canvas; what lies outside is cut off.
void WebPReader::placeFrame(const Bytes& pixels, int rows, RowSink& sink) const
{
    constexpr std::size_t Channels = 4;
    if (rows == 0)
        return;
    int columns = std::clamp(m_header.width - m_frame.x, 0, m_frame.width);
    Bytes row(static_cast<std::size_t>(m_header.width) * Channels);
    for (int y = 0; y < m_header.height; ++y) {
        std::fill(row.begin(), row.end(), std::uint8_t { 0 });
        int frameRow = y - m_frame.y;
        if (frameRow >= 0 && frameRow < rows && columns > 0)
            std::memcpy(&row[static_cast<std::size_t>(m_frame.x) * Channels],
                &pixels[static_cast<std::size_t>(frameRow) * m_frame.width * Channels], columns * Channels);
        if (!sink.row(row.data()))
            return;
    }
}

} // namespace mv
