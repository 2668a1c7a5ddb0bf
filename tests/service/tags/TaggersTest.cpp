// Tags that other programs made, rewritten, and read by other programs again.
#include "service/tags/MediaTag.h"

#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "id3/TagReader.h"
#include "system/InputFile.h"
#include "tests/service/tags/TagFiles.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace mv {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;

using Lines = std::vector<std::string>;

struct Program {
    const char* name; ///< of the case
    const char* command; ///< needed on the PATH
    const char* line; ///< shell; $F is the file
};

void PrintTo(const Program& program, std::ostream* out) { *out << program.name; }

std::string shell(const Program& program, const std::string& file)
{
    return test::outputOf("F=" + test::shellQuoted(file) + "; { " + program.line + " ; } 2>&1");
}

const Record kRecord { { MediaDBMusicColumnTitle, "Tïtle 곡" }, { MediaDBMusicColumnAlbum, "Älbum" },
    { MediaDBMusicColumnArtist, "Ärtist" }, { MediaDBCommonColumnReservedText, "Cömment" },
    { MediaDBMusicColumnComposer, "Cömposer" }, { MediaDBMusicColumnGenre, "Jazz" }, { MediaDBMusicColumnTrackNo, 7 } };

bool update(const std::string& file, std::int32_t mediaType)
{
    Record record = kRecord;
    record.set(MediaDBCommonColumnMediaType, mediaType);
    return MediaTag().updateTagWithDictionary(*EditableFile::at(file), record);
}

/// The packets of all streams but pictures, as a checksum.
std::string packets(const std::string& file)
{
    return test::outputOf("ffmpeg -v quiet -i " + test::shellQuoted(file) + " -map 0:a -c copy -f md5 - || true");
}

// ---- MP3 ----

std::string formatTags(const std::string& file)
{
    return test::outputOf(
        "ffprobe -v quiet -show_entries format_tags -of default=nw=1 " + test::shellQuoted(file) + " || true");
}

class TaggersTest : public testing::TestWithParam<Program> { };

constexpr Program Taggers[] = {
    { "none", "ffmpeg", "true" },
    { "ffmpegV23", "ffmpeg",
        "ffmpeg -v error -i $F -c copy -id3v2_version 3 -metadata title=old -metadata mykey=kept -f mp3 $F.2 && mv "
        "$F.2 $F" },
    { "ffmpegV24", "ffmpeg",
        "ffmpeg -v error -i $F -c copy -id3v2_version 4 -metadata title=old -metadata mykey=kept -f mp3 $F.2 && mv "
        "$F.2 $F" },
    { "ffmpegV1", "ffmpeg",
        "ffmpeg -v error -i $F -c copy -write_id3v1 1 -metadata title=old -f mp3 $F.2 && mv $F.2 $F" },
    { "lameV1V2", "lame",
        "ffmpeg -v error -i $F -f wav $F.wav && lame --quiet --add-id3v2 --tt old --ta old --tv TPE2=band --tv "
        "TXXX=mykey=kept $F.wav $F" },
    { "mutagenV23", "mutagen-inspect",
        "/usr/bin/python3 -c 'import sys; from mutagen.id3 import ID3,TIT2,TXXX,APIC; t=ID3(); "
        "t.add(TIT2(encoding=3,text=\"old\")); "
        "t.add(TXXX(encoding=3,desc=\"mykey\",text=\"kept\")); "
        "t.add(APIC(encoding=3,mime=\"image/png\",type=3,desc=\"c\",data=b\"x\"*70000)); "
        "t.save(sys.argv[1],v2_version=3)' $F" },
    { "mutagenV24", "mutagen-inspect",
        "/usr/bin/python3 -c 'import sys; from mutagen.id3 import ID3,TIT2,TXXX,APIC; t=ID3(); "
        "t.add(TIT2(encoding=3,text=\"old\")); "
        "t.add(TXXX(encoding=3,desc=\"mykey\",text=\"kept\")); "
        "t.add(APIC(encoding=3,mime=\"image/png\",type=3,desc=\"c\",data=b\"x\"*70000)); t.save(sys.argv[1])' "
        "$F" },
    { "eyeD3V23", "eyeD3", "eyeD3 -Q --to-v2.3 -t old -a old --user-text-frame mykey:kept $F" },
    { "eyeD3V24", "eyeD3", "eyeD3 -Q --to-v2.4 -t old -a old --user-text-frame mykey:kept $F" },
    { "id3v2", "id3v2", "id3v2 -t old -a old --TXXX mykey:kept $F" },
    { "kid3V23", "kid3-cli", "kid3-cli -c 'set title old' -c 'set mykey kept' -c 'to23' -c save $F" },
    { "kid3V24", "kid3-cli", "kid3-cli -c 'set title old' -c 'set mykey kept' -c 'to24' -c save $F" },
};

/// What a reader prints for the record above; texts it does not know are left out.
struct Reader {
    Program program;
    Lines expected;
};

const Reader Readers[] = {
    { { "ffprobe", "ffprobe", "ffprobe -v error -show_entries format_tags -of default=nw=1 $F" },
        { "TAG:title=Tïtle 곡", "TAG:album=Älbum", "TAG:artist=Ärtist", "TAG:comment=Cömment", "TAG:composer=Cömposer",
            "TAG:genre=Jazz", "TAG:track=7" } },
    { { "exiftool", "exiftool", "exiftool -s2 -ID3v2_3:all $F" },
        { "Title: Tïtle 곡", "Album: Älbum", "Artist: Ärtist", "Comment-xxx: Cömment", "Composer: Cömposer",
            "Genre: Jazz", "Track: 7" } },
    { { "kid3", "kid3-cli", "kid3-cli -c 'get all 2' $F | sed 's/^ *//; s/   */: /'" },
        { "Title: Tïtle 곡", "Album: Älbum", "Artist: Ärtist", "Comment: Cömment", "Composer: Cömposer", "Genre: Jazz",
            "Track Number: 7" } },
    { { "eyeD3", "eyeD3",
          "eyeD3 --no-color $F | grep -oE '(title|artist|album|composer): .*|genre: [^(]*|track: [0-9]+' | sed 's/ "
          "*$//'" },
        { "title: Tïtle 곡", "album: Älbum", "artist: Ärtist", "composer: Cömposer", "genre: Jazz", "track: 7" } },
};

TEST_P(TaggersTest, EveryReaderFindsTheRecordAndWhatWasThereBesides)
{
    const Program& tagger = GetParam();
    if (!test::haveProgram("ffmpeg") || !test::haveProgram(tagger.command))
        GTEST_SKIP() << tagger.command << " is not installed";
    test::ScratchFolder folder;
    std::string file = folder.file("song.mp3");
    test::outputOf("ffmpeg -v error -f lavfi -i sine=d=1 -map_metadata -1 -write_id3v1 0 -id3v2_version 0 " + file);
    shell(tagger, file);
    std::string audio = packets(file);
    bool hadText
        = test::run("grep -aq kept " + file) == 0 || test::run("tr -d '\\0' < " + file + " | grep -aq kept") == 0;

    ASSERT_TRUE(update(file, MVMediaTypeMP3));

    EXPECT_EQ(packets(file), audio);
    Lines lines = test::mutagenLines("id3", file);
    EXPECT_THAT(lines,
        IsSupersetOf({ "TIT2 enc=1 Tïtle 곡", "TALB enc=1 Älbum", "TPE1 enc=1 Ärtist", "TCOM enc=1 Cömposer",
            "COMM XXX desc= enc=1 Cömment", "TCON enc=0 (8)", "TRCK enc=0 7", "version=2.3" }));
    if (hadText) {
        EXPECT_THAT(lines, Contains("TXXX mykey=kept"));
    }
    for (const Reader& reader : Readers) {
        if (!test::haveProgram(reader.program.command))
            continue;
        std::istringstream output(shell(reader.program, file));
        Lines found;
        for (std::string line; std::getline(output, line);)
            found.push_back(line);
        EXPECT_THAT(found, IsSupersetOf(reader.expected)) << reader.program.name;
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, TaggersTest, testing::ValuesIn(Taggers), [](const auto& test) { return std::string(test.param.name); });

// The corpus

bool isEdited(const std::string& line)
{
    for (const char* id : { "TIT2", "TALB", "TPE1", "TPE2", "TPE3", "TCOM", "COMM", "TCON", "TRCK", "version=" })
        if (line.starts_with(id))
            return true;
    return false;
}

/// Copies of those files of the corpus, in order.
Lines copiesOf(const Lines& names, const test::ScratchFolder& folder, const std::string& extension)
{
    Lines copies;
    for (const std::string& name : names)
        copies.push_back(folder.copy(test::corpusFile(name), std::to_string(copies.size()) + extension));
    return copies;
}

/// Everything behind the tags at the front.
Bytes behindTags(const std::string& file)
{
    auto input = InputFile::open(file);
    auto tags = readTags(*input);
    std::uint64_t begin = tags->prependedTags.empty() ? 0 : tags->prependedTags.back().extent().end();
    return *input->bytesAt(begin, static_cast<std::size_t>(input->size() - begin));
}

constexpr std::size_t CorpusParts = 5;

class TagCorpusTest : public testing::TestWithParam<std::size_t> { };

INSTANTIATE_TEST_SUITE_P(Parts, TagCorpusTest, testing::Range(std::size_t { 0 }, CorpusParts));

TEST_P(TagCorpusTest, EveryMP3FileTakesTheRecordAndKeepsTheRest)
{
    MV_NEEDS_CORPUS();
    Lines names = test::corpusFiles("mp3", GetParam(), CorpusParts);
    test::ScratchFolder folder;
    Lines files = copiesOf(names, folder, ".mp3");
    auto before = test::mutagenLinesOfAll("id3", files);
    Lines left;
    for (std::size_t i = 0; i < files.size(); ++i) {
        Bytes rest = behindTags(files[i]);
        test::LogCapture log;
        ASSERT_TRUE(update(files[i], MVMediaTypeMP3)) << names[i];
        ASSERT_EQ(behindTags(files[i]), rest) << names[i];
        if (log.lines().empty())
            continue;
        EXPECT_THAT(log.lines(), testing::ElementsAre(HasSubstr("cannot be read whole"))) << names[i];
        EXPECT_EQ(test::readFile(files[i]), test::readFile(test::corpusFile(names[i])));
        left.push_back(names[i]);
    }
    EXPECT_THAT(left, testing::IsEmpty());
    auto after = test::mutagenLinesOfAll("id3", files);
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (std::find(left.begin(), left.end(), names[i]) != left.end())
            continue;
        EXPECT_THAT(after[i], Contains("TIT2 enc=1 Tïtle 곡")) << names[i];
        bool wasV23 = std::find(before[i].begin(), before[i].end(), "version=2.3") != before[i].end();
        for (const std::string& line : before[i]) {
            if (wasV23 && !isEdited(line)) {
                EXPECT_THAT(after[i], Contains(line)) << names[i];
            }
        }
    }
}

TEST_P(TagCorpusTest, EveryMP4FileTakesTheRecordAndKeepsTheRest)
{
    MV_NEEDS_CORPUS();
    Lines names = test::corpusFiles("mp4", GetParam(), CorpusParts);
    test::ScratchFolder folder;
    Lines files = copiesOf(names, folder, ".m4a");
    auto before = test::mutagenLinesOfAll("mp4", files);
    Lines left;
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::string media = packets(files[i]);
        test::LogCapture log;
        bool opened = update(files[i], MVMediaTypeM4A);
        EXPECT_EQ(packets(files[i]), media) << names[i];
        if (opened && log.lines().empty()) {
            EXPECT_THAT(formatTags(files[i]), HasSubstr("TAG:artist=Ärtist\n")) << names[i];
            continue;
        }
        EXPECT_EQ(log.lines().size(), 1u) << names[i];
        EXPECT_EQ(log.lines()[0] == "MP4Tag file open fail " + files[i], !opened) << log.lines()[0];
        EXPECT_EQ(test::readFile(files[i]), test::readFile(test::corpusFile(names[i])));
        left.push_back(names[i]);
    }
    EXPECT_THAT(left, testing::IsEmpty());
    auto after = test::mutagenLinesOfAll("mp4", files);
    for (std::size_t i = 0; i < files.size(); ++i)
        for (const std::string& line : before[i])
            for (const char* kept : { "----:", "\u00A9cmt", "\u00A9too", "desc", "purl", "egid", "tmpo", "cpil" })
                if (line.starts_with(kept)) {
                    EXPECT_THAT(after[i], Contains(line)) << names[i];
                }
}

} // namespace
} // namespace mv
