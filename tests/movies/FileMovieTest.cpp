#include "tests/movies/FileMovieFixture.h"
#include "tests/support/LocalZone.h"

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

const std::string kH264 = " -c:v libx264 -preset ultrafast -pix_fmt yuv420p ";

TEST_F(FileMovieTest, TheNameIsTheTitleElseTheFiles)
{
    for (const char* container : { "mp4", "mkv", "avi", "flv" }) {
        std::string name = std::string("clip.") + container;
        EXPECT_EQ(displayName(*openClip(name, movingPicture(64, 64, 10, 0.5) + kH264)), name);
        EXPECT_EQ(displayName(*openClip(name, movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata title='A täst'")),
            "A täst");
    }
    EXPECT_EQ(displayName(*openClip("a.ogg", kTone + "0.5 -metadata title=Song")), "Song");
    EXPECT_EQ(displayName(*openClip("a.mp3", kTone + "0.5 -metadata title=Song")), "Song");
    // A track's name is not the movie's.
    EXPECT_EQ(displayName(*openClip("t.mkv", kTone + "0.5 -metadata:s:a title=Track")), "t.mkv");
}

TEST_F(FileMovieTest, TimesComeFromTheMovieHeaderElseFromTheFile)
{
    std::string clip = makeClip(
        m_folder, "a.mov", movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata creation_time=2010-05-06T07:08:09Z");
    auto movie = open(clip);
    EXPECT_EQ(movie->attribute<Date>(QTMovieCreationTimeAttribute), Date::fromSeconds(1273129689));
    EXPECT_EQ(movie->attribute<Date>(QTMovieModificationTimeAttribute), Date::fromSeconds(1273129689));

    for (const char* name : { "b.mov", "b.avi" }) {
        clip = makeClip(m_folder, name, movingPicture(64, 64, 10, 0.5) + kH264);
        ASSERT_EQ(run("touch -d @1300000000 " + clip), 0);
        movie = open(clip);
        auto facts = attributesAt(clip);
        EXPECT_EQ(movie->attribute<Date>(QTMovieModificationTimeAttribute), Date::fromSeconds(1300000000));
        EXPECT_EQ(movie->attribute<Date>(QTMovieCreationTimeAttribute),
            facts->creationDate.value_or(facts->modificationDate));
    }
}

TEST_F(FileMovieTest, OtherContainersKeepTheTimeOfCreation)
{
    std::string clip = makeClip(
        m_folder, "a.mkv", movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata creation_time=2010-05-06T07:08:09Z");
    ASSERT_EQ(run("touch -d @1300000000 " + clip), 0);
    auto movie = open(clip);
    EXPECT_EQ(movie->attribute<Date>(QTMovieCreationTimeAttribute), Date::fromSeconds(1273129689));
    EXPECT_EQ(movie->attribute<Date>(QTMovieModificationTimeAttribute), Date::fromSeconds(1300000000));
}

/// An AVI that says when it was made: `text` as cameras write it into the chunk IDIT, in front of the media.
std::string withRecordingDate(const ScratchFolder& folder, const std::string& avi, std::string_view text)
{
    Bytes content = readFile(avi);
    std::size_t media = charsOf(content).find("movi") - 8;
    Bytes chunk;
    ByteWriter writer(chunk);
    writer.text("IDIT");
    writer.u32le(static_cast<std::uint32_t>(text.size()));
    writer.text(text);
    if (text.size() % 2)
        writer.u8(0);
    content.insert(content.begin() + static_cast<std::ptrdiff_t>(media), chunk.begin(), chunk.end());
    return folder.write("dated.avi", content);
}

TEST_F(FileMovieTest, AviSaysWhenItWasMadeInLocalTime)
{
    std::string clip = makeClip(m_folder, "a.avi", movingPicture(64, 64, 10, 0.5) + " -c:v mpeg4");
    constexpr std::int64_t Moment = 1'047'308'683; // 2003-03-10 15:04:43 UTC
    struct {
        std::string_view text;
        std::int64_t seconds;
    } const cases[] = {
        { std::string_view("Mon Mar 10 15:04:43 2003\n\0", 26), Moment },
        { "2003/03/10 15:04:43", Moment },
        { "2003/03/10/ 15:04", Moment - 43 },
        { "2003/ 3/10  3:04PM", Moment - 43 },
    };
    for (const char* zone : { "UTC0", "KST-9" }) {
        LocalZone local(zone);
        std::int64_t ahead = zone == std::string_view("UTC0") ? 0 : 9 * 3600;
        for (const auto& [text, seconds] : cases)
            EXPECT_EQ(open(withRecordingDate(m_folder, clip, text))->attribute<Date>(QTMovieCreationTimeAttribute),
                Date::fromSeconds(seconds - ahead))
                << text << " " << zone;
    }
}

TEST_F(FileMovieTest, FlvSaysWhenItWasMadeWithABlankInTheMiddle)
{
    // Under a name of the same length, as the muxer would put a T between day and time.
    std::string clip = makeClip(
        m_folder, "a.flv", movingPicture(64, 64, 10, 0.5) + kH264 + "-metadata creation_tim_='2010-05-06 07:08:09'");
    Bytes content = readFile(clip);
    std::size_t name = charsOf(content).find("creation_tim_");
    ASSERT_NE(name, std::string::npos);
    content[name + 12] = 'e';
    clip = m_folder.write("dated.flv", content);
    LocalZone local("KST-9");
    EXPECT_EQ(open(clip)->attribute<Date>(QTMovieCreationTimeAttribute), Date::fromSeconds(1'273'129'689 - 9 * 3600));
}

TEST_F(FileMovieTest, ATimeOfDayIsNoTimeOfCreation)
{
    // Broadcast WAV: FFmpeg gives the time's field the name of the whole moment.
    std::string clip = makeClip(
        m_folder, "a.wav", kTone + "0.5 -write_bext 1 -metadata creation_time=07:08:09 -metadata description=x");
    auto movie = open(clip);
    auto facts = attributesAt(clip);
    EXPECT_EQ(
        movie->attribute<Date>(QTMovieCreationTimeAttribute), facts->creationDate.value_or(facts->modificationDate));
}

TEST_F(FileMovieTest, TheRateIsZeroAndUnknownAttributesAreMissing)
{
    auto movie = openClip("a.mp4", movingPicture(64, 64, 10, 0.5) + kH264);
    EXPECT_EQ(movie->attribute<float>(QTMovieRateAttribute), 0.0f);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(movie->attributeForKey("QTMovieColorAttribute")));
}

TEST_F(FileMovieTest, DurationsInEveryContainer)
{
    std::string both = movingPicture(64, 64, 10, 2.5) + kTone + "2.5" + kH264 + "-c:a aac -shortest";
    for (const char* name : { "a.mp4", "a.mov", "a.mkv", "a.avi", "a.flv", "a.ts" })
        EXPECT_NEAR(secondsOf(*openClip(name, both)), 2.5, 0.15) << name;
    EXPECT_NEAR(secondsOf(*openClip("f.mp4", both + " -movflags frag_keyframe+empty_moov")), 2.5, 0.1);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.wav", kTone + "2.5")), 2.5);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.aiff", kTone + "2.5")), 2.5);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.flac", kTone + "2.5")), 2.5);
    EXPECT_DOUBLE_EQ(secondsOf(*openClip("a.au", kTone + "2.5")), 2.5);
    EXPECT_NEAR(secondsOf(*openClip("a.ogg", kTone + "2.5")), 2.5, 0.001);
    EXPECT_NEAR(secondsOf(*openClip("a.ac3", kTone + "2.5")), 2.5, 0.04);
    EXPECT_NEAR(secondsOf(*openClip("a.eac3", kTone + "2.5")), 2.5, 0.04);
    EXPECT_NEAR(secondsOf(*openClip("a.mp3", kTone + "2.5")), 2.5, 0.06);
}

TEST_F(FileMovieTest, SoundWithoutALengthIsMeasured)
{
    // Silence and noise in one file: a guess from the first frames' bit rate would be far off.
    std::string quietThenLoud = " -f lavfi -i \"aevalsrc=if(gt(t\\,5)\\,random(0)*0.9\\,0):s=44100:d=10\" ";
    EXPECT_NEAR(secondsOf(*openClip("a.aac", quietThenLoud + "-c:a aac -b:a 128k")), 10.0, 0.06);
    EXPECT_NEAR(secondsOf(*openClip("a.mp3", quietThenLoud + "-c:a libmp3lame -q:a 4 -write_xing 0")), 10.0, 0.06);
}

TEST_F(FileMovieTest, ASecondIsExact)
{
    auto movie = openClip("a.mp4", movingPicture(64, 64, 10, 100) + kH264);
    EXPECT_EQ(secondsOf(*movie), 100.0);
}

TEST_F(FileMovieTest, CodecsAsStoredInIsoMedia)
{
    std::string h264 = movingPicture(64, 64, 10, 0.5) + kTone + "0.5";
    EXPECT_THAT(formats(*openClip("a.mp4", h264 + kH264 + "-c:a aac")), ElementsAre("vide avc1", "soun mp4a"));
    EXPECT_THAT(
        formats(*openClip("b.mov", h264 + " -c:v mjpeg -c:a pcm_s16le")), ElementsAre("vide jpeg", "soun sowt"));
    EXPECT_THAT(formats(*openClip("c.mp4", h264 + " -c:v mpeg4 -c:a ac3")), ElementsAre("vide mp4v", "soun ac-3"));
    EXPECT_THAT(formats(*openClip("d.m4a", kTone + "0.5 -c:a alac")), ElementsAre("soun alac"));
    EXPECT_THAT(
        formats(*openClip("e.mp4", movingPicture(64, 64, 10, 0.5) + kH264 + "-tag:v avc3")), ElementsAre("vide avc3"));
}

TEST_F(FileMovieTest, CodecsOfOtherContainersByQuickTimesCodes)
{
    std::string source = movingPicture(64, 64, 10, 0.5) + kTone + "0.5";
    EXPECT_THAT(formats(*openClip("a.mkv", source + kH264 + "-c:a aac")), ElementsAre("vide avc1", "soun mp4a"));
    EXPECT_THAT(formats(*openClip("b.webm", source + " -c:v libvpx-vp9 -cpu-used 8 -deadline realtime -c:a libopus")),
        ElementsAre("vide vp09", "soun Opus"));
    EXPECT_THAT(formats(*openClip("c.mkv", source + " -c:v mpeg4 -c:a flac")), ElementsAre("vide mp4v", "soun fLaC"));
    EXPECT_THAT(
        formats(*openClip("d.ts", source + " -c:v mpeg2video -c:a mp2")), ElementsAre("vide mp2v", "soun .mp2"));
    EXPECT_THAT(formats(*openClip("e.avi", source + " -c:v mpeg4 -vtag XVID -c:a libmp3lame")),
        ElementsAre("vide XVID", "soun .mp3"));
    EXPECT_THAT(
        formats(*openClip("f.avi", source + " -c:v mjpeg -c:a pcm_s16le")), ElementsAre("vide MJPG", "soun sowt"));
    EXPECT_THAT(formats(*openClip("g.flv", source + " -c:v flv -c:a libmp3lame")),
        UnorderedElementsAre("vide FLV1", "soun .mp3"));
    EXPECT_THAT(formats(*openClip("h.asf", source + " -c:v wmv2 -c:a wmav2")), ElementsAre("vide WMV2", "soun WMA2"));
    EXPECT_THAT(formats(*openClip("i.wav", kTone + "0.5 -c:a pcm_s24le")), ElementsAre("soun in24"));
    EXPECT_THAT(formats(*openClip("j.aiff", kTone + "0.5")), ElementsAre("soun twos"));
    EXPECT_THAT(formats(*openClip("k.ogg", kTone + "0.5 -c:a libvorbis")), ElementsAre("soun XiVs"));
}

TEST_F(FileMovieTest, CoverArtIsNotVideo)
{
    std::string cover = kTone + "0.5" + movingPicture(64, 64, 1, 1) + " -map 0 -map 1 -frames:v 1 -c:v mjpeg "
        + "-disposition:v attached_pic ";
    for (const char* name : { "a.mp3", "a.m4a", "a.flac" }) {
        auto movie = openClip(name, cover);
        EXPECT_FALSE(hasVideo(*movie)) << name;
        EXPECT_TRUE(hasAudio(*movie)) << name;
        EXPECT_EQ(movie->tracks().size(), 1u) << name;
        EXPECT_EQ(naturalSize(*movie), NSSize {}) << name;
        EXPECT_FALSE(movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.1))) << name;
        EXPECT_FALSE(movie->posterImage()) << name;
    }
}

TEST_F(FileMovieTest, SoundAloneAndPicturesAlone)
{
    auto movie = openClip("a.m4a", kTone + "0.5");
    EXPECT_FALSE(hasVideo(*movie));
    EXPECT_TRUE(hasAudio(*movie));
    movie = openClip("a.mp4", movingPicture(64, 64, 10, 0.5) + kH264);
    EXPECT_TRUE(hasVideo(*movie));
    EXPECT_FALSE(hasAudio(*movie));
}

TEST_F(FileMovieTest, EnabledFlags)
{
    std::string clip = makeClip(m_folder, "a.mp4",
        movingPicture(64, 64, 10, 0.5) + movingPicture(128, 96, 10, 0.5) + kTone + "0.5 -map 0 -map 1 -map 2" + kH264);
    enableTrack(clip, 0, false);
    enableTrack(clip, 1, true);
    enableTrack(clip, 2, false);
    auto movie = open(clip);
    ASSERT_EQ(movie->tracks().size(), 3u);
    EXPECT_FALSE(movie->tracks()[0].isEnabled);
    EXPECT_TRUE(movie->tracks()[1].isEnabled);
    EXPECT_FALSE(movie->tracks()[2].isEnabled);
    EXPECT_TRUE(hasAudio(*movie)); // it has a sound track, if a silent one
    // The enabled pictures are the movie's.
    EXPECT_EQ(naturalSize(*movie), (NSSize { 128, 96 }));
    auto frame = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.2));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->representations().front()->pixelsWide(), 128);
}

TEST_F(FileMovieTest, DisabledStillsArePicturesOfChapters)
{
    std::string clip
        = makeClip(m_folder, "a.mov", kTone + "2" + movingPicture(64, 64, 1, 2) + " -map 0 -map 1 -c:a aac -c:v mjpeg");
    EXPECT_TRUE(hasVideo(*open(clip)));
    enableTrack(clip, 1, false);
    EXPECT_FALSE(hasVideo(*open(clip)));
    EXPECT_EQ(open(clip)->tracks().size(), 2u);
}

} // namespace
} // namespace mv::test
