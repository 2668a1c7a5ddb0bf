#include "service/parsers/Preview.h"

#include "Base/Core/Text.h"
#include "Base/Media/TiffForm.h"
#include "exif/PictureOrientation.h"
#include "id3/MpegFrameReader.h"
#include "id3/TagReader.h"
#include "id3/V23Form.h"
#include "movies/IsoMovie.h"
#include "mp4/mp4.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mv {

namespace {

/// Width and height so that the larger one is `side`, or as they are where they are not larger.
std::pair<int, int> fittedSize(int width, int height, int side)
{
    int longer = std::max(width, height);
    if (longer <= side)
        return { width, height };
    auto shrunk = [&](int length) {
        std::int64_t doubled = std::int64_t { 2 } * length * side;
        return static_cast<int>(std::max<std::int64_t>(1, (doubled + longer) / (std::int64_t { 2 } * longer)));
    };
    return { shrunk(width), shrunk(height) };
}

using Scaled = DrawnPreview;

/// The largest of the picture's representations. A page of a file may be a small copy of another.
Result<Scaled> scaledTo(const NSImage& image, Orientation orientation, int side)
{
    auto stored = image.bestRepresentationForDevice();
    int width = stored ? stored->pixelsWide() : 0;
    int height = stored ? stored->pixelsHigh() : 0;
    if (width < 1 || height < 1)
        return Error { Error::Kind::Format, "the picture has no pixels" };
    auto [newWidth, newHeight] = fittedSize(width, height, side);
    MV_TRY(bitmap, stored->scaledTo(newWidth, newHeight));
    if (orientation.swapsSides)
        std::swap(width, height);
    return Scaled { turned(std::move(bitmap), orientation), width, height, {} };
}

Preview withoutPixels(Error problem) { return NoPreview { NoPreview::Why::NotDecoded, std::move(problem) }; }
Preview withoutPicture() { return NoPreview { NoPreview::Why::NoPicture, {} }; }
Preview ofUnknown() { return NoPreview {}; }

Preview ofPicture(const SharedSource& content, const NSImage& image, const PreviewWish& wish)
{
    auto scaled = scaledTo(image, wish.isUpright ? orientationOf(*content) : Orientation {}, wish.side);
    return scaled ? Preview(std::move(*scaled)) : withoutPixels(scaled.error());
}

/// Of a cover, which may be a photo that lies on its side; nothing where it cannot be drawn.
std::optional<Preview> ofCover(ByteView encoded, int side)
{
    auto image = NSImage::initWithData(Bytes(encoded.begin(), encoded.end()), Drawing::Quick);
    if (!image)
        return std::nullopt;
    auto scaled = scaledTo(*image, orientationOf(MemorySource(encoded)), side);
    return scaled ? std::optional<Preview>(std::move(*scaled)) : std::nullopt;
}

/// The pictures of ID3 tags, the best one first.
std::vector<ByteView> picturesIn(const TagSet& tags)
{
    constexpr std::uint8_t FrontCover = 3;
    std::vector<PictureParts> found;
    for (const Id3v2Tag& tag : tags.countingTags()) {
        for (const TagFrame& frame : tag.frames()) {
            auto parts = frame.id == "APIC" ? splitPicture(frame.storedId, frame.body) : std::nullopt;
            if (parts && !parts->data.empty())
                found.push_back(*parts);
        }
    }
    std::reverse(found.begin(), found.end());
    std::stable_partition(
        found.begin(), found.end(), [](const PictureParts& parts) { return parts.pictureType == FrontCover; });
    std::vector<ByteView> pictures;
    pictures.reserve(found.size());
    for (const PictureParts& parts : found)
        pictures.push_back(parts.data);
    return pictures;
}

/// Of a file with ID3 tags, and of MPEG audio, with tags or without. Nothing for others, and where no cover can be
/// drawn of what may be another kind of file behind a tag.
std::optional<Preview> ofMpegAudio(const ByteSource& content, int side)
{
    auto tags = readTags(content);
    if (!tags)
        return std::nullopt;
    for (ByteView picture : picturesIn(*tags)) {
        if (auto preview = ofCover(picture, side))
            return preview;
    }
    bool isAudio = MpegFrameReader::read(content, tags->audioBegin, tags->audioEnd).has_value();
    return isAudio ? std::optional(withoutPicture()) : std::nullopt;
}

std::optional<Preview> ofIsoCover(const OpenedFile& file, int side)
{
    auto movie = MP4Read(file.content());
    if (!movie.ok())
        return std::nullopt;
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsFetch(tags, *movie);
    for (const MP4TagArtwork& artwork : tags.artwork) {
        if (auto preview = ofCover(artwork.data, side))
            return preview;
    }
    return std::nullopt;
}

/// What a frame shows: films fade in from black, and a title may stand on one colour.
enum class Telling { Black, OneColour, Picture };

Telling tellingOf(const Bitmap& bitmap)
{
    constexpr int Noise = 24;
    constexpr std::uint8_t Dark = 40;
    constexpr std::size_t Channels = 4;
    std::array<std::uint8_t, 3> least { 255, 255, 255 };
    std::array<std::uint8_t, 3> most {};
    for (std::size_t i = 0; i < bitmap.pixels.size(); i += Channels) {
        for (std::size_t j = 0; j < least.size(); ++j) {
            least[j] = std::min(least[j], bitmap.pixels[i + j]);
            most[j] = std::max(most[j], bitmap.pixels[i + j]);
        }
    }
    for (std::size_t j = 0; j < least.size(); ++j) {
        if (most[j] - least[j] > Noise)
            return Telling::Picture;
    }
    return std::ranges::max(most) < Dark ? Telling::Black : Telling::OneColour;
}

struct Shown {
    Scaled scaled;
    Telling tells;
};

std::optional<Shown> shown(const std::optional<NSImage>& image, int side)
{
    auto scaled = image ? scaledTo(*image, {}, side) : Result<Scaled>(Error { Error::Kind::NotFound, "no frame" });
    if (!scaled)
        return std::nullopt;
    const Telling tells = tellingOf(scaled->bitmap);
    return Shown { std::move(*scaled), tells };
}

/// The first frame that shows a picture, else the first one that is not black, else the first one at all.
std::optional<Scaled> frameOf(QTMovie& movie, double duration, int side)
{
    std::optional<Shown> best;
    auto isEnough = [&](const std::optional<NSImage>& image) {
        auto frame = shown(image, side);
        if (frame && (!best || frame->tells > best->tells))
            best = std::move(frame);
        return best && best->tells == Telling::Picture;
    };
    for (double seconds : { duration / 10, duration / 3, duration * 2 / 3 }) {
        QTTime time = QTMakeTimeWithTimeInterval(seconds);
        if (isEnough(movie.quickImageBeforeTime(time)))
            break;
        auto image = movie.frameImageAtTime(time);
        if (isEnough(image || best ? image : movie.posterImage()))
            break;
    }
    return best ? std::optional(std::move(best->scaled)) : std::nullopt;
}

/// Of a cover that the container holds beside its tracks, or of its chapters' first picture.
std::optional<Preview> ofAttached(QTMovie& movie, int side)
{
    auto image = movie.attachedImage();
    auto scaled = image ? scaledTo(*image, {}, side) : Result<Scaled>(Error { Error::Kind::NotFound, "no cover" });
    return scaled ? std::optional<Preview>(std::move(*scaled)) : std::nullopt;
}

std::optional<Preview> ofFrame(QTMovie& movie, int side)
{
    double duration = 0;
    bool isLengthKnown = QTGetTimeInterval(movie.duration(), &duration) && duration > 0;
    auto frame = frameOf(movie, duration, side);
    if (!frame)
        return std::nullopt;
    if (isLengthKnown)
        frame->seconds = duration;
    return std::move(*frame);
}

Preview ofMovie(const OpenedFile& file, const PreviewWish& wish, QTKit& toolkit)
{
    if (!toolkit.canInitWithFile(file))
        return ofUnknown();
    auto movie = toolkit.initWithFile(file);
    if (!movie)
        return ofUnknown();
    // The covers of ISO media were asked for before.
    bool mayHaveCover = wish.takesCover && !beginsLikeIsoMedia(**file.content());
    if (auto cover = mayHaveCover ? ofAttached(**movie, wish.side) : std::nullopt)
        return std::move(*cover);
    if ((*movie)->attribute<bool>(QTMovieHasVideoAttribute).value_or(false)) {
        if (auto frame = ofFrame(**movie, wish.side))
            return std::move(*frame);
        auto chapter = ofAttached(**movie, wish.side);
        return chapter ? std::move(*chapter)
                       : withoutPixels({ Error::Kind::Format, "no frame of the video can be decoded" });
    }
    bool hasAudio = (*movie)->attribute<bool>(QTMovieHasAudioAttribute).value_or(false);
    return hasAudio ? withoutPicture() : ofUnknown();
}

} // namespace

Preview drawPreview(const OpenedFile& file, const PreviewWish& wish, QTKit& toolkit)
{
    if (!file.content())
        return ofUnknown();
    const SharedSource& content = *file.content();
    if (auto image = NSImage::initWithContentsOfFile(file, Drawing::Quick))
        return ofPicture(content, *image, wish);
    if (!wish.takesCover)
        return ofMovie(file, wish, toolkit);
    bool isIso = beginsLikeIsoMedia(*content);
    if (auto cover = isIso ? ofIsoCover(file, wish.side) : ofMpegAudio(*content, wish.side))
        return std::move(*cover);
    return ofMovie(file, wish, toolkit);
}

std::optional<Record> makePreview(const OpenedFile& file, const PreviewWish& wish, QTKit& toolkit)
{
    Preview preview = drawPreview(file, wish, toolkit);
    if (const auto* none = std::get_if<NoPreview>(&preview)) {
        if (none->why == NoPreview::Why::NotKnown)
            return std::nullopt;
        return none->why == NoPreview::Why::NoPicture ? Record { { kPreviewIsMissing, true } }
                                                      : Record { { kPreviewProblem, cleanedUtf8(none->problem.text) } };
    }
    const auto& drawn = std::get<DrawnPreview>(preview);
    const Bitmap& bitmap = drawn.bitmap;
    Record record { { kPreviewPicture, tiffOfPixels({ bitmap.width, bitmap.height, bitmap.pixels }) },
        { kPreviewSourceWidth, std::int32_t { drawn.sourceWidth } },
        { kPreviewSourceHeight, std::int32_t { drawn.sourceHeight } } };
    if (drawn.seconds)
        record.set(kPreviewSeconds, *drawn.seconds);
    return record;
}

} // namespace mv
