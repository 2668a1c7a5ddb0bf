#include "tests/integration/Media1Client.h"
#include "tests/integration/Operations.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Mp3Maker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The interface for new programs, over a bus.

namespace mv {
namespace {

using test::flagOption;
using test::Media1Answer;
using test::Media1Client;
using test::textOption;

constexpr const char* InvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

class Media1 : public test::RunningService {
protected:
    std::string song(const std::string& name = "a song.mp3") { return m_folder.write(name, test::song()); }
    /// A song with a title and a cover.
    std::string songWithCover()
    {
        std::string cover = test::zeroed("\0image/png\0\3a cover\0") + m_cover;
        std::string frames = test::id3Frame(3, "TIT2", test::zeroed("\0A title")) + test::id3Frame(3, "APIC", cover);
        return m_folder.write("covered.mp3", test::id3Tag(3, frames) + test::mpegFrames(50));
    }
    UniqueFd opened(const std::string& path, int flags = O_RDONLY) { return UniqueFd(open(path.c_str(), flags)); }

    const std::string m_cover = "\x89PNG\r\n\x1a\nnot much of one";
    test::ScratchFolder m_folder;
    Media1Client m_media { m_client };
};

TEST_F(Media1, HasAVersion)
{
    auto answer = m_client.call(std::string(Media1Service), Media1Path, "org.freedesktop.DBus.Properties", "Get",
        [](WireWriter& out) { out.string("Mivo.Media1").string("Version"); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    ASSERT_GT(sd_bus_message_enter_container(answer.message.get(), 'v', "u"), 0);
    EXPECT_EQ(answer.reader().unsignedInteger(), 1u);
}

TEST_F(Media1, DescribesAPath)
{
    std::string path = song();
    Media1Answer answer = m_media.describe(path);
    ASSERT_TRUE(answer.ok()) << answer.error << answer.text;
    EXPECT_EQ(answer.fact("mivo:kind"), "s audio");
    EXPECT_EQ(answer.fact("mivo:mimeType"), "s audio/mpeg");
    struct stat facts { };
    ASSERT_EQ(stat(path.c_str(), &facts), 0);
    EXPECT_EQ(answer.fact("mivo:size"), "t " + std::to_string(facts.st_size));
    EXPECT_EQ(answer.fact("mivo:modified"),
        "x " + std::to_string(facts.st_mtim.tv_sec * 1'000'000 + facts.st_mtim.tv_nsec / 1000));
    EXPECT_TRUE(answer.fact("xesam:url").ends_with("/a%20song.mp3")) << answer.fact("xesam:url");
    EXPECT_TRUE(answer.fact("xesam:url").starts_with("s file:///"));
    EXPECT_FALSE(answer.hasPictures);
}

TEST_F(Media1, UrisAreEscapedByteByByte)
{
    Media1Answer answer = m_media.describe(song("50% \"é\" #1;?.mp3"));
    EXPECT_TRUE(answer.fact("xesam:url").ends_with("/50%25%20%22%C3%A9%22%20%231%3B%3F.mp3"))
        << answer.fact("xesam:url");
}

TEST_F(Media1, TextsOfOldCharsetsAreKnownInAClosedWorker)
{
    // Shift JIS, Cyrillic and Big5, which nothing else there has loaded before.
    const std::pair<std::string, std::string> Titles[] = { { "\x83\x54\x83\x93\x83\x76\x83\x8B", "サンプル" },
        { "\xCF\xF0\xE8\xE2\xE5\xF2", "Привет" }, { "\xA7\xDA\xAA\xBA\xAD\xB5\xBC\xD6", "我的音樂" } };
    for (const auto& [bytes, title] : Titles) {
        Media1Answer answer
            = m_media.describe(m_folder.write("old.mp3", test::mpegFrames(50) + test::id3v1Tag({ .title = bytes })));
        EXPECT_EQ(answer.fact("xesam:title"), "s " + title);
    }
}

TEST_F(Media1, GivesPicturesOnRequest)
{
    std::string path = songWithCover();
    Media1Answer without = m_media.describe(path, { flagOption("pictures", false) });
    EXPECT_FALSE(without.hasPictures);
    Media1Answer with = m_media.describe(path, { flagOption("pictures", true) });
    ASSERT_EQ(with.pictures.size(), 1u) << with.error << with.text;
    EXPECT_EQ(with.pictures[0].facts, "3|image/png|a cover");
    const UniqueFd& data = with.pictures[0].data;
    EXPECT_EQ(lseek(data.get(), 0, SEEK_CUR), 0);
    std::string bytes(100, 0);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(data.get(), bytes.data(), bytes.size()))));
    EXPECT_EQ(bytes, m_cover);
    EXPECT_EQ(fcntl(data.get(), F_GET_SEALS), F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL);
    Media1Answer none = m_media.describe(song(), { flagOption("pictures", true) });
    EXPECT_TRUE(none.ok() && none.hasPictures && none.pictures.empty()) << none.text;
}

TEST_F(Media1, AHandleIsReadAsItIsGiven)
{
    std::string path = song();
    UniqueFd file = opened(path);
    lseek(file.get(), 1000, SEEK_SET);
    unlink(path.c_str());
    Media1Answer answer = m_media.describeFile(file.get(), "");
    ASSERT_TRUE(answer.ok()) << answer.error << answer.text;
    EXPECT_EQ(answer.fact("mivo:kind"), "s audio");
    EXPECT_EQ(answer.fact("xesam:url"), "") << "nobody said where it is";
    EXPECT_TRUE(answer.fact("mivo:size").starts_with("t ")) << answer.fact("mivo:size");
    EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), 1000);
}

TEST_F(Media1, AHandleMayBeForWritingToo)
{
    EXPECT_TRUE(m_media.describeFile(opened(song(), O_RDWR).get(), "x.mp3").ok());
}

TEST_F(Media1, HandlesThatCannotBeReadAreRefused)
{
    std::string path = song();
    for (int flags : { O_PATH, O_WRONLY }) {
        Media1Answer answer = m_media.describeFile(opened(path, flags).get(), "x.mp3");
        EXPECT_EQ(answer.error, "AccessDenied") << flags;
        EXPECT_EQ(answer.text, "\"x.mp3\" may not be read.");
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(m_media.describeFile(ends[0], "").error, "NotRegular");
    close(ends[0]);
    close(ends[1]);
    UniqueFd folder = opened(m_folder.path(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(m_media.describeFile(folder.get(), "").error, "NotRegular");
}

struct RefusedPath {
    std::string path;
    const char* error;
    std::string text;
};

TEST_F(Media1, SaysWhyAFileCannotBeDescribed)
{
    std::string text = m_folder.write("text.txt", "no media");
    std::string fifo = m_folder.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string empty = m_folder.write("empty.mp3", "");
    const RefusedPath rows[] {
        { m_folder.file("nobody"), "NotFound", "There is no file \"nobody\"." },
        { m_folder.path(), "NotRegular", "" },
        { fifo, "NotRegular", "\"fifo\" is no regular file." },
        { "/dev/null", "NotRegular", "\"null\" is no regular file." },
        { text, "NotMedia", "\"text.txt\" is no song, video or picture of a format that is read." },
        { empty, "NotMedia", "\"empty.mp3\" is no song, video or picture of a format that is read." },
    };
    std::vector<std::string> paths;
    for (const RefusedPath& row : rows) {
        Media1Answer answer = m_media.describe(row.path);
        EXPECT_EQ(answer.error, row.error) << row.path;
        if (!row.text.empty()) {
            EXPECT_EQ(answer.text, row.text);
        }
        EXPECT_EQ(answer.text.find(m_folder.path() + "/"), std::string::npos) << answer.text;
        paths.push_back(row.path);
    }
    Media1Answer many = m_media.describeMany(paths);
    ASSERT_EQ(many.files.size(), paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        EXPECT_EQ(many.files[i].size(), 2u);
        EXPECT_EQ(many.fact("mivo:error", i), std::string("s Mivo.Media1.Error.") + rows[i].error);
        EXPECT_EQ(many.fact("mivo:errorMessage", i), "s " + m_media.describe(paths[i]).text);
    }
}

TEST_F(Media1, WrongArgumentsAreRefused)
{
    std::string path = song();
    EXPECT_EQ(m_media.describe("a song.mp3").error, InvalidArgs);
    EXPECT_EQ(m_media.describe("").error, InvalidArgs);
    EXPECT_EQ(m_media.describe(path, { textOption("pictures", "yes") }).error, InvalidArgs);
    EXPECT_EQ(m_media.describeMany({ path, "relative" }).error, InvalidArgs);
    EXPECT_EQ(m_media.describeMany(std::vector<std::string>(1001, path)).error, InvalidArgs);
    EXPECT_EQ(m_media.describeMany({ path }, { textOption("pictures", "yes") }).error, InvalidArgs);
    auto wrong = m_client.call(
        std::string(Media1Service), Media1Path, "Mivo.Media1", "Describe", [](WireWriter& out) { out.integer(1); });
    EXPECT_EQ(wrong.error, InvalidArgs);
}

TEST_F(Media1, UnknownOptionsAreForLaterVersions)
{
    auto pair = [](WireWriter& out) { out.realPair(1, 2); };
    Media1Answer answer = m_media.describe(song(),
        { textOption("speed", "high"), { "place", "(dd)", pair }, flagOption("pictures", true),
            { "handle", "h", [](WireWriter& out) { out.handle(0); } } });
    EXPECT_TRUE(answer.ok()) << answer.error << answer.text;
    EXPECT_TRUE(answer.hasPictures);
}

TEST_F(Media1, DescribesAThousandInTheirOrder)
{
    std::vector<std::string> paths;
    for (int i = 0; i < 1000; ++i)
        paths.push_back(i % 7 == 3 ? m_folder.file("none-" + std::to_string(i)) : song(std::to_string(i) + ".mp3"));
    Media1Answer answer = m_media.describeMany(paths, { flagOption("pictures", true) });
    ASSERT_EQ(answer.files.size(), paths.size()) << answer.error << answer.text;
    EXPECT_FALSE(answer.hasPictures) << "ignored";
    for (std::size_t i = 0; i < paths.size(); ++i) {
        std::string expected = i % 7 == 3 ? "" : "/" + std::to_string(i) + ".mp3";
        EXPECT_TRUE(answer.fact("xesam:url", i).ends_with(expected)) << i;
        EXPECT_EQ(answer.fact("mivo:error", i), i % 7 == 3 ? "s Mivo.Media1.Error.NotFound" : "");
    }
    EXPECT_TRUE(m_media.describeMany({}).ok());
}

TEST_F(Media1, AMovieIsDescribedByAWorkerThatCan)
{
    std::string movie = m_folder.write("movie.mkv", std::string("\x1A\x45\xDF\xA3 no more"));
    Media1Answer answer = m_media.describe(movie);
    EXPECT_TRUE(answer.ok() || answer.error == "NotMedia") << answer.error;
    EXPECT_EQ(m_service.log().find("lost"), std::string::npos) << m_service.log();
}

TEST_F(Media1, ATakenNameLeavesTheNineAsTheyAre)
{
    // This service has it; a second one finds the first name taken, as ever, and does not ask for this one.
    test::ServiceProcess second;
    EXPECT_EQ(second.waitForEnd(), 1);
    EXPECT_EQ(second.log().find("Mivo.Media1"), std::string::npos) << second.log();
}

TEST(Media1Alone, TheNineAreServedWithoutIt)
{
    test::PrivateBus bus;
    test::BusClient client;
    ASSERT_GE(sd_bus_request_name(client.bus(), std::string(Media1Service).c_str(), 0), 0);
    test::ServiceProcess service;
    EXPECT_TRUE(service.waitUntilReady()) << service.log();
    EXPECT_NE(service.log().find("failed to register Mivo.Media1"), std::string::npos) << service.log();
    EXPECT_TRUE(service.running());
}

} // namespace
} // namespace mv
