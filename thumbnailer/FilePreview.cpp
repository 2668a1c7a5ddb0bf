#include "thumbnailer/FilePreview.h"

#include "Base/Core/Text.h"
#include "Base/Media/TiffForm.h"
#include "service/isolated/WorkerAccess.h"

#include <algorithm>

namespace mv {

namespace {

Error undecodable(std::string text) { return { Error::Kind::Format, std::move(text) }; }

/// What a worker tells of a picture is checked before: it has that form, or is not there.
Result<FilePreview> previewIn(const Record& record, int side)
{
    if (record.boolean(kPreviewIsMissing).value_or(false))
        return Error { Error::Kind::NotFound, "has no picture" };
    if (const std::string* problem = record.string(kPreviewProblem))
        return undecodable(*problem);
    const Bytes* tiff = record.data(kPreviewPicture);
    auto pixels = tiff ? pixelsOfTiff(*tiff) : std::nullopt;
    int width = record.integer(kPreviewSourceWidth).value_or(0);
    int height = record.integer(kPreviewSourceHeight).value_or(0);
    if (!pixels || std::max(pixels->width, pixels->height) > side || width < pixels->width || height < pixels->height)
        return undecodable("the process that read the file gave another picture");
    return FilePreview { { pixels->width, pixels->height, Bytes(pixels->pixels.begin(), pixels->pixels.end()) }, width,
        height, record.real(kPreviewSeconds) };
}

/// Paths are any bytes, and what is said of a file to another process is text.
OpenedFile withTextAsPath(const OpenedFile& file)
{
    return { cleanedUtf8(file.path().text()), file.attributes(), file.content() };
}

} // namespace

Result<FilePreview> previewOf(const OpenedFile& file, int side)
{
    if (!file.content())
        return file.content().error();
    auto both = static_cast<float>(side);
    MV_TRY(answer,
        askWorker({ .operation = ReadingOperation::Preview, .file = withTextAsPath(file), .maximum = { both, both } }));
    if (!answer)
        return undecodable("the process that read the file was lost");
    const auto* record = std::get_if<std::optional<Record>>(&*answer);
    if (!record || !*record)
        return undecodable("is no picture, song or video that can be read");
    return previewIn(**record, side);
}

} // namespace mv
