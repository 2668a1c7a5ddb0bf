#include "service/host/adaptors/MediaTagAdaptor.h"

#include "tests/service/host/AdaptorTest.h"

namespace mv {
namespace {

struct Seen {
    Path path;
    Record record;
    std::optional<Record> podcast;
};

struct FakeTag final : MVMediaTagBase {
    explicit FakeTag(Seen& target)
        : seen(target)
    {
    }
    std::optional<Record> podcastInfo(const Path& path) override
    {
        seen.path = path;
        return seen.podcast;
    }
    bool updateTagWithDictionary(const Path& path, const Record& record) override
    {
        seen.path = path;
        seen.record = record;
        return record.contains("Title");
    }
    Seen& seen;
};

class MediaTagAdaptorTest : public test::AdaptorTest {
protected:
    MediaTagAdaptorTest() { serve(std::make_unique<MediaTagAdaptor>(std::make_unique<FakeTag>(m_seen))); }
    ~MediaTagAdaptorTest() override { m_connection.reset(); }
    Seen m_seen;
};

constexpr const char* Interface = "Mivo.MVMediaTagBase";

TEST_F(MediaTagAdaptorTest, RecordsComeInWithTheirNulls)
{
    Record record { { "Title", "제목" }, { "Artist", NullObject {} }, { "AlbumArt", Bytes { 1, 2, 3 } } };
    auto answer
        = call(Interface, "updateTagWithDictionary", [&](WireWriter& out) { out.string("/m/a.mp3").record(record); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_TRUE(answer.reader().boolean());
    EXPECT_EQ(m_seen.path, Path("/m/a.mp3"));
    EXPECT_EQ(m_seen.record, record);
}

TEST_F(MediaTagAdaptorTest, AnEmptyPathIsNil)
{
    auto answer = call(Interface, "updateTagWithDictionary", [](WireWriter& out) { out.string("").record(Record {}); });
    EXPECT_FALSE(answer.reader().boolean());
    EXPECT_TRUE(m_seen.path.isNil());
}

TEST_F(MediaTagAdaptorTest, PodcastInfoIsNilOneOrEmpty)
{
    auto ask = [&] {
        return call(Interface, "podcastInfo", [](WireWriter& out) { out.string("/a.mp3"); }).reader().optionalRecord();
    };
    EXPECT_EQ(ask(), std::nullopt);
    m_seen.podcast = Record {};
    EXPECT_EQ(ask(), Record {});
    m_seen.podcast = Record { { "kMediaTagPodcastEpisodeId", "7" } };
    EXPECT_EQ(ask(), m_seen.podcast);
}

} // namespace
} // namespace mv
