#include "service/host/adaptors/MediaTagAdaptor.h"

#include "Base/Media/MediaDB.h"
#include "tests/service/host/AdaptorTest.h"
#include "tests/support/Scratch.h"

namespace mv {
namespace {

struct Seen {
    Path path;
    Record record;
    std::optional<Record> podcast;
    Bytes content; ///< of the file to be updated
};

struct FakeTag final : MVMediaTagBase {
    explicit FakeTag(Seen& target)
        : seen(target)
    {
    }
    std::optional<Record> podcastInfo(const OpenedFile& file) override
    {
        seen.path = file.path();
        return seen.podcast;
    }
    bool updateTagWithDictionary(EditableFile& file, const Record& record) override
    {
        seen.path = file.opened().path();
        seen.record = record;
        if (const auto& content = file.opened().content())
            seen.content = (*content)->bytesAt(0, (*content)->size()).value();
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

TEST_F(MediaTagAdaptorTest, WithoutAPathItIsTheRecords)
{
    auto pathFor = [&](const char* path, const Record& record) {
        call(Interface, "updateTagWithDictionary", [&](WireWriter& out) { out.string(path).record(record); });
        return m_seen.path;
    };
    EXPECT_EQ(pathFor("", { { MediaDBCommonColumnFilePath, "/m/b.mp3" } }), Path("/m/b.mp3"));
    EXPECT_EQ(pathFor("/m/a.mp3", { { MediaDBCommonColumnFilePath, "/m/b.mp3" } }), Path("/m/a.mp3"));
    EXPECT_TRUE(pathFor("", { { MediaDBCommonColumnFilePath, NullObject {} } }).isNil());
    EXPECT_TRUE(pathFor("", { { MediaDBCommonColumnFilePath, 7 } }).isNil());
}

TEST_F(MediaTagAdaptorTest, TheFileComesOpened)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a.mp3", "content");
    EXPECT_TRUE(call(Interface, "updateTagWithDictionary",
        [&](WireWriter& out) {
            out.string(path).record({ { "Title", "t" } });
        })
                    .reader()
                    .boolean());
    EXPECT_EQ(charsOf(m_seen.content), "content");
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
