#include "cli/SheetCard.h"

#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/InputPath.h"
#include "cli/MediaPicture.h"
#include "cli/PictureFile.h"
#include "cli/RecordText.h"
#include "cli/UprightThumbnail.h"

namespace mv::cli {

namespace {

// Twice the width of a card's smallest frame, for screens with small pixels.
constexpr FloatSize PictureBox { 380, 285 };

std::string textOf(const Record& record, std::string_view key)
{
    const std::string* text = record.string(key);
    return text ? *text : "";
}

std::int32_t numberOf(const Record& record, std::string_view key) { return record.integer(key).value_or(0); }

SheetCard::Kind kindOf(const Path& path)
{
    constexpr std::int32_t VideoCategory = 0x02;
    constexpr int CategoryShift = 24;
    if (describingService(path) == ImageParserService)
        return SheetCard::Kind::Picture;
    return MVMediaTypeReader::type(path) >> CategoryShift == VideoCategory ? SheetCard::Kind::Video
                                                                           : SheetCard::Kind::Music;
}

void addFacts(SheetCard& card, const Record& record, Orientation orientation)
{
    int width = numberOf(record, MediaDBPhotoColumnWidth);
    int height = numberOf(record, MediaDBPhotoColumnHeight);
    if (orientation.swapsSides)
        std::swap(width, height);
    if (int seconds = numberOf(record, MediaDBMusicColumnPlayLength); seconds > 0)
        card.facts.push_back(readableLength(seconds));
    if (width > 0 && height > 0)
        card.facts.push_back(formatText("%d × %d", width, height));
    if (std::string type = textOf(record, MediaDBCommonColumnFileTypeString); type != "UNKNOWN")
        card.facts.push_back(type);
    if (int rate = numberOf(record, MediaDBMusicColumnBitrate); rate > 0)
        card.facts.push_back(formatText("%d kbit/s", rate));
    else if (auto size = record.find(MediaDBCommonColumnFileSize))
        card.facts.push_back(
            readableSize(std::get_if<std::int64_t>(&size->storage()) ? std::get<std::int64_t>(size->storage())
                                                                     : size->integerValue().value_or(0)));
}

void addMusicTexts(SheetCard& card, const Record& record)
{
    card.subtitle = textOf(record, MediaDBMusicColumnArtist);
    card.group = textOf(record, MediaDBMusicColumnAlbum);
}

void addPhotoTexts(SheetCard& card, const Record& record)
{
    card.subtitle = textOf(record, MediaDBPhotoColumnCameraModel);
    if (const Date* taken = record.date(MediaDBPhotoColumnDatePictured))
        card.subtitle += (card.subtitle.empty() ? "" : ", ") + localDate(*taken).substr(0, 10);
}

/// Pictures are asked for in the size of the page.
std::optional<Bytes> pictureOf(
    ServiceBus& bus, const Path& path, SheetCard::Kind kind, const Record& record, Orientation orientation)
{
    if (kind == SheetCard::Kind::Picture) {
        auto thumbnail = makeTurnedThumbnail(bus, path, PictureBox, orientation);
        if (thumbnail && *thumbnail)
            return std::move(**thumbnail);
    }
    auto picture = pictureOfMedia(bus, path, record);
    return picture ? std::move(*picture) : std::nullopt;
}

} // namespace

Result<SheetCard> sheetCardFor(ServiceBus& bus, const Path& path, const std::string& relativeName, bool asStored)
{
    MV_TRY_VOID(checkInput(path.text()));
    MV_TRY(described, describeFile(bus, path));
    if (!described)
        return Error { Error::Kind::Format, "is no file that the service can describe" };
    const Record& record = *described;
    SheetCard card;
    card.kind = kindOf(path);
    card.file = relativeName;
    card.title = textOf(record, MediaDBMusicColumnTitle);
    if (card.title.empty())
        card.title = path.lastPathComponentWithoutExtension();
    if (card.kind == SheetCard::Kind::Music)
        addMusicTexts(card, record);
    if (card.kind == SheetCard::Kind::Picture)
        addPhotoTexts(card, record);
    Orientation orientation;
    if (card.kind == SheetCard::Kind::Picture && !asStored)
        orientation = orientationOf(path);
    addFacts(card, record, orientation);
    if (auto picture = pictureOf(bus, path, card.kind, record, orientation)) {
        if (auto address = dataAddress(*picture))
            card.picture = *address;
    }
    return card;
}

bool belongsOnSheet(const Path& path)
{
    return MVMediaTypeReader::type(path) != MVMediaTypeUnknown || describingService(path) == ImageParserService;
}

} // namespace mv::cli
