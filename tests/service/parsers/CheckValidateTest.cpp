#include "service/parsers/CheckValidate.h"

#include "Base/Core/ByteReader.h"
#include "tests/fakes/FakeQTKit.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using test::FakeQTKit;
using test::trackOf;
using testing::ElementsAre;
using testing::IsEmpty;

class CheckValidateTest : public testing::Test {
protected:
    bool alac(std::vector<QTTrack> tracks)
    {
        m_toolkit.movie.tracks = std::move(tracks);
        return isAlacAudio(**m_toolkit.initWithFile(OpenedFile::at("a")));
    }
    bool valid(std::vector<QTTrack> tracks)
    {
        m_toolkit.movie.tracks = std::move(tracks);
        m_movie = std::move(*m_toolkit.initWithFile(OpenedFile::at("a")));
        m_toolkit.calls.clear();
        return validateMedia(*m_movie, m_toolkit);
    }

    FakeQTKit m_toolkit;
    std::unique_ptr<QTMovie> m_movie;
};

constexpr OSType Vide = fourCC("vide");
constexpr OSType Soun = fourCC("soun");
constexpr OSType Alac = fourCC("alac");
constexpr OSType Mp4a = fourCC("mp4a");
constexpr OSType Avc1 = fourCC("avc1");

TEST_F(CheckValidateTest, AlacIsAnEnabledSoundTrackWhoseFirstDescriptionIsAlac)
{
    EXPECT_TRUE(alac({ trackOf(Soun, { Alac }) }));
    EXPECT_TRUE(alac({ trackOf(Vide, { Avc1 }), trackOf(Soun, { Alac }), trackOf(Soun, { Mp4a }) }));
    EXPECT_FALSE(alac({ trackOf(Soun, { Mp4a }) }));
    EXPECT_FALSE(alac({}));
}

TEST_F(CheckValidateTest, AlacInDisabledOrOtherTracksDoesNotCount)
{
    EXPECT_FALSE(alac({ trackOf(Soun, { Alac }, false) }));
    EXPECT_FALSE(alac({ trackOf(Vide, { Alac }) }));
}

TEST_F(CheckValidateTest, AlacIsLookedForInTheFirstDescriptionWhateverTheOthersAre)
{
    EXPECT_TRUE(alac({ trackOf(Soun, { Alac, Mp4a }) }));
    EXPECT_FALSE(alac({ trackOf(Soun, { Mp4a, Alac }) }));
    EXPECT_FALSE(alac({ trackOf(Soun, {}) }));
}

TEST_F(CheckValidateTest, AMovieWithoutTracksIsValid)
{
    EXPECT_TRUE(valid({}));
    EXPECT_THAT(m_toolkit.calls, IsEmpty());
}

TEST_F(CheckValidateTest, PicturesNeedAnImageDecompressor)
{
    EXPECT_TRUE(valid({ trackOf(Vide, { Avc1 }) }));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("find imdc avc1"));
    m_toolkit.missing = { { fourCC("imdc"), Avc1 } };
    EXPECT_FALSE(valid({ trackOf(Vide, { Avc1 }) }));
}

TEST_F(CheckValidateTest, SoundNeedsOneOfTwoKindsOfDecompressors)
{
    EXPECT_TRUE(valid({ trackOf(Soun, { Mp4a }) }));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("find sdec mp4a"));
    m_toolkit.missing = { { fourCC("sdec"), Mp4a } };
    EXPECT_TRUE(valid({ trackOf(Soun, { Mp4a }) }));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("find sdec mp4a", "find adec mp4a"));
    m_toolkit.missing.insert({ fourCC("adec"), Mp4a });
    EXPECT_FALSE(valid({ trackOf(Soun, { Mp4a }) }));
}

TEST_F(CheckValidateTest, OtherMediaNeedAMediaHandlerOfTheirType)
{
    EXPECT_TRUE(valid({ trackOf(fourCC("tmcd"), { fourCC("xxxx") }) }));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("find mhlr tmcd"));
    m_toolkit.missing = { { fourCC("mhlr"), fourCC("odd ") } };
    EXPECT_FALSE(valid({ trackOf(fourCC("odd "), {}) }));
}

TEST_F(CheckValidateTest, DisabledTracksAreNotChecked)
{
    m_toolkit.missing = { { fourCC("mhlr"), fourCC("odd ") } };
    EXPECT_TRUE(valid({ trackOf(fourCC("odd "), {}, false), trackOf(Vide, { Avc1 }) }));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("find imdc avc1"));
}

TEST_F(CheckValidateTest, EveryDescriptionIsTheFirst)
{
    m_toolkit.missing = { { fourCC("imdc"), fourCC("none") } };
    EXPECT_TRUE(valid({ trackOf(Vide, { Avc1, fourCC("none") }) }));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("find imdc avc1", "find imdc avc1"));
    EXPECT_FALSE(valid({ trackOf(Vide, { fourCC("none"), Avc1 }) }));
    EXPECT_TRUE(valid({ trackOf(Vide, {}) }));
}

} // namespace
} // namespace mv
