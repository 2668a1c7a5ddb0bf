// Every constant against the column name that clients' databases hold, row by row.
#include "Base/Media/MediaDB.h"

#include <array>
#include <gtest/gtest.h>

namespace mv {
namespace {

struct Row {
    const char* constant;
    std::string_view value;
    std::string_view column;
};

#define ROW(constant, column)                                                                                          \
    Row { #constant, constant, column }

const std::array Rows = {
    ROW(MediaDBCommonColumnFilePath, "FilePath"),
    ROW(MediaDBCommonColumnFileName, "FileName"),
    ROW(MediaDBCommonColumnIsManaged, "IsManaged"),
    ROW(MediaDBCommonColumnFileSize, "FileSize"),
    ROW(MediaDBCommonColumnMediaType, "MediaType"),
    ROW(MediaDBCommonColumnFileTypeString, "FileTypeString"),
    ROW(MediaDBCommonColumnLinkError, "LinkError"),
    ROW(MediaDBCommonColumnReservedInt, "ReservedInt"),
    ROW(MediaDBCommonColumnReservedBool, "ReservedBool"),
    ROW(MediaDBCommonColumnReservedText, "ReservedText"),
    ROW(MediaDBMusicColumnTitle, "Title"),
    ROW(MediaDBMusicColumnAlbum, "Album"),
    ROW(MediaDBMusicColumnArtist, "Artist"),
    ROW(MediaDBMusicColumnAlbumArtist, "AlbumArtist"),
    ROW(MediaDBMusicColumnComposer, "Composer"),
    ROW(MediaDBMusicColumnGenre, "Genre"),
    ROW(MediaDBMusicColumnPlayLength, "PlayLength"),
    ROW(MediaDBMusicColumnBitrate, "Bitrate"),
    ROW(MediaDBMusicColumnSamplerate, "Samplerate"),
    ROW(MediaDBMusicColumnEqualizer, "Equalizer"),
    ROW(MediaDBMusicColumnTrackNo, "TrackNo"),
    ROW(MediaDBMusicColumnDiscNo, "DiscNo"),
    ROW(MediaDBMusicColumnPlayCount, "PlayCount"),
    ROW(MediaDBMusicColumnRating, "Rating"),
    ROW(MediaDBMusicColumnAlbumRating, "AlbumRating"),
    ROW(MediaDBMusicColumnDateReleased, "DateReleased"),
    ROW(MediaDBMusicColumnDateAdded, "DateAdded"),
    ROW(MediaDBMusicColumnDateModified, "DateModified"),
    ROW(MediaDBMusicColumnDateLastPlayed, "DateLastPlayed"),
    ROW(MediaDBMusicColumnDRMProperty, "DRMProperty"),
    ROW(MediaDBMusicColumnIsLicenseExpired, "IsLicenseExpired"),
    ROW(MediaDBMusicColumnHasLyrics, "HasLyrics"),
    ROW(MediaDBMusicColumnPlayState, "PlayState"),
    ROW(MediaDBMusicColumnAlbumArt, "AlbumArt"),
    ROW(MediaDBMusicColumnTrackID, "TrackID"),
    ROW(MediaDBMusicColumnAlbumID, "AlbumID"),
    ROW(MediaDBMusicColumnPerformerID, "PerformerID"),
    ROW(MediaDBMusicColumnIsReadOnly, "IsReadOnly"),
    ROW(MediaDBVideoColumnDateAdded, "DateAdded"),
    ROW(MediaDBVideoColumnDateCreated, "DateCreated"),
    ROW(MediaDBVideoColumnDRMProperty, "DRMProperty"),
    ROW(MediaDBVideoColumnPlayState, "PlayState"),
    ROW(MediaDBVideoColumnTitle, "Title"),
    ROW(MediaDBVideoColumnVCodec, "VCodec"),
    ROW(MediaDBVideoColumnACodec, "ACodec"),
    ROW(MediaDBVideoColumnImage, "Image"),
    ROW(MediaDBVideoColumnWidth, "Width"),
    ROW(MediaDBVideoColumnHeight, "Height"),
    ROW(MediaDBVideoColumnBitrate, "Bitrate"),
    ROW(MediaDBVideoColumnCreator, "Creator"),
    ROW(MediaDBVideoColumnDescription, "Description"),
    ROW(MediaDBVideoColumnPlayLength, "PlayLength"),
    ROW(MediaDBVideoColumnDateLastPlayed, "DateLastPlayed"),
    ROW(MediaDBVideoColumnPlayCount, "PlayCount"),
    ROW(MediaDBVideoColumnRating, "Rating"),
    ROW(MediaDBVideoColumnIsReadOnly, "IsReadOnly"),
    ROW(MediaDBVideoColumnIsLicenseExpired, "IsLicenseExpired"),
    ROW(MediaDBVideoColumnIsChecked, "IsChecked"),
    ROW(MediaDBVideoColumnDateModified, "DateModified"),
    ROW(MediaDBVideoColumnTag, "Tag"),
    ROW(MediaDBVideoColumnKeyword, "Keyword"),
    ROW(MediaDBPhotoColumnDateAdded, "DateAdded"),
    ROW(MediaDBPhotoColumnTitle, "Title"),
    ROW(MediaDBPhotoColumnDatePictured, "DatePictured"),
    ROW(MediaDBPhotoColumnImage, "Image"),
    ROW(MediaDBPhotoColumnCameraModel, "CameraModel"),
    ROW(MediaDBPhotoColumnCreator, "Creator"),
    ROW(MediaDBPhotoColumnLocation, "Location"),
    ROW(MediaDBPhotoColumnDescription, "Description"),
    ROW(MediaDBPhotoColumnWidth, "Width"),
    ROW(MediaDBPhotoColumnHeight, "Height"),
    ROW(MediaDBPhotoColumnRating, "Rating"),
    ROW(MediaDBPhotoColumnIsChecked, "IsChecked"),
    ROW(MediaDBPhotoColumnDateModified, "DateModified"),
    ROW(MediaDBPhotoColumnDateCreated, "DateCreated"),
    ROW(MediaDBPhotoColumnTag, "Tag"),
    ROW(MediaDBPhotoColumnKeyword, "Keyword"),
    ROW(MediaDBPlaylistItemColumnPlaylistName, "PlaylistName"),
    ROW(MediaDBPlaylistItemColumnContensType, "ContentsType"),
    ROW(MediaDBPlaylistItemColumnFilePath, "FilePath"),
    ROW(MediaDBPlaylistPropertyColumnPlaylistName, "PlaylistName"),
    ROW(MediaDBPlaylistPropertyColumnContentsType, "ContentsType"),
    ROW(MediaDBPlaylistPropertyColumnPlaylistType, "PlaylistType"),
    ROW(MediaDBPlaylistPropertyColumnIsNeedRefresh, "IsNeedRefresh"),
    ROW(MediaDBPodcastChannelsColumnNID, "NID"),
    ROW(MediaDBPodcastChannelsColumnSortOrder, "SortOrder"),
    ROW(MediaDBPodcastChannelsColumnChannelURL, "ChannelURL"),
    ROW(MediaDBPodcastChannelsColumnTitle, "Title"),
    ROW(MediaDBPodcastChannelsColumnSubTitle, "SubTitle"),
    ROW(MediaDBPodcastChannelsColumnDescription, "Description"),
    ROW(MediaDBPodcastChannelsColumnAuthor, "Author"),
    ROW(MediaDBPodcastChannelsColumnSummary, "Summary"),
    ROW(MediaDBPodcastChannelsColumnLink, "Link"),
    ROW(MediaDBPodcastChannelsColumnGuid, "Guid"),
    ROW(MediaDBPodcastChannelsColumnLastBuildDate, "LastBuildDate"),
    ROW(MediaDBPodcastChannelsColumnLastUpdateDate, "LastUpdateDate"),
    ROW(MediaDBPodcastChannelsColumnWebMaster, "WebMaster"),
    ROW(MediaDBPodcastChannelsColumnImageURL, "ImageURL"),
    ROW(MediaDBPodcastChannelsColumnStatus, "Status"),
    ROW(MediaDBPodcastChannelsColumnSubscriptChannel, "SubscriptChannel"),
    ROW(MediaDBPodcastChannelsColumnUserDefaultSetting, "UserDefaultSetting"),
    ROW(MediaDBPodcastChannelsColumnMaintainPostCount, "MaintainPostCount"),
    ROW(MediaDBPodcastChannelsColumnAutoDownloadPostCount, "AutoDownloadPostCount"),
    ROW(MediaDBPodcastChannelsColumnGroupNID, "GroupNID"),
    ROW(MediaDBPodcastChannelsColumnCategory, "Category"),
    ROW(MediaDBPodcastChannelsColumnLocalImagePath, "LocalImagePath"),
    ROW(MediaDBPodcastGroupsColumnNID, "NID"),
    ROW(MediaDBPodcastGroupsColumnSortOrder, "SortOrder"),
    ROW(MediaDBPodcastGroupsColumnName, "Name"),
    ROW(MediaDBPodcastGroupsColumnDescription, "Description"),
    ROW(MediaDBPodcastMediasColumnNID, "NID"),
    ROW(MediaDBPodcastMediasColumnPostNID, "PostNID"),
    ROW(MediaDBPodcastMediasColumnDuration, "Duration"),
    ROW(MediaDBPodcastMediasColumnUrl, "Url"),
    ROW(MediaDBPodcastMediasColumnLength, "Length"),
    ROW(MediaDBPodcastMediasColumnType, "Type"),
    ROW(MediaDBPodcastMediasColumnFilePath, "FilePath"),
    ROW(MediaDBPodcastMediasColumnDetailMediaType, "DetailMediaType"),
    ROW(MediaDBPodcastMediasColumnDetailMediaTypeString, "DetailMediaTypeString"),
    ROW(MediaDBPodcastMediasColumnDRMProperty, "DRMProperty"),
    ROW(MediaDBPodcastMediasColumnBitrate, "Bitrate"),
    ROW(MediaDBPodcastMediasColumnSamplingRate, "SamplingRate"),
    ROW(MediaDBPodcastMediasColumnAudioCodec, "AudioCodec"),
    ROW(MediaDBPodcastMediasColumnVideoCodec, "VideoCodec"),
    ROW(MediaDBPodcastMediasColumnDownloadDate, "DownloadDate"),
    ROW(MediaDBPodcastMediasColumnLastPlayDate, "LastPlayDate"),
    ROW(MediaDBPodcastPostsColumnNID, "NID"),
    ROW(MediaDBPodcastPostsColumnChannelURL, "ChannelURL"),
    ROW(MediaDBPodcastPostsColumnTitle, "Title"),
    ROW(MediaDBPodcastPostsColumnSubTitle, "SubTitle"),
    ROW(MediaDBPodcastPostsColumnDescription, "Description"),
    ROW(MediaDBPodcastPostsColumnAuthor, "Author"),
    ROW(MediaDBPodcastPostsColumnSummary, "Summary"),
    ROW(MediaDBPodcastPostsColumnKeywords, "Keywords"),
    ROW(MediaDBPodcastPostsColumnLink, "Link"),
    ROW(MediaDBPodcastPostsColumnGuid, "Guid"),
    ROW(MediaDBPodcastPostsColumnPublishDate, "PublishDate"),
    ROW(MediaDBPodcastPostsColumnStatus, "Status"),
    ROW(MediaDBPodcastPostsColumnRating, "Rating"),
    ROW(MediaDBPodcastPostsColumnViewDownloadComplete, "ViewDownloadComplete"),
};

TEST(MediaDB, EveryConstantIsItsColumnName)
{
    for (const Row& row : Rows)
        EXPECT_EQ(row.value, row.column) << row.constant;
}

TEST(MediaDB, HoldsEveryColumn) { EXPECT_EQ(Rows.size(), 140u); }

TEST(MediaDB, BothSpellingsOfContentsTypeNameOneColumn)
{
    EXPECT_EQ(MediaDBPlaylistItemColumnContensType, "ContentsType");
    EXPECT_EQ(MediaDBPlaylistPropertyColumnContentsType, "ContentsType");
}

TEST(MediaDB, MusicAndVideoShareStringsThroughTheirOwnConstants)
{
    EXPECT_EQ(MediaDBMusicColumnTitle, MediaDBVideoColumnTitle);
    EXPECT_EQ(MediaDBMusicColumnDateAdded, MediaDBVideoColumnDateAdded);
}

TEST(MediaDB, PodcastKeysAreTheirOwnNames)
{
    EXPECT_EQ(kMediaTagPodcastEpisodeId, "kMediaTagPodcastEpisodeId");
    EXPECT_EQ(kMediaTagPodcastChannelUrl, "kMediaTagPodcastChannelUrl");
}

} // namespace
} // namespace mv
