#include "service/job/AnswerCheck.h"

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "Base/Media/TiffForm.h"
#include "service/include/Preview.h"

#include <algorithm>
#include <array>
#include <span>

namespace mv {

namespace {

enum class Kind { Flag, Integer, LongInteger, Real, Number, Text, Moment, Picture };

struct Column {
    std::string_view key;
    Kind kind;
};

// Whatever the describing services set; the tables share most of their names.
constexpr std::array DescriptionColumns {
    Column { MediaDBCommonColumnFilePath, Kind::Text },
    Column { MediaDBCommonColumnFileName, Kind::Text },
    Column { MediaDBCommonColumnIsManaged, Kind::Flag },
    Column { MediaDBCommonColumnFileSize, Kind::LongInteger },
    Column { MediaDBCommonColumnMediaType, Kind::Integer },
    Column { MediaDBCommonColumnFileTypeString, Kind::Text },
    Column { MediaDBCommonColumnLinkError, Kind::Flag },
    Column { MediaDBCommonColumnReservedInt, Kind::Integer },
    Column { MediaDBCommonColumnReservedText, Kind::Text },
    Column { MediaDBMusicColumnTitle, Kind::Text },
    Column { MediaDBMusicColumnAlbum, Kind::Text },
    Column { MediaDBMusicColumnArtist, Kind::Text },
    Column { MediaDBMusicColumnAlbumArtist, Kind::Text },
    Column { MediaDBMusicColumnComposer, Kind::Text },
    Column { MediaDBMusicColumnGenre, Kind::Text },
    Column { MediaDBMusicColumnPlayLength, Kind::Number },
    Column { MediaDBMusicColumnBitrate, Kind::Integer },
    Column { MediaDBMusicColumnSamplerate, Kind::Number },
    Column { MediaDBMusicColumnTrackNo, Kind::Integer },
    Column { MediaDBMusicColumnDiscNo, Kind::Integer },
    Column { MediaDBMusicColumnPlayCount, Kind::Integer },
    Column { MediaDBMusicColumnRating, Kind::Integer },
    Column { MediaDBMusicColumnAlbumRating, Kind::Integer },
    Column { MediaDBMusicColumnDateReleased, Kind::Text },
    Column { MediaDBMusicColumnDateAdded, Kind::Moment },
    Column { MediaDBMusicColumnDateModified, Kind::Moment },
    Column { MediaDBMusicColumnDRMProperty, Kind::Integer },
    Column { MediaDBMusicColumnIsLicenseExpired, Kind::Flag },
    Column { MediaDBMusicColumnHasLyrics, Kind::Flag },
    Column { MediaDBMusicColumnPlayState, Kind::Integer },
    Column { MediaDBMusicColumnAlbumArt, Kind::Picture },
    Column { MediaDBMusicColumnIsReadOnly, Kind::Flag },
    Column { MediaDBVideoColumnDateCreated, Kind::Moment },
    Column { MediaDBVideoColumnVCodec, Kind::Text },
    Column { MediaDBVideoColumnACodec, Kind::Text },
    Column { MediaDBVideoColumnImage, Kind::Picture },
    Column { MediaDBVideoColumnWidth, Kind::Integer },
    Column { MediaDBVideoColumnHeight, Kind::Integer },
    Column { MediaDBVideoColumnIsChecked, Kind::Flag },
    Column { MediaDBPhotoColumnDatePictured, Kind::Moment },
    Column { MediaDBPhotoColumnCameraModel, Kind::Text },
    Column { MediaDBPhotoColumnCreator, Kind::Text },
    Column { MediaDBPhotoColumnDescription, Kind::Text },
    Column { kPhotoOrientation, Kind::Text },
};

constexpr std::array ThumbnailColumns {
    Column { kThumbnailData, Kind::Picture },
    Column { kThumbnailWidth, Kind::Real },
    Column { kThumbnailHeight, Kind::Real },
};

constexpr std::array RenderedColumns {
    Column { kRenderedRows, Kind::Picture },
    Column { kRenderedHeight, Kind::Integer },
    Column { kRenderingProblem, Kind::Text },
};

constexpr std::array PreviewColumns {
    Column { kPreviewPicture, Kind::Picture },
    Column { kPreviewSourceWidth, Kind::Integer },
    Column { kPreviewSourceHeight, Kind::Integer },
    Column { kPreviewSeconds, Kind::Real },
    Column { kPreviewProblem, Kind::Text },
    Column { kPreviewIsMissing, Kind::Flag },
};

constexpr std::array PodcastColumns {
    Column { kMediaTagPodcastEpisodeId, Kind::Text },
    Column { kMediaTagPodcastChannelUrl, Kind::Text },
};

std::span<const Column> columnsOf(ReadingOperation operation)
{
    switch (operation) {
    case ReadingOperation::Thumbnail:
        return ThumbnailColumns;
    case ReadingOperation::RenderPicture:
        return RenderedColumns;
    case ReadingOperation::Preview:
        return PreviewColumns;
    case ReadingOperation::PodcastInfo:
        return PodcastColumns;
    default:
        return DescriptionColumns;
    }
}

bool isOfKind(const Value& value, Kind kind)
{
    const Value::Storage& stored = value.storage();
    switch (kind) {
    case Kind::Flag:
        return std::holds_alternative<bool>(stored);
    case Kind::Integer:
        return std::holds_alternative<std::int32_t>(stored);
    case Kind::LongInteger:
        return std::holds_alternative<std::int64_t>(stored);
    case Kind::Real:
        return std::holds_alternative<double>(stored);
    case Kind::Number:
        return std::holds_alternative<std::int32_t>(stored) || std::holds_alternative<double>(stored);
    case Kind::Text:
        return std::holds_alternative<std::string>(stored);
    case Kind::Moment:
        return std::holds_alternative<Date>(stored);
    case Kind::Picture:
        return value.data() && pixelsOfTiff(*value.data());
    }
    return false;
}

} // namespace

Result<void> checkAnswer(ReadingOperation operation, const ReadingAnswer& answer)
{
    const auto* record = std::get_if<std::optional<Record>>(&answer);
    if (!record || !*record)
        return {};
    std::span<const Column> columns = columnsOf(operation);
    for (const auto& [key, value] : **record) {
        auto column = std::ranges::find(columns, key, &Column::key);
        if (column == columns.end() || !isOfKind(value, column->kind))
            return Error { Error::Kind::Format, formatText("a record with an odd %s", key.c_str()) };
    }
    return {};
}

} // namespace mv
