#include "Base/Media/MediaDB.h"
#include "facts/TagNames.h"
#include "service/include/MVAudioEncoderBase.h"
#include "service/include/MVExifExtractorBase.h"
#include "service/include/MVImageInfoBuilder.h"

#include <gtest/gtest.h>
#include <mivo/FactKeys.h>
#include <mivo/Keys.h>
#include <vector>

namespace mivo {
namespace {

TEST(Keys, AreThoseOfTheService)
{
    EXPECT_EQ(keys::FilePath, mv::MediaDBCommonColumnFilePath);
    EXPECT_EQ(keys::FileName, mv::MediaDBCommonColumnFileName);
    EXPECT_EQ(keys::FileSize, mv::MediaDBCommonColumnFileSize);
    EXPECT_EQ(keys::MediaType, mv::MediaDBCommonColumnMediaType);
    EXPECT_EQ(keys::FileTypeString, mv::MediaDBCommonColumnFileTypeString);
    EXPECT_EQ(keys::IsManaged, mv::MediaDBCommonColumnIsManaged);
    EXPECT_EQ(keys::LinkError, mv::MediaDBCommonColumnLinkError);
    EXPECT_EQ(keys::ReservedInt, mv::MediaDBCommonColumnReservedInt);
    EXPECT_EQ(keys::ReservedText, mv::MediaDBCommonColumnReservedText);
    EXPECT_EQ(keys::DateAdded, mv::MediaDBMusicColumnDateAdded);
    EXPECT_EQ(keys::DateCreated, mv::MediaDBVideoColumnDateCreated);
    EXPECT_EQ(keys::DateModified, mv::MediaDBMusicColumnDateModified);
    EXPECT_EQ(keys::Title, mv::MediaDBMusicColumnTitle);
    EXPECT_EQ(keys::Rating, mv::MediaDBMusicColumnRating);
    EXPECT_EQ(keys::PlayCount, mv::MediaDBMusicColumnPlayCount);
    EXPECT_EQ(keys::PlayState, mv::MediaDBMusicColumnPlayState);
    EXPECT_EQ(keys::IsChecked, mv::MediaDBVideoColumnIsChecked);
    EXPECT_EQ(keys::IsReadOnly, mv::MediaDBMusicColumnIsReadOnly);
    EXPECT_EQ(keys::IsLicenseExpired, mv::MediaDBMusicColumnIsLicenseExpired);
    EXPECT_EQ(keys::DRMProperty, mv::MediaDBMusicColumnDRMProperty);
    EXPECT_EQ(keys::PlayLength, mv::MediaDBMusicColumnPlayLength);
    EXPECT_EQ(keys::Bitrate, mv::MediaDBMusicColumnBitrate);
}

TEST(Keys, OfSongsMoviesAndPicturesAreThoseOfTheService)
{
    EXPECT_EQ(keys::Artist, mv::MediaDBMusicColumnArtist);
    EXPECT_EQ(keys::Album, mv::MediaDBMusicColumnAlbum);
    EXPECT_EQ(keys::AlbumArtist, mv::MediaDBMusicColumnAlbumArtist);
    EXPECT_EQ(keys::AlbumArt, mv::MediaDBMusicColumnAlbumArt);
    EXPECT_EQ(keys::AlbumRating, mv::MediaDBMusicColumnAlbumRating);
    EXPECT_EQ(keys::Composer, mv::MediaDBMusicColumnComposer);
    EXPECT_EQ(keys::Genre, mv::MediaDBMusicColumnGenre);
    EXPECT_EQ(keys::TrackNo, mv::MediaDBMusicColumnTrackNo);
    EXPECT_EQ(keys::DiscNo, mv::MediaDBMusicColumnDiscNo);
    EXPECT_EQ(keys::DateReleased, mv::MediaDBMusicColumnDateReleased);
    EXPECT_EQ(keys::Samplerate, mv::MediaDBMusicColumnSamplerate);
    EXPECT_EQ(keys::HasLyrics, mv::MediaDBMusicColumnHasLyrics);
    EXPECT_EQ(keys::Width, mv::MediaDBPhotoColumnWidth);
    EXPECT_EQ(keys::Height, mv::MediaDBPhotoColumnHeight);
    EXPECT_EQ(keys::Image, mv::MediaDBPhotoColumnImage);
    EXPECT_EQ(keys::VideoCodec, mv::MediaDBVideoColumnVCodec);
    EXPECT_EQ(keys::AudioCodec, mv::MediaDBVideoColumnACodec);
    EXPECT_EQ(keys::Creator, mv::MediaDBPhotoColumnCreator);
    EXPECT_EQ(keys::Description, mv::MediaDBPhotoColumnDescription);
    EXPECT_EQ(keys::CameraModel, mv::MediaDBPhotoColumnCameraModel);
    EXPECT_EQ(keys::DatePictured, mv::MediaDBPhotoColumnDatePictured);
    EXPECT_EQ(keys::Orientation, mv::kPhotoOrientation);
}

TEST(Keys, OfTheOtherRecordsAreThoseOfTheService)
{
    EXPECT_EQ(keys::thumbnail::Data, mv::kThumbnailData);
    EXPECT_EQ(keys::thumbnail::Width, mv::kThumbnailWidth);
    EXPECT_EQ(keys::thumbnail::Height, mv::kThumbnailHeight);
    EXPECT_EQ(keys::podcast::EpisodeId, mv::kMediaTagPodcastEpisodeId);
    EXPECT_EQ(keys::podcast::ChannelUrl, mv::kMediaTagPodcastChannelUrl);
    EXPECT_EQ(keys::encoder::Bitrate, mv::MVAudioEncoderBitrateAttribute);
    EXPECT_EQ(keys::encoder::SamplingRate, mv::MVAudioEncoderSamplingRateAttribute);
    EXPECT_EQ(keys::encoder::VariableBitrate, mv::MVAudioEncoderVBRAttribute);
    EXPECT_EQ(keys::encoder::StereoMode, mv::MVMP3EncoderStereoModeAttribte);
    EXPECT_EQ(keys::encoder::Quality, mv::MVMP3EncoderQualityAttribute);
    EXPECT_EQ(keys::encoder::ExactConversion, mv::MVAudioEncoderExactConversionAttribute);
}

TEST(Keys, EveryTextOfAPicturesFactsHasOne)
{
    using namespace keys::exif;
    const std::vector<std::string_view> ours { Vendor, Model, keys::exif::Orientation, MaxAperture, FocalLength,
        ShutterSpeed, FNumber, ExposureBias, ExposureProgram, MeteringMode, Iso, WhiteBalance, Flash, FlashMode,
        ColorSpace, SceneCaptureType, Version, RedEyeReduction };
    std::vector<std::string_view> theirs;
    for (const mv::ExifTextProperty& property : mv::ExifTextProperties)
        theirs.emplace_back(property.name);
    EXPECT_EQ(ours, theirs);
}

TEST(Keys, EveryFactHasOne)
{
    using namespace keys::fact;
    const std::vector<std::string_view> ours { Kind, MimeType, Url, Size, Modified, Length, keys::fact::Title,
        keys::fact::Album, keys::fact::Artist, keys::fact::AlbumArtist, keys::fact::Composer, keys::fact::Genre,
        Comment, TrackNumber, TrackTotal, DiscNumber, DiscTotal, ContentCreated, AsText, AudioBpm, Compilation,
        HasPicture, keys::fact::AudioCodec, keys::fact::VideoCodec, SampleRate, Channels, BitsPerSample,
        keys::fact::Bitrate, keys::fact::Width, keys::fact::Height, FrameRate, keys::fact::Orientation, CameraMake,
        keys::fact::CameraModel, Lens, ExposureTime, keys::fact::FNumber, keys::fact::FocalLength, keys::fact::Iso,
        Latitude, Longitude, Altitude };
    std::vector<std::string_view> theirs;
    for (const mv::FactRow& row : mv::FactRows)
        theirs.push_back(row.key);
    EXPECT_EQ(ours, theirs);
    EXPECT_EQ(FrontCover, mv::FrontCoverKey);
}

} // namespace
} // namespace mivo
