#include "pictures/TiffReader.h"

#include "pictures/TiffLayout.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

// Pages become representations; albums of scanned pages have hundreds.
constexpr std::size_t MaxPages = 1000;
// One row of tiles, or one strip, decoded.
constexpr std::uint64_t MaxBandBytes = 256u << 20;

void deliverRows(TIFF* tiff, const TiffLayout& layout, int width, int height, RowSink& sink)
{
    Bytes row(std::max(static_cast<std::size_t>(TIFFScanlineSize64(tiff)), layout.rowBytes(width)));
    Bytes pixels(static_cast<std::size_t>(width) * channelsOf(layout.model()));
    for (int y = 0; y < height; ++y) {
        if (TIFFReadScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0) < 0)
            return;
        layout.expand(row.data(), width, pixels.data());
        if (!sink.row(pixels.data()))
            return;
    }
}

struct TileSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

TileSize tileSizeOf(TIFF* tiff)
{
    TileSize size;
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &size.width);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &size.height);
    return size;
}

Result<void> deliverTiles(TIFF* tiff, const TiffLayout& layout, int width, int height, RowSink& sink)
{
    TileSize tile = tileSizeOf(tiff);
    std::uint64_t channels = static_cast<std::uint64_t>(channelsOf(layout.model()));
    std::uint64_t tileBytes = TIFFTileSize64(tiff);
    std::uint64_t stride = static_cast<std::uint64_t>(width) * channels;
    if (tile.width == 0 || tile.height == 0 || tile.width > static_cast<std::uint32_t>(MaxSourceSide)
        || tile.height > static_cast<std::uint32_t>(MaxSourceSide) || stride * tile.height > MaxBandBytes
        || tileBytes > MaxBandBytes || tileBytes < layout.rowBytes(static_cast<int>(tile.width)) * tile.height)
        return Error { Error::Kind::Limit, "tiles too large to hold" };

    Bytes samples(static_cast<std::size_t>(tileBytes));
    Bytes band(static_cast<std::size_t>(stride * tile.height));
    std::size_t tileStride = layout.rowBytes(static_cast<int>(tile.width));
    for (std::uint32_t top = 0; top < static_cast<std::uint32_t>(height); top += tile.height) {
        int rows = static_cast<int>(std::min(tile.height, static_cast<std::uint32_t>(height) - top));
        for (std::uint32_t left = 0; left < static_cast<std::uint32_t>(width); left += tile.width) {
            if (TIFFReadTile(tiff, samples.data(), left, top, 0, 0) < 0)
                return {};
            int columns = static_cast<int>(std::min(tile.width, static_cast<std::uint32_t>(width) - left));
            for (int y = 0; y < rows; ++y)
                layout.expand(&samples[tileStride * y], columns, &band[stride * y + left * channels]);
        }
        for (int y = 0; y < rows; ++y) {
            if (!sink.row(&band[stride * y]))
                return {};
        }
    }
    return {};
}

/// libtiff's conversion of a page into colours, strip by strip.
class RgbaConversion {
public:
    explicit RgbaConversion(TIFF* tiff)
        : m_tiff(tiff)
    {
        char message[1024] = {};
        m_usable = TIFFRGBAImageOK(tiff, message) && TIFFRGBAImageBegin(&m_image, tiff, 0, message);
        if (m_usable)
            m_image.req_orientation = m_image.orientation = ORIENTATION_TOPLEFT; // as stored
    }
    ~RgbaConversion()
    {
        if (m_usable)
            TIFFRGBAImageEnd(&m_image);
    }
    RgbaConversion(const RgbaConversion&) = delete;
    RgbaConversion& operator=(const RgbaConversion&) = delete;

    Result<void> deliver(int width, int height, RowSink& sink)
    {
        if (!m_usable)
            return Error { Error::Kind::Unsupported, "a TIFF of a kind that is not taken" };
        std::uint32_t step = rowsAtOnce(static_cast<std::uint32_t>(height));
        std::uint64_t samples = static_cast<std::uint64_t>(width) * step;
        if (samples * 4 > MaxBandBytes)
            return Error { Error::Kind::Limit, "strips too large to hold" };
        std::vector<std::uint32_t> raster(static_cast<std::size_t>(samples));
        Bytes row(static_cast<std::size_t>(width) * 4);
        for (std::uint32_t top = 0; top < static_cast<std::uint32_t>(height); top += step) {
            std::uint32_t rows = std::min(step, static_cast<std::uint32_t>(height) - top);
            m_image.row_offset = static_cast<int>(top);
            m_image.col_offset = 0;
            if (!TIFFRGBAImageGet(&m_image, raster.data(), static_cast<std::uint32_t>(width), rows))
                return {};
            for (std::uint32_t y = 0; y < rows; ++y) {
                unpack(&raster[static_cast<std::size_t>(y) * width], width, row.data());
                if (!sink.row(row.data()))
                    return {};
            }
        }
        return {};
    }

private:
    std::uint32_t rowsAtOnce(std::uint32_t height) const
    {
        if (TIFFIsTiled(m_tiff))
            return std::clamp(tileSizeOf(m_tiff).height, 1U, height);
        std::uint32_t rows = height;
        TIFFGetFieldDefaulted(m_tiff, TIFFTAG_ROWSPERSTRIP, &rows);
        return std::clamp(rows, 1U, height);
    }
    /// The conversion multiplies by alpha.
    static void unpack(const std::uint32_t* raster, int width, std::uint8_t* row)
    {
        for (int x = 0; x < width; ++x, row += 4) {
            std::uint32_t alpha = TIFFGetA(raster[x]);
            const std::uint32_t colors[] { TIFFGetR(raster[x]), TIFFGetG(raster[x]), TIFFGetB(raster[x]) };
            for (int c = 0; c < 3; ++c)
                row[c] = static_cast<std::uint8_t>(
                    alpha ? std::min<std::uint32_t>(255, (colors[c] * 255 + alpha / 2) / alpha) : 0);
            row[3] = static_cast<std::uint8_t>(alpha);
        }
    }

    TIFF* m_tiff;
    TIFFRGBAImage m_image {};
    bool m_usable = false;
};

} // namespace

Result<PictureReaders> TiffReader::open(const SharedSource& source)
{
    MV_TRY(file, TiffFile::open(*source));
    PictureReaders readers;
    do {
        std::unique_ptr<TiffReader> reader(new TiffReader(source, TIFFCurrentDirOffset(file->get())));
        auto read = reader->readHeader(file->get());
        if (!read && readers.empty())
            return read.error();
        if (!read)
            break;
        readers.push_back(std::move(reader));
    } while (readers.size() < MaxPages && TIFFReadDirectory(file->get()));
    return readers;
}

Result<void> TiffReader::readHeader(TIFF* tiff)
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    MV_TRY_VOID(checkPictureSize(width, height));
    auto layout = TiffLayout::of(tiff);
    m_plain = layout.has_value();
    m_header.width = static_cast<int>(width);
    m_header.height = static_cast<int>(height);
    m_header.model = layout ? layout->model() : PixelModel::RgbAlpha;
    std::uint32_t size = 0;
    void* profile = nullptr;
    // libtiff's own conversion has already left the profile's colours.
    if (m_plain && TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &size, &profile) && size <= MaxProfileBytes) {
        const auto* bytes = static_cast<const std::uint8_t*>(profile);
        m_header.profile.assign(bytes, bytes + size);
    }
    return {};
}

Result<void> TiffReader::decode(int, int, RowSink& sink)
{
    MV_TRY(file, TiffFile::open(*m_source));
    TIFF* tiff = file->get();
    if (!TIFFSetSubDirectory(tiff, m_directory))
        return Error { Error::Kind::Format, "a TIFF page that went away" };
    if (!sink.begin({ m_header.width, m_header.height, m_header.model }))
        return Error { Error::Kind::Limit, "a TIFF too large to draw" };
    auto layout = m_plain ? TiffLayout::of(tiff) : std::nullopt;
    if (!layout)
        return RgbaConversion(tiff).deliver(m_header.width, m_header.height, sink);
    if (TIFFIsTiled(tiff))
        return deliverTiles(tiff, *layout, m_header.width, m_header.height, sink);
    deliverRows(tiff, *layout, m_header.width, m_header.height, sink);
    return {};
}

} // namespace mv
