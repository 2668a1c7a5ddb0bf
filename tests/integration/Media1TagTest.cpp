#include "tests/integration/Media1Client.h"
#include "tests/integration/Operations.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Corpus.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/TornFile.h"

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

// SetTags of the interface for new programs, over a bus. What other programs read of its files, and what kills leave,
// is tried by tests/faults/run_settags.py.

namespace mv {
namespace {

using test::Media1Answer;
using test::Media1Client;
using test::Media1Option;
using test::Media1Options;
using test::noneOption;
using test::numberOption;
using test::textOption;
using test::textsOption;

constexpr const char* InvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

Media1Option bytesOption(std::string key, std::string bytes)
{
    return { std::move(key), "ay", [bytes = std::move(bytes)](WireWriter& out) { out.bytes(bytesOf(bytes)); } };
}

Media1Option handleOption(std::string key, int file)
{
    return { std::move(key), "h", [file](WireWriter& out) { out.handle(file); } };
}

class Media1Tags : public test::RunningService {
protected:
    std::string song(const std::string& name = "a song.mp3") { return m_folder.write(name, test::song()); }
    static std::string content(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }
    std::string pictureOf(const std::string& path)
    {
        Media1Answer answer = m_media.describe(path, { test::flagOption("pictures", true) });
        if (answer.pictures.empty())
            return "none";
        std::string bytes(1000, 0);
        auto size = read(answer.pictures[0].data.get(), bytes.data(), bytes.size());
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(0, size)));
        return answer.pictures[0].facts + "|" + bytes;
    }

    const std::string m_png = "\x89PNG\r\n\x1a\nnot much of one";
    const std::string m_jpeg = "\xff\xd8\xff\xe0 nor of this";
    test::ScratchFolder m_folder;
    Media1Client m_media { m_client };
};

const Media1Options EveryTag { textOption("xesam:title", "제목"), textOption("xesam:album", "Album"),
    textsOption("xesam:artist", { "AC/DC", "Zwei" }), textsOption("xesam:albumArtist", { "All" }),
    textsOption("xesam:composer", { "Compöser" }), textsOption("xesam:genre", { "Own", "Rock" }),
    textsOption("xesam:comment", { "One", "Two" }), textOption("xesam:contentCreated", "2010-05-04"),
    numberOption("xesam:trackNumber", 3), numberOption("mivo:trackTotal", 12), numberOption("xesam:discNumber", 1),
    numberOption("mivo:discTotal", 2) };

void expectEveryTag(const Media1Answer& answer)
{
    ASSERT_TRUE(answer.ok()) << answer.error << ": " << answer.text;
    EXPECT_EQ(answer.fact("xesam:title"), "s 제목");
    EXPECT_EQ(answer.fact("xesam:album"), "s Album");
    EXPECT_EQ(answer.fact("xesam:artist"), "as AC/DC|Zwei");
    EXPECT_EQ(answer.fact("xesam:albumArtist"), "as All");
    EXPECT_EQ(answer.fact("xesam:composer"), "as Compöser");
    EXPECT_EQ(answer.fact("xesam:genre"), "as Own|Rock");
    EXPECT_EQ(answer.fact("xesam:comment"), "as One|Two");
    EXPECT_EQ(answer.fact("xesam:contentCreated"), "s 2010-05-04");
    EXPECT_EQ(answer.fact("xesam:trackNumber"), "i 3");
    EXPECT_EQ(answer.fact("mivo:trackTotal"), "i 12");
    EXPECT_EQ(answer.fact("xesam:discNumber"), "i 1");
    EXPECT_EQ(answer.fact("mivo:discTotal"), "i 2");
}

TEST_F(Media1Tags, AreSetAndAnswered)
{
    std::string path = song();
    Media1Answer answer = m_media.setTags(path, EveryTag);
    expectEveryTag(answer);
    EXPECT_EQ(answer.fact("mivo:kind"), "s audio");
    EXPECT_TRUE(answer.fact("xesam:url").ends_with("/a%20song.mp3"));
    expectEveryTag(m_media.describe(path));
}

TEST_F(Media1Tags, TagsKeepTheirVersion)
{
    for (int version : { 2, 3, 4 }) {
        std::string frame = version == 2 ? test::id3Frame(2, "TT2", test::zeroed("\0Old"))
                                         : test::id3Frame(version, "TIT2", test::zeroed("\0Old"))
                + test::id3Frame(version, "TXXX", test::zeroed("\0key\0value"));
        std::string path = m_folder.write("versions.mp3", test::id3Tag(version, frame) + test::mpegFrames(50));
        expectEveryTag(m_media.setTags(path, EveryTag));
        EXPECT_EQ(content(path)[3], version == 4 ? 4 : 3);
        if (version != 2) {
            EXPECT_NE(content(path).find(test::zeroed("\0key\0value")), std::string::npos);
        }
    }
}

TEST_F(Media1Tags, OnlyNamedOnesChangeAndNothingsRemove)
{
    std::string path = song();
    ASSERT_TRUE(m_media.setTags(path, EveryTag).ok());
    Media1Answer answer = m_media.setTags(path,
        { noneOption("xesam:title"), textOption("xesam:album", ""), textsOption("xesam:artist", {}),
            noneOption("xesam:trackNumber"), textOption("mivo:unknown", "x"), numberOption("mpris:length", 1) });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.fact("xesam:title"), "");
    EXPECT_EQ(answer.fact("xesam:album"), "");
    EXPECT_EQ(answer.fact("xesam:artist"), "");
    EXPECT_EQ(answer.fact("xesam:trackNumber"), "");
    EXPECT_EQ(answer.fact("mivo:trackTotal"), "i 12") << "the other half stays";
    EXPECT_EQ(answer.fact("xesam:composer"), "as Compöser");
    std::string old = m_folder.write(
        "old.mp3", test::id3Tag(2, test::id3Frame(2, "TT2", test::zeroed("\0Old"))) + test::mpegFrames(50));
    std::string before = content(old);
    EXPECT_EQ(m_media.setTags(old, { textOption("mivo:unknown", "x") }).fact("xesam:title"), "s Old");
    EXPECT_EQ(content(old), before);
}

TEST_F(Media1Tags, TextsAtTheEndGoWithTheirNames)
{
    std::string path = m_folder.write("old.mp3",
        test::mpegFrames(50) + test::id3v1Tag({ .title = "Old title", .artist = "Old artist", .album = "Old album" }));
    Media1Answer answer = m_media.setTags(path, { noneOption("xesam:title"), textsOption("xesam:artist", { "New" }) });
    EXPECT_EQ(answer.fact("xesam:title"), "");
    EXPECT_EQ(answer.fact("xesam:artist"), "as New");
    EXPECT_EQ(answer.fact("xesam:album"), "s Old album");
}

TEST_F(Media1Tags, CommentsWithADescriptionStay)
{
    std::string gain = test::id3Frame(3, "COMM", test::zeroed("\0engiTunNORM\0 0001"));
    std::string path = m_folder.write("gain.mp3", test::id3Tag(3, gain) + test::mpegFrames(50));
    EXPECT_EQ(m_media.setTags(path, { textsOption("xesam:comment", { "Mine" }) }).fact("xesam:comment"), "as Mine");
    EXPECT_EQ(m_media.setTags(path, { noneOption("xesam:comment") }).fact("xesam:comment"), "");
    EXPECT_NE(content(path).find(gain), std::string::npos);
}

TEST_F(Media1Tags, TheFrontCoverIsStoredAsItIs)
{
    std::string back = test::id3Frame(3, "APIC", test::zeroed("\0image/png\0\4back\0") + m_png + "of the back");
    std::string path = m_folder.write("covers.mp3", test::id3Tag(3, back) + test::mpegFrames(50));
    ASSERT_TRUE(m_media.setTags(path, { bytesOption("mivo:frontCover", m_jpeg) }).ok());
    EXPECT_EQ(pictureOf(path), "3|image/jpeg||" + m_jpeg);
    UniqueFd file(memfd_create("cover", 0));
    ASSERT_EQ(write(file.get(), m_png.data(), m_png.size()), static_cast<ssize_t>(m_png.size()));
    Media1Answer answer = m_media.setTags(path, { handleOption("mivo:frontCover", file.get()) });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(pictureOf(path), "3|image/png||" + m_png);
    ASSERT_TRUE(m_media.setTags(path, { noneOption("mivo:frontCover") }).ok());
    EXPECT_EQ(pictureOf(path), "4|image/png|back|" + m_png + "of the back");
}

TEST_F(Media1Tags, WhatCannotBeMeantIsRefused)
{
    std::string path = song();
    const std::string before = content(path);
    const Media1Options wrong { textsOption("xesam:title", { "x" }), textOption("xesam:artist", "x"),
        textOption("xesam:trackNumber", "3"), numberOption("xesam:trackNumber", -1),
        numberOption("mivo:discTotal", 65536), textOption("xesam:contentCreated", "yesterday"),
        textOption("xesam:contentCreated", "2010-13"), bytesOption("mivo:frontCover", "GIF89a"),
        textOption("mivo:frontCover", "x") };
    for (const Media1Option& option : wrong)
        EXPECT_EQ(m_media.setTags(path, { textOption("xesam:album", "x"), option }).error, InvalidArgs) << option.key;
    EXPECT_EQ(m_media.setTags("song.mp3", EveryTag).error, InvalidArgs);
    UniqueFd noPicture(open(path.c_str(), O_RDONLY));
    EXPECT_EQ(m_media.setTags(path, { handleOption("mivo:frontCover", noPicture.get()) }).error, InvalidArgs);
    UniqueFd blind(open(path.c_str(), O_PATH));
    EXPECT_EQ(m_media.setTags(path, { handleOption("mivo:frontCover", blind.get()) }).error, "AccessDenied");
    EXPECT_EQ(content(path), before);
}

TEST_F(Media1Tags, OtherFilesAreRefusedByWhatTheyAre)
{
    EXPECT_EQ(m_media.setTags(m_folder.file("none.mp3"), EveryTag).error, "NotFound");
    EXPECT_EQ(m_media.setTags(m_folder.path(), EveryTag).error, "NotRegular");
    EXPECT_EQ(m_media.setTags(m_folder.write("text.mp3", "no song at all"), EveryTag).error, "NotMedia");
    std::string gif = m_folder.write(
        "a.gif", test::zeroed("GIF89a\1\0\1\0\x80\0\0\0\0\0\xff\xff\xff,\0\0\0\0\1\0\1\0\0\2\2D\1\0;"));
    Media1Answer answer = m_media.setTags(gif, EveryTag);
    EXPECT_EQ(answer.error, "Unsupported");
    EXPECT_EQ(answer.text.find(m_folder.path()), std::string::npos) << answer.text;
}

TEST_F(Media1Tags, LinksStay)
{
    std::string path = song();
    std::string link = m_folder.file("link.mp3");
    std::filesystem::create_symlink(path, link);
    std::string other = m_folder.file("other name.mp3");
    std::filesystem::create_hard_link(path, other);
    expectEveryTag(m_media.setTags(link, EveryTag));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    expectEveryTag(m_media.describe(other));
    EXPECT_EQ(std::filesystem::hard_link_count(path), 2u);
}

TEST_F(Media1Tags, AFileThatAKillLeftTornIsWholeFirst)
{
    std::string path = song();
    ASSERT_TRUE(m_media.setTags(path, EveryTag).ok());
    test::tear(path, "no song");
    ASSERT_EQ(m_media.describe(path).error, "NotMedia");
    Media1Answer answer = m_media.setTags(path, { textOption("xesam:title", "Title") });
    EXPECT_EQ(answer.fact("xesam:title"), "s Title") << answer.error << answer.text;
    EXPECT_EQ(answer.fact("xesam:artist"), "as AC/DC|Zwei");
}

TEST_F(Media1Tags, ChangesOfOneFileWaitForEachOther)
{
    std::string path = song();
    const std::vector<std::string> keys { "xesam:title", "xesam:album", "xesam:artist", "xesam:composer" };
    std::vector<std::thread> callers;
    for (const std::string& key : keys) {
        callers.emplace_back([&, key] {
            test::BusClient client;
            Media1Client media(client);
            for (int i = 0; i < 10; ++i) {
                std::string value = std::to_string(i);
                bool isText = key == "xesam:title" || key == "xesam:album";
                auto option = isText ? textOption(key, value) : textsOption(key, { value });
                Media1Answer answer = media.setTags(path, { option });
                EXPECT_TRUE(answer.ok()) << answer.text;
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    Media1Answer answer = m_media.describe(path);
    for (const std::string& key : keys)
        EXPECT_TRUE(answer.fact(key).ends_with(" 9")) << key;
}

class Media1TagFormats : public Media1Tags, public testing::WithParamInterface<const char*> { };

TEST_P(Media1TagFormats, TakeEveryTagAndACover)
{
    MV_NEEDS_CORPUS();
    std::string path = m_folder.copy(test::corpusFile(GetParam()), std::filesystem::path(GetParam()).filename());
    std::filesystem::permissions(path, std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
    Media1Answer before = m_media.describe(path);
    Media1Options tags = EveryTag;
    tags.push_back(bytesOption("mivo:frontCover", m_png));
    Media1Answer answer = m_media.setTags(path, tags);
    expectEveryTag(answer);
    for (const char* key :
        { "mivo:mimeType", "mpris:length", "mivo:sampleRate", "mivo:audioCodec", "mivo:channels", "mivo:bitrate" })
        EXPECT_EQ(answer.fact(key), before.fact(key)) << key;
    EXPECT_TRUE(pictureOf(path).ends_with(m_png)) << pictureOf(path);
    Media1Options nothing;
    for (const Media1Option& tag : tags)
        nothing.push_back(noneOption(tag.key));
    Media1Answer after = m_media.setTags(path, nothing);
    ASSERT_TRUE(after.ok()) << after.error << ": " << after.text;
    for (const Media1Option& tag : tags)
        EXPECT_EQ(after.fact(tag.key), "") << tag.key;
}

INSTANTIATE_TEST_SUITE_P(Every, Media1TagFormats,
    testing::Values("audio/full.flac", "audio/full.ogg", "audio/multipagecomment.ogg", "audio/full.opus",
        "audio/full.wav", "audio/11k-1ch-2s-silence.aif", "mp3/audacious-trailing-id32-apev2.mp3", "mp4/full.m4a"),
    [](const auto& row) {
        std::string name = row.param;
        std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
        return name;
    });

} // namespace
} // namespace mv
