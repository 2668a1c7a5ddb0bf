#include "cli/PictureDecoding.h"

#include "Base/Media/TiffForm.h"
#include "cli/Terminal.h"
#include "service/isolated/WorkerAccess.h"

namespace mv::cli {

namespace {

Error noPicture() { return { Error::Kind::Format, "is no picture that can be read" }; }

/// Some rows of a picture, and how many it has.
struct RenderedRows {
    Bitmap rows;
    int height = 0;
};

/// Nothing where the worker has no such rows.
Result<std::optional<RenderedRows>> rowsOf(const OpenedFile& file, const PictureRendering& rendering)
{
    MV_TRY(answer, askWorker({ .operation = ReadingOperation::RenderPicture, .file = file, .rendering = rendering }));
    const auto* record = answer ? std::get_if<std::optional<Record>>(&*answer) : nullptr;
    if (const std::string* problem = record && *record ? (*record)->string(kRenderingProblem) : nullptr)
        return Error { Error::Kind::Format, terminalText(*problem) };
    const Bytes* tiff = record && *record ? (*record)->data(kRenderedRows) : nullptr;
    if (!tiff)
        return std::optional<RenderedRows>();
    MV_TRY(rows, bitmapOfTiff(*tiff));
    int height = (*record)->integer(kRenderedHeight).value_or(0);
    return std::optional(RenderedRows { std::move(rows), height });
}

/// Adds the next rows. An error where they are none of this picture.
Result<void> append(Bitmap& whole, const Bitmap& rows, int height)
{
    bool fits = rows.width == whole.width && rows.height == renderedRows(rows.width, height, whole.height);
    if (!fits)
        return noPicture();
    whole.pixels.insert(whole.pixels.end(), rows.pixels.begin(), rows.pixels.end());
    whole.height += rows.height;
    return {};
}

/// Asks for rows until all are there.
Result<std::optional<Bitmap>> rendered(const OpenedFile& file, PictureRendering rendering)
{
    Bitmap whole;
    int height = 0;
    do {
        rendering.firstRow = whole.height;
        MV_TRY(part, rowsOf(file, rendering));
        if (!part && whole.height == 0)
            return std::optional<Bitmap>();
        if (!part || part->height < 1 || part->height > MaxTiffPixels / part->rows.width)
            return noPicture();
        if (whole.height == 0) {
            whole.width = part->rows.width;
            height = part->height;
        }
        MV_TRY_VOID(append(whole, part->rows, height));
    } while (whole.height < height);
    return std::optional(std::move(whole));
}

} // namespace

Result<Bitmap> bitmapOfTiff(const Bytes& tiff)
{
    auto found = pixelsOfTiff(tiff);
    if (!found)
        return noPicture();
    return Bitmap { found->width, found->height, Bytes(found->pixels.begin(), found->pixels.end()) };
}

std::optional<Bytes> tiffOf(const Bitmap& bitmap)
{
    if (bitmap.width < 1 || bitmap.height < 1 || bitmap.width > MaxTiffPixels / bitmap.height)
        return std::nullopt;
    return tiffOfPixels({ bitmap.width, bitmap.height, bitmap.pixels });
}

Result<Bitmap> decodedPicture(const Bytes& picture)
{
    MV_TRY(bitmap, rendered(OpenedFile::ofBytes("the picture", picture), {}));
    return bitmap ? Result<Bitmap>(std::move(*bitmap)) : noPicture();
}

Result<std::optional<Bytes>> thumbnailOfFile(
    const Path& path, int category, std::optional<FloatSize> maximum, Orientation orientation)
{
    MV_TRY(bitmap, rendered(OpenedFile::at(path), { category, maximum, orientation }));
    return bitmap ? tiffOf(*bitmap) : std::nullopt;
}

} // namespace mv::cli
