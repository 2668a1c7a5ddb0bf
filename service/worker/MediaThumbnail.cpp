#include "service/worker/MediaThumbnail.h"

#include "Base/Media/TiffForm.h"
#include "facts/reading/Describe.h"
#include "pictures/ImageEncoder.h"
#include "pictures/PictureReader.h"
#include "png/PngFile.h"
#include "service/parsers/Preview.h"
#include "service/worker/MediaProblems.h"

#include <utility>

namespace mv {

namespace {

// Better than an encoder's own, which shows in small pictures.
constexpr int JpegQuality = 85;

Result<Bytes> encoded(Bitmap bitmap, ThumbnailFormat format)
{
    switch (format) {
    case ThumbnailFormat::Jpeg:
        return encodeJpeg(bitmap, JpegQuality);
    case ThumbnailFormat::Rgba:
        return std::move(bitmap.pixels);
    case ThumbnailFormat::Png:
        break;
    }
    return pngOf(bitmap);
}

/// In the form that is wanted; nothing where the preview has no pixels.
MediaResult thumbnailOf(const std::optional<Record>& preview, ThumbnailFormat format)
{
    if (preview && preview->boolean(kPreviewIsMissing).value_or(false))
        return MediaProblem::NoPicture;
    const Bytes* tiff = preview ? preview->data(kPreviewPicture) : nullptr;
    auto pixels = tiff ? pixelsOfTiff(*tiff) : std::nullopt;
    if (!pixels)
        return MediaProblem::Failed;
    auto data = encoded({ pixels->width, pixels->height, Bytes(pixels->pixels.begin(), pixels->pixels.end()) }, format);
    if (!data)
        return MediaProblem::Failed;
    return Thumbnail { static_cast<std::uint32_t>(pixels->width), static_cast<std::uint32_t>(pixels->height),
        std::move(*data) };
}

/// The first picture that can be drawn; the front cover stands first.
MediaResult coverOf(Facts facts, const PreviewWish& preview, ThumbnailFormat format)
{
    for (FactPicture& picture : facts.pictures) {
        SharedSource bytes = sourceOfBytes(std::move(picture.data));
        auto result = thumbnailOf(makePreview({ Path(), FileAttributes {}, std::move(bytes) }, preview), format);
        if (std::holds_alternative<Thumbnail>(result))
            return result;
    }
    return MediaProblem::NoPicture;
}

bool hasTooManyPixels(const Facts& facts)
{
    const auto* width = facts.get<std::uint32_t>(fact::Width);
    const auto* height = facts.get<std::uint32_t>(fact::Height);
    return width && height && std::uint64_t { *width } * *height > MaxSourcePixels;
}

} // namespace

MediaResult makeMediaThumbnail(const OpenedFile& file, const ThumbnailWish& wish)
{
    PreviewWish preview { .side = static_cast<int>(wish.size), .isUpright = wish.upright, .isFrame = true };
    auto facts = describe(file, file.path().text(), { .pictures = true });
    if (!facts)
        return mediaProblemOf(facts.error());
    if (*facts->get<std::string>(fact::Kind) == "audio")
        return coverOf(std::move(*facts), preview, wish.format);
    if (hasTooManyPixels(*facts))
        return MediaProblem::TooLarge;
    return thumbnailOf(makePreview(file, preview), wish.format);
}

} // namespace mv
