#include "cli/MediaPicture.h"

#include "Base/Media/MediaDB.h"
#include "cli/PictureDecoding.h"
#include "client/Media1Client.h"
#include "client/MediaRequests.h"
#include "system/InputFile.h"

namespace mv::cli {

Result<std::optional<Bytes>> pictureOfMedia(ServiceBus& bus, const Path& path, const Record& record)
{
    for (std::string_view key : { MediaDBMusicColumnAlbumArt, MediaDBVideoColumnImage }) {
        if (const Bytes* data = record.data(key))
            return std::optional(*data);
    }
    constexpr std::uint32_t Size = 200;
    ThumbnailWish wish;
    wish.size = Size;
    wish.format = ThumbnailFormat::Rgba;
    auto thumbnail = Media1Client(bus).call(thumbnailRequest(path.text(), wish));
    if (!thumbnail && meansNoPicture(thumbnail.error()))
        return std::optional<Bytes> {};
    if (!thumbnail)
        return thumbnail.error();
    MV_TRY(file, InputFile::adopt(std::move(thumbnail->picture)));
    MV_TRY(pixels, file.bytesAt(0, file.size()));
    if (pixels.size() != std::size_t { thumbnail->width } * thumbnail->height * 4)
        return Error { Error::Kind::Format, "the answer has no picture" };
    return tiffOf({ static_cast<int>(thumbnail->width), static_cast<int>(thumbnail->height), std::move(pixels) });
}

bool meansNoPicture(const Error& error)
{
    auto kind = mediaErrorKind(error);
    return kind == MediaErrorKind::NotMedia || kind == MediaErrorKind::NoPicture;
}

} // namespace mv::cli
