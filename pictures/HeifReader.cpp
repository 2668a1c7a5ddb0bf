#include "pictures/HeifReader.h"

#include "Base/Core/Handle.h"
#include "pictures/HeifItems.h"

#include <algorithm>
#include <cmath>

namespace mv {

namespace {

// A preview stands in for faithful drawings of at most half its size, and when its sides relate as the picture's do.
constexpr int PreviewReserve = 2;
constexpr double PreviewShapeTolerance = 0.01;
/// Pixels of the shorter side.
constexpr double PreviewRounding = 2;
constexpr int MaxPreviews = 8;

void straightenAlpha(const std::uint8_t* from, std::uint8_t* to, int width)
{
    for (int x = 0; x < width; ++x, from += 4, to += 4) {
        for (int c = 0; c < 3; ++c)
            to[c] = from[3] ? static_cast<std::uint8_t>(std::min(255, (from[c] * 255 + from[3] / 2) / from[3])) : 0;
        to[3] = from[3];
    }
}

Error failure(const heif_error& error)
{
    return { Error::Kind::Format, error.message ? error.message : "a broken HEIF" };
}

} // namespace

HeifReader::~HeifReader()
{
    if (m_handle)
        m_heif.handleRelease(m_handle);
    if (m_context)
        m_heif.contextFree(m_context);
}

Result<PictureReaders> HeifReader::open(const SharedSource& source, Drawing drawing)
{
    const HeifLibrary* heif = HeifLibrary::get();
    if (!heif)
        return Error { Error::Kind::Unsupported, "no HEIF library" };
    std::unique_ptr<HeifReader> reader(new HeifReader(source, *heif, drawing));
    MV_TRY_VOID(reader->readHeader());
    PictureReaders readers;
    readers.push_back(std::move(reader));
    return readers;
}

/// The library reads through these as it goes.
void HeifReader::setCallbacks()
{
    m_callbacks.reader_api_version = 1;
    m_callbacks.get_position
        = [](void* self) { return static_cast<std::int64_t>(static_cast<HeifReader*>(self)->m_position); };
    m_callbacks.read = [](void* target, std::size_t size, void* self) {
        auto& reader = *static_cast<HeifReader*>(self);
        std::size_t count = reader.m_source->readUpTo(reader.m_position, { static_cast<std::uint8_t*>(target), size });
        reader.m_position += count;
        return count == size ? 0 : 1;
    };
    m_callbacks.seek = [](std::int64_t position, void* self) {
        static_cast<HeifReader*>(self)->m_position = static_cast<std::uint64_t>(position);
        return 0;
    };
    m_callbacks.wait_for_file_size = [](std::int64_t size, void* self) {
        auto& reader = *static_cast<HeifReader*>(self);
        return size >= 0 && static_cast<std::uint64_t>(size) <= reader.m_source->size()
            ? heif_reader_grow_status_size_reached
            : heif_reader_grow_status_size_beyond_eof;
    };
}

Result<void> HeifReader::readHeader()
{
    setCallbacks();
    m_context = m_heif.contextAlloc();
    if (!m_context)
        return Error { Error::Kind::Limit, "no memory for a HEIF" };
    m_heif.contextSetMaxDecodingThreads(m_context, 0); // on the caller's thread: calls run beside each other already
    heif_error error = m_heif.contextReadFromReader(m_context, &m_callbacks, this, nullptr);
    if (error.code == heif_error_Ok)
        error = m_heif.contextGetPrimaryImageHandle(m_context, &m_handle);
    if (error.code != heif_error_Ok)
        return failure(error);

    int width = m_heif.handleGetWidth(m_handle);
    int height = m_heif.handleGetHeight(m_handle);
    if (width < 1 || height < 1)
        return Error { Error::Kind::Format, "a HEIF without pixels" };
    MV_TRY_VOID(checkPictureSize(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height)));
    if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) > MaxWholePicturePixels)
        return Error { Error::Kind::Limit, "a HEIF of too many pixels" };
    PixelModel model = m_heif.handleHasAlphaChannel(m_handle) ? PixelModel::RgbAlpha : PixelModel::Rgb;
    m_header = { width, height, model, profileOf(m_handle) };
    return {};
}

Bytes HeifReader::profileOf(const heif_image_handle* handle) const
{
    heif_color_profile_type type = m_heif.handleGetColorProfileType(handle);
    if (type != heif_color_profile_type_rICC && type != heif_color_profile_type_prof)
        return {};
    std::size_t size = m_heif.handleGetRawColorProfileSize(handle);
    if (size == 0 || size > MaxProfileBytes)
        return {};
    Bytes profile(size);
    return m_heif.handleGetRawColorProfile(handle, profile.data()).code == heif_error_Ok ? profile : Bytes {};
}

/// Whether the sides of a preview relate as the picture's do. Small ones are rounded, by some encoders to even numbers.
bool HeifReader::hasShape(const heif_image_handle* preview) const
{
    double width = m_heif.handleGetWidth(preview);
    double height = m_heif.handleGetHeight(preview);
    double shape = static_cast<double>(m_header.width) / m_header.height;
    if (std::fabs(width / height / shape - 1) < PreviewShapeTolerance)
        return true;
    return m_drawing == Drawing::Quick
        && (shape > 1 ? std::fabs(height - width / shape) : std::fabs(width - height * shape)) < PreviewRounding;
}

/// Whether it has transparency where the picture has it, and no colours of its own.
bool HeifReader::isLikeThePicture(const heif_image_handle* preview) const
{
    Bytes profile = profileOf(preview);
    return (profile.empty() || profile == m_header.profile)
        && (m_heif.handleHasAlphaChannel(preview) != 0) == hasAlpha(m_header.model);
}

/// For a faithful drawing the first preview of twice its size, else the smallest one of its size; or null.
HeifReader::PictureHandle HeifReader::previewFor(int targetWidth, int targetHeight) const
{
    heif_item_id ids[MaxPreviews];
    int count = std::min(m_heif.handleGetListOfThumbnailIds(m_handle, ids, MaxPreviews), MaxPreviews);
    bool isQuick = m_drawing == Drawing::Quick;
    auto items = isQuick && count > 0 ? HeifItems::read(*m_source) : std::nullopt;
    double reserve = isQuick ? 1 : PreviewReserve;
    PictureHandle best(nullptr, m_heif.handleRelease);
    for (int i = 0; i < count && (isQuick || !best); ++i) {
        heif_image_handle* found = nullptr;
        if (m_heif.handleGetThumbnail(m_handle, ids[i], &found).code != heif_error_Ok)
            continue;
        PictureHandle preview(found, m_heif.handleRelease);
        int width = m_heif.handleGetWidth(found);
        if (width < reserve * targetWidth || m_heif.handleGetHeight(found) < reserve * targetHeight || !hasShape(found))
            continue;
        // One that lies otherwise may be meant to be turned like the picture, or be upright already.
        if (isQuick && !(items && items->areTurnedAlike(items->primary(), ids[i]) && isLikeThePicture(found)))
            continue;
        if (!best || width < m_heif.handleGetWidth(best.get()))
            best = std::move(preview);
    }
    return best;
}

Result<void> HeifReader::decode(int targetWidth, int targetHeight, RowSink& sink)
{
    PictureHandle preview = previewFor(targetWidth, targetHeight);
    bool isQuick = m_drawing == Drawing::Quick;
    if (preview) {
        auto delivered = deliver(preview.get(), isQuick, sink);
        if (delivered || !isQuick)
            return delivered;
    }
    return deliver(m_handle, false, sink);
}

/// `isStrict`: whatever is damaged is an error, before the sink has got anything.
Result<void> HeifReader::deliver(const heif_image_handle* handle, bool isStrict, RowSink& sink) const
{
    bool alpha = hasAlpha(m_header.model);
    heif_decoding_options* options = m_heif.decodingOptionsAlloc();
    ScopeGuard releaseOptions([&] { m_heif.decodingOptionsFree(options); });
    options->convert_hdr_to_8bit = 1;
    if (isStrict && options->version >= 3)
        options->strict_decoding = 1;
    heif_image* image = nullptr;
    heif_error error = m_heif.decodeImage(handle, &image, heif_colorspace_RGB,
        alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, options);
    if (error.code != heif_error_Ok)
        return failure(error);
    ScopeGuard releaseImage([&] { m_heif.imageRelease(image); });

    int stride = 0;
    const std::uint8_t* pixels = m_heif.imageGetPlaneReadonly(image, heif_channel_interleaved, &stride);
    int width = m_heif.imageGetWidth(image, heif_channel_interleaved);
    int height = m_heif.imageGetHeight(image, heif_channel_interleaved);
    bool isOtherSize = width != m_heif.handleGetWidth(handle) || height != m_heif.handleGetHeight(handle);
    if (!pixels || width < 1 || height < 1 || stride < width * channelsOf(m_header.model) || (isStrict && isOtherSize))
        return Error { Error::Kind::Format, "a HEIF that decodes to nothing" };
    if (!sink.begin({ width, height, m_header.model }))
        return Error { Error::Kind::Limit, "a HEIF too large to draw" };
    bool straighten = alpha && m_heif.handleIsPremultipliedAlpha(handle);
    Bytes straight(straighten ? static_cast<std::size_t>(width) * 4 : 0);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = pixels + static_cast<std::ptrdiff_t>(y) * stride;
        if (straighten) {
            straightenAlpha(row, straight.data(), width);
            row = straight.data();
        }
        if (!sink.row(row))
            break;
    }
    return {};
}

} // namespace mv
