#include "ffmpeg/movies/FrameImageRep.h"

#include "ffmpeg/FfmpegError.h"

#include <algorithm>

namespace mv {

namespace {

constexpr int Channels = 4;
/// FFmpeg's row stride alignment for what it writes with vector instructions.
constexpr std::size_t RowAlignment = 64;
/// Sides of a scaled picture; thumbnails have hundreds of pixels.
constexpr int MaxSide = 16384;

std::size_t paddedRow(int width)
{
    std::size_t row = static_cast<std::size_t>(width) * Channels;
    return (row + RowAlignment - 1) / RowAlignment * RowAlignment;
}

Scaler makeScaler(const AVFrame& frame, int width, int height)
{
    // Averaging every source pixel is best for shrinking; it does not interpolate when it enlarges.
    bool shrinks = width <= frame.width && height <= frame.height;
    // Without full chroma interpolation two neighbours share a colour in the small picture too.
    int flags = (shrinks ? SWS_AREA : SWS_BICUBIC) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
    auto format = static_cast<AVPixelFormat>(frame.format);
    Scaler scaler(sws_getContext(
        frame.width, frame.height, format, width, height, AV_PIX_FMT_RGBA, flags, nullptr, nullptr, nullptr));
    if (!scaler)
        return scaler;
    // The frame's own colour matrix and range; an untold matrix counts as BT.601, as FFmpeg has it. Red, green and blue
    // have none, but where the library goes over luma, the way there must be the way back.
    bool untold = frame.colorspace == AVCOL_SPC_UNSPECIFIED || frame.colorspace == AVCOL_SPC_RGB;
    int matrix = untold ? SWS_CS_DEFAULT : frame.colorspace;
    int* inverse = nullptr;
    int* table = nullptr;
    int sourceRange = 0;
    int targetRange = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    if (sws_getColorspaceDetails(
            scaler.get(), &inverse, &sourceRange, &table, &targetRange, &brightness, &contrast, &saturation)
        >= 0) {
        int fullRange = frame.color_range == AVCOL_RANGE_JPEG || sourceRange;
        sws_setColorspaceDetails(
            scaler.get(), sws_getCoefficients(matrix), fullRange, table, targetRange, brightness, contrast, saturation);
    }
    return scaler;
}

Result<Bitmap> scaled(const AVFrame& frame, int width, int height)
{
    if (width < 1 || height < 1 || width > MaxSide || height > MaxSide)
        return Error { Error::Kind::Limit, "no such picture size" };
    Scaler scaler = makeScaler(frame, width, height);
    if (!scaler)
        return Error { Error::Kind::Unsupported, "no way from the frame's pixels to RGB" };
    std::size_t stride = paddedRow(width);
    Bytes padded(stride * static_cast<std::size_t>(height) + RowAlignment);
    std::uint8_t* planes[] = { padded.data(), nullptr, nullptr, nullptr };
    int strides[] = { static_cast<int>(stride), 0, 0, 0 };
    int rows = sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    if (rows < 0)
        return ffmpegError(rows, "cannot scale the frame");
    Bitmap bitmap { width, height, {} };
    std::size_t row = static_cast<std::size_t>(width) * Channels;
    bitmap.pixels.reserve(row * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* source = padded.data() + stride * static_cast<std::size_t>(y);
        bitmap.pixels.insert(bitmap.pixels.end(), source, source + row);
    }
    return bitmap;
}

int wholeSide(float side, int own) { return side >= 1 ? static_cast<int>(std::min(side, 65536.0f)) : own; }

} // namespace

FrameImageRep::FrameImageRep(FrameHandle frame, Orientation orientation, PixelSize size)
    : m_frame(std::move(frame))
    , m_orientation(orientation)
    , m_width(wholeSide(size.width, orientation.swapsSides ? m_frame->height : m_frame->width))
    , m_height(wholeSide(size.height, orientation.swapsSides ? m_frame->width : m_frame->height))
{
}

Result<Bitmap> FrameImageRep::scaledTo(int width, int height) const
{
    bool swaps = m_orientation.swapsSides;
    MV_TRY(bitmap, scaled(*m_frame, swaps ? height : width, swaps ? width : height));
    return turned(std::move(bitmap), m_orientation);
}

Result<Color> FrameImageRep::colorAtXY(int x, int y) const
{
    // From the shown place back to the frame's.
    double across = (std::clamp(x, 0, m_width - 1) + 0.5) / m_width;
    double down = (std::clamp(y, 0, m_height - 1) + 0.5) / m_height;
    across = m_orientation.mirrorsX ? 1 - across : across;
    down = m_orientation.mirrorsY ? 1 - down : down;
    if (m_orientation.swapsSides)
        std::swap(across, down);
    auto column = static_cast<std::size_t>(across * m_frame->width);
    auto row = static_cast<std::size_t>(down * m_frame->height);
    // The pixel and its neighbour, from an even place: chroma is shared between them.
    FrameHandle corner(av_frame_clone(m_frame.get()));
    if (!corner)
        return ffmpegError(AVERROR(ENOMEM), "cannot read the pixel");
    corner->crop_left = column & ~std::size_t { 1 };
    corner->crop_top = row & ~std::size_t { 1 };
    auto frameWidth = static_cast<std::size_t>(m_frame->width);
    auto frameHeight = static_cast<std::size_t>(m_frame->height);
    corner->crop_right = frameWidth - std::min(frameWidth, corner->crop_left + 2);
    corner->crop_bottom = frameHeight - std::min(frameHeight, corner->crop_top + 2);
    std::size_t dx = column - corner->crop_left;
    std::size_t dy = row - corner->crop_top;
    if (int status = av_frame_apply_cropping(corner.get(), AV_FRAME_CROP_UNALIGNED); status < 0)
        return ffmpegError(status, "cannot read the pixel");
    MV_TRY(pixels, scaled(*corner, corner->width, corner->height));
    const std::uint8_t* pixel = pixels.pixels.data() + (dy * static_cast<std::size_t>(pixels.width) + dx) * Channels;
    return Color { pixel[0], pixel[1], pixel[2], pixel[3] };
}

} // namespace mv
