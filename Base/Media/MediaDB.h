#pragma once

#include <string_view>

namespace mv {

// The keys of media information records: the column names of the client's media database, one family per table.
// Several families share strings; always name the constant of the table that is meant.

// Columns of every table.
inline constexpr std::string_view MediaDBCommonColumnFilePath = "FilePath";
inline constexpr std::string_view MediaDBCommonColumnFileName = "FileName";
inline constexpr std::string_view MediaDBCommonColumnIsManaged = "IsManaged";
inline constexpr std::string_view MediaDBCommonColumnFileSize = "FileSize";
inline constexpr std::string_view MediaDBCommonColumnMediaType = "MediaType";
inline constexpr std::string_view MediaDBCommonColumnFileTypeString = "FileTypeString";
inline constexpr std::string_view MediaDBCommonColumnLinkError = "LinkError";
inline constexpr std::string_view MediaDBCommonColumnReservedInt = "ReservedInt";
inline constexpr std::string_view MediaDBCommonColumnReservedBool = "ReservedBool";
inline constexpr std::string_view MediaDBCommonColumnReservedText = "ReservedText";

// Music table.
inline constexpr std::string_view MediaDBMusicColumnTitle = "Title";
inline constexpr std::string_view MediaDBMusicColumnAlbum = "Album";
inline constexpr std::string_view MediaDBMusicColumnArtist = "Artist";
inline constexpr std::string_view MediaDBMusicColumnAlbumArtist = "AlbumArtist";
inline constexpr std::string_view MediaDBMusicColumnComposer = "Composer";
inline constexpr std::string_view MediaDBMusicColumnGenre = "Genre";
inline constexpr std::string_view MediaDBMusicColumnPlayLength = "PlayLength";
inline constexpr std::string_view MediaDBMusicColumnBitrate = "Bitrate";
inline constexpr std::string_view MediaDBMusicColumnSamplerate = "Samplerate";
inline constexpr std::string_view MediaDBMusicColumnEqualizer = "Equalizer";
inline constexpr std::string_view MediaDBMusicColumnTrackNo = "TrackNo";
inline constexpr std::string_view MediaDBMusicColumnDiscNo = "DiscNo";
inline constexpr std::string_view MediaDBMusicColumnPlayCount = "PlayCount";
inline constexpr std::string_view MediaDBMusicColumnRating = "Rating";
inline constexpr std::string_view MediaDBMusicColumnAlbumRating = "AlbumRating";
inline constexpr std::string_view MediaDBMusicColumnDateReleased = "DateReleased";
inline constexpr std::string_view MediaDBMusicColumnDateAdded = "DateAdded";
inline constexpr std::string_view MediaDBMusicColumnDateModified = "DateModified";
inline constexpr std::string_view MediaDBMusicColumnDateLastPlayed = "DateLastPlayed";
inline constexpr std::string_view MediaDBMusicColumnDRMProperty = "DRMProperty";
inline constexpr std::string_view MediaDBMusicColumnIsLicenseExpired = "IsLicenseExpired";
inline constexpr std::string_view MediaDBMusicColumnHasLyrics = "HasLyrics";
inline constexpr std::string_view MediaDBMusicColumnPlayState = "PlayState";
inline constexpr std::string_view MediaDBMusicColumnAlbumArt = "AlbumArt";
inline constexpr std::string_view MediaDBMusicColumnTrackID = "TrackID";
inline constexpr std::string_view MediaDBMusicColumnAlbumID = "AlbumID";
inline constexpr std::string_view MediaDBMusicColumnPerformerID = "PerformerID";
inline constexpr std::string_view MediaDBMusicColumnIsReadOnly = "IsReadOnly";

// Video table.
inline constexpr std::string_view MediaDBVideoColumnDateAdded = "DateAdded";
inline constexpr std::string_view MediaDBVideoColumnDateCreated = "DateCreated";
inline constexpr std::string_view MediaDBVideoColumnDRMProperty = "DRMProperty";
inline constexpr std::string_view MediaDBVideoColumnPlayState = "PlayState";
inline constexpr std::string_view MediaDBVideoColumnTitle = "Title";
inline constexpr std::string_view MediaDBVideoColumnVCodec = "VCodec";
inline constexpr std::string_view MediaDBVideoColumnACodec = "ACodec";
inline constexpr std::string_view MediaDBVideoColumnImage = "Image";
inline constexpr std::string_view MediaDBVideoColumnWidth = "Width";
inline constexpr std::string_view MediaDBVideoColumnHeight = "Height";
inline constexpr std::string_view MediaDBVideoColumnBitrate = "Bitrate";
inline constexpr std::string_view MediaDBVideoColumnCreator = "Creator";
inline constexpr std::string_view MediaDBVideoColumnDescription = "Description";
inline constexpr std::string_view MediaDBVideoColumnPlayLength = "PlayLength";
inline constexpr std::string_view MediaDBVideoColumnDateLastPlayed = "DateLastPlayed";
inline constexpr std::string_view MediaDBVideoColumnPlayCount = "PlayCount";
inline constexpr std::string_view MediaDBVideoColumnRating = "Rating";
inline constexpr std::string_view MediaDBVideoColumnIsReadOnly = "IsReadOnly";
inline constexpr std::string_view MediaDBVideoColumnIsLicenseExpired = "IsLicenseExpired";
inline constexpr std::string_view MediaDBVideoColumnIsChecked = "IsChecked";
inline constexpr std::string_view MediaDBVideoColumnDateModified = "DateModified";
inline constexpr std::string_view MediaDBVideoColumnTag = "Tag";
inline constexpr std::string_view MediaDBVideoColumnKeyword = "Keyword";

// Photo table.
inline constexpr std::string_view MediaDBPhotoColumnDateAdded = "DateAdded";
inline constexpr std::string_view MediaDBPhotoColumnTitle = "Title";
inline constexpr std::string_view MediaDBPhotoColumnDatePictured = "DatePictured";
inline constexpr std::string_view MediaDBPhotoColumnImage = "Image";
inline constexpr std::string_view MediaDBPhotoColumnCameraModel = "CameraModel";
inline constexpr std::string_view MediaDBPhotoColumnCreator = "Creator";
inline constexpr std::string_view MediaDBPhotoColumnLocation = "Location";
inline constexpr std::string_view MediaDBPhotoColumnDescription = "Description";
inline constexpr std::string_view MediaDBPhotoColumnWidth = "Width";
inline constexpr std::string_view MediaDBPhotoColumnHeight = "Height";
inline constexpr std::string_view MediaDBPhotoColumnRating = "Rating";
inline constexpr std::string_view MediaDBPhotoColumnIsChecked = "IsChecked";
inline constexpr std::string_view MediaDBPhotoColumnDateModified = "DateModified";
inline constexpr std::string_view MediaDBPhotoColumnDateCreated = "DateCreated";
inline constexpr std::string_view MediaDBPhotoColumnTag = "Tag";
inline constexpr std::string_view MediaDBPhotoColumnKeyword = "Keyword";

// Playlist item table. ContensType lacks its t; clients know the constant by this name.
inline constexpr std::string_view MediaDBPlaylistItemColumnPlaylistName = "PlaylistName";
inline constexpr std::string_view MediaDBPlaylistItemColumnContensType = "ContentsType";
inline constexpr std::string_view MediaDBPlaylistItemColumnFilePath = "FilePath";

// Playlist property table.
inline constexpr std::string_view MediaDBPlaylistPropertyColumnPlaylistName = "PlaylistName";
inline constexpr std::string_view MediaDBPlaylistPropertyColumnContentsType = "ContentsType";
inline constexpr std::string_view MediaDBPlaylistPropertyColumnPlaylistType = "PlaylistType";
inline constexpr std::string_view MediaDBPlaylistPropertyColumnIsNeedRefresh = "IsNeedRefresh";

// Podcast channel table.
inline constexpr std::string_view MediaDBPodcastChannelsColumnNID = "NID";
inline constexpr std::string_view MediaDBPodcastChannelsColumnSortOrder = "SortOrder";
inline constexpr std::string_view MediaDBPodcastChannelsColumnChannelURL = "ChannelURL";
inline constexpr std::string_view MediaDBPodcastChannelsColumnTitle = "Title";
inline constexpr std::string_view MediaDBPodcastChannelsColumnSubTitle = "SubTitle";
inline constexpr std::string_view MediaDBPodcastChannelsColumnDescription = "Description";
inline constexpr std::string_view MediaDBPodcastChannelsColumnAuthor = "Author";
inline constexpr std::string_view MediaDBPodcastChannelsColumnSummary = "Summary";
inline constexpr std::string_view MediaDBPodcastChannelsColumnLink = "Link";
inline constexpr std::string_view MediaDBPodcastChannelsColumnGuid = "Guid";
inline constexpr std::string_view MediaDBPodcastChannelsColumnLastBuildDate = "LastBuildDate";
inline constexpr std::string_view MediaDBPodcastChannelsColumnLastUpdateDate = "LastUpdateDate";
inline constexpr std::string_view MediaDBPodcastChannelsColumnWebMaster = "WebMaster";
inline constexpr std::string_view MediaDBPodcastChannelsColumnImageURL = "ImageURL";
inline constexpr std::string_view MediaDBPodcastChannelsColumnStatus = "Status";
inline constexpr std::string_view MediaDBPodcastChannelsColumnSubscriptChannel = "SubscriptChannel";
inline constexpr std::string_view MediaDBPodcastChannelsColumnUserDefaultSetting = "UserDefaultSetting";
inline constexpr std::string_view MediaDBPodcastChannelsColumnMaintainPostCount = "MaintainPostCount";
inline constexpr std::string_view MediaDBPodcastChannelsColumnAutoDownloadPostCount = "AutoDownloadPostCount";
inline constexpr std::string_view MediaDBPodcastChannelsColumnGroupNID = "GroupNID";
inline constexpr std::string_view MediaDBPodcastChannelsColumnCategory = "Category";
inline constexpr std::string_view MediaDBPodcastChannelsColumnLocalImagePath = "LocalImagePath";

// Podcast group table.
inline constexpr std::string_view MediaDBPodcastGroupsColumnNID = "NID";
inline constexpr std::string_view MediaDBPodcastGroupsColumnSortOrder = "SortOrder";
inline constexpr std::string_view MediaDBPodcastGroupsColumnName = "Name";
inline constexpr std::string_view MediaDBPodcastGroupsColumnDescription = "Description";

// Podcast media table.
inline constexpr std::string_view MediaDBPodcastMediasColumnNID = "NID";
inline constexpr std::string_view MediaDBPodcastMediasColumnPostNID = "PostNID";
inline constexpr std::string_view MediaDBPodcastMediasColumnDuration = "Duration";
inline constexpr std::string_view MediaDBPodcastMediasColumnUrl = "Url";
inline constexpr std::string_view MediaDBPodcastMediasColumnLength = "Length";
inline constexpr std::string_view MediaDBPodcastMediasColumnType = "Type";
inline constexpr std::string_view MediaDBPodcastMediasColumnFilePath = "FilePath";
inline constexpr std::string_view MediaDBPodcastMediasColumnDetailMediaType = "DetailMediaType";
inline constexpr std::string_view MediaDBPodcastMediasColumnDetailMediaTypeString = "DetailMediaTypeString";
inline constexpr std::string_view MediaDBPodcastMediasColumnDRMProperty = "DRMProperty";
inline constexpr std::string_view MediaDBPodcastMediasColumnBitrate = "Bitrate";
inline constexpr std::string_view MediaDBPodcastMediasColumnSamplingRate = "SamplingRate";
inline constexpr std::string_view MediaDBPodcastMediasColumnAudioCodec = "AudioCodec";
inline constexpr std::string_view MediaDBPodcastMediasColumnVideoCodec = "VideoCodec";
inline constexpr std::string_view MediaDBPodcastMediasColumnDownloadDate = "DownloadDate";
inline constexpr std::string_view MediaDBPodcastMediasColumnLastPlayDate = "LastPlayDate";

// Podcast post table.
inline constexpr std::string_view MediaDBPodcastPostsColumnNID = "NID";
inline constexpr std::string_view MediaDBPodcastPostsColumnChannelURL = "ChannelURL";
inline constexpr std::string_view MediaDBPodcastPostsColumnTitle = "Title";
inline constexpr std::string_view MediaDBPodcastPostsColumnSubTitle = "SubTitle";
inline constexpr std::string_view MediaDBPodcastPostsColumnDescription = "Description";
inline constexpr std::string_view MediaDBPodcastPostsColumnAuthor = "Author";
inline constexpr std::string_view MediaDBPodcastPostsColumnSummary = "Summary";
inline constexpr std::string_view MediaDBPodcastPostsColumnKeywords = "Keywords";
inline constexpr std::string_view MediaDBPodcastPostsColumnLink = "Link";
inline constexpr std::string_view MediaDBPodcastPostsColumnGuid = "Guid";
inline constexpr std::string_view MediaDBPodcastPostsColumnPublishDate = "PublishDate";
inline constexpr std::string_view MediaDBPodcastPostsColumnStatus = "Status";
inline constexpr std::string_view MediaDBPodcastPostsColumnRating = "Rating";
inline constexpr std::string_view MediaDBPodcastPostsColumnViewDownloadComplete = "ViewDownloadComplete";

// Keys of the podcast information dictionary; not columns of the database.
inline constexpr std::string_view kMediaTagPodcastEpisodeId = "kMediaTagPodcastEpisodeId";
inline constexpr std::string_view kMediaTagPodcastChannelUrl = "kMediaTagPodcastChannelUrl";

} // namespace mv
