// Files that nobody vouches for: whatever they hold, reading ends soon, with an error or with what is there.
#include "mp4/mp4.h"
#include "system/OpenedFile.h"
#include "tests/support/CountingSource.h"
#include "tests/support/Mp4Edit.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv {
namespace {

using namespace test;

/// Everything that can be asked of a file, and an edit.
void askEverything(const Bytes& file)
{
    auto opened = Mp4File::open(StructureReader(ByteView(file)));
    if (!opened.ok())
        return;
    MP4Tags tags;
    MP4TagsFetch(tags, *opened);
    for (const TrackFacts& track : opened->facts().tracks)
        MP4GetTrackBitRate(*opened, track.id);
    MetadataEdit edit = tagEdit(
        [](MP4Tags& changed) { MP4TagsSetName(changed, "a longer name than it had, so that the layout changes"); });
    auto plan = edit.plan(opened->reader());
    if (plan.ok() && *plan)
        (void)edit.check(StructureReader(ByteView(performed(**plan, file))));
}

Mp4Spec fullSpec()
{
    Mp4Spec spec;
    spec.items = joined({ textItem("\251nam", "name"), item("trkn", 0, pair(1, 2, 8)),
        item("covr", 13, Bytes(100, 0xFF)), freeformItem("m", "n", "v") });
    spec.padding = 40;
    spec.tracks = { {}, { .id = 2, .handler = "vide", .code = "avc1" } };
    return spec;
}

TEST(Damage, CutAtEveryByteOfTheMovieBox)
{
    MadeMp4 made = makeMp4(fullSpec());
    for (std::size_t end = made.movieOffset; end <= made.movieOffset + made.movieSize; ++end) {
        Bytes cut(made.bytes.begin(), made.bytes.begin() + static_cast<std::ptrdiff_t>(end));
        auto opened = Mp4File::open(StructureReader(ByteView(cut)));
        EXPECT_EQ(opened.ok(), end == made.movieOffset + made.movieSize) << end;
        askEverything(cut);
    }
}

TEST(Damage, TheMovieBoxEndsAtEveryByte)
{
    // As before, but the box's size follows, so that what is inside is cut.
    MadeMp4 made = makeMp4(fullSpec());
    for (std::size_t size = 8; size < made.movieSize; ++size) {
        Bytes file(made.bytes.begin(), made.bytes.begin() + static_cast<std::ptrdiff_t>(made.movieOffset + size));
        Bytes field = number(size, 4);
        std::copy(field.begin(), field.end(), file.begin() + static_cast<std::ptrdiff_t>(made.movieOffset));
        askEverything(file);
    }
}

TEST(Damage, EveryFourBytesOfTheMovieBoxAtTheirExtremes)
{
    MadeMp4 made = makeMp4(fullSpec());
    for (std::size_t at = made.movieOffset; at + 4 <= made.movieOffset + made.movieSize; ++at) {
        for (std::uint32_t value : { 0u, 1u, 7u, 8u, 0x7FFFFFFFu, 0xFFFFFFFFu }) {
            Bytes file = made.bytes;
            Bytes field = number(value, 4);
            std::copy(field.begin(), field.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
            askEverything(file);
        }
    }
}

TEST(Damage, BoxesInsideThemselvesEnd)
{
    // A thousand udta, meta and trak boxes inside one another: only the known levels are entered.
    Bytes nest = textItem("\251nam", "deep");
    for (int i = 0; i < 1000; ++i)
        nest = box(i % 3 == 0 ? "udta" : i % 3 == 1 ? "meta" : "trak", nest);
    Mp4Spec spec;
    spec.extraInMovie = nest;
    askEverything(makeMp4(spec).bytes);
}

TEST(Damage, OverrunningChildrenEndTheirListOnly)
{
    Mp4Spec spec;
    spec.items = textItem("\251nam", "kept");
    spec.extraInMovie = joined({ number(4000, 4), bytes("trak"), Bytes(12) });
    Bytes file = makeMp4(spec).bytes;
    auto opened = Mp4File::open(StructureReader(ByteView(file)));
    ASSERT_TRUE(opened.ok());
    EXPECT_EQ(tagsFromItems(opened->items()).name, "kept");
    EXPECT_EQ(MP4FindTrackId(*opened, 0, "soun", 0), 1u);
}

TEST(Damage, MediaCutShortDoNotMatter)
{
    MadeMp4 made = makeMp4(fullSpec());
    made.bytes.resize(made.mediaOffset + 1);
    auto opened = Mp4File::open(StructureReader(ByteView(made.bytes)));
    ASSERT_TRUE(opened.ok());
    EXPECT_EQ(tagsFromItems(opened->items()).name, "name");
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool CountsMemory = false; // a sanitizer's own memory would count too
#else
constexpr bool CountsMemory = true;
#endif

/// Runs `work` in a process that may take `bytes` of memory more than it has; true when that was enough.
template <class Work> bool fitsIntoMemory(std::size_t limit, const Work& work)
{
    pid_t child = fork();
    if (child == 0) {
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        rlim_t most = static_cast<rlim_t>(pages) * 4096 + limit;
        struct rlimit bound {
            most, most
        };
        setrlimit(RLIMIT_AS, &bound);
        try {
            work();
        } catch (const std::bad_alloc&) {
            _exit(1);
        }
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

Bytes repeated(const Bytes& part, std::size_t size)
{
    Bytes all;
    all.reserve(size + part.size());
    while (all.size() < size)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(Memory, ReadingTakesAtMost64MebibytesAndThreeTimesTheMovieBox)
{
    if (!CountsMemory)
        GTEST_SKIP() << "not under a sanitizer";
    constexpr std::size_t Much = 8u << 20;
    std::vector<Mp4Spec> hostile(6);
    hostile[0].items = box("covr", repeated(dataBox(13, {}), Much)); // a million empty pictures
    hostile[1].items = box("covr", dataBox(13, Bytes(Much))); // a large one
    hostile[2].items = repeated(box("abcd", Bytes {}), Much);
    hostile[3].items = repeated(textItem("abcd", ""), Much);
    hostile[4].extraInMovie = repeated(box("udta", Bytes {}), Much);
    hostile[5].extraInMovie = repeated(box("trak", Bytes {}), Much);
    for (std::size_t i = 0; i < hostile.size(); ++i) {
        MadeMp4 made = makeMp4(hostile[i]);
        ScratchFolder folder;
        std::string path = folder.write("hostile.m4a", ByteView(made.bytes));
        EXPECT_TRUE(fitsIntoMemory((64u << 20) + 3 * made.movieSize, [&] {
            auto file = MP4Read(OpenedFile::at(path).content());
            MP4Tags tags;
            MP4TagsFetch(tags, *file);
            MP4GetTrackBitRate(*file, 1);
        })) << i;
    }
}

TEST(NotAnMp4, FailsToOpen)
{
    ScratchFolder folder;
    std::string fifo = folder.file("fifo.m4a");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(MP4Read(OpenedFile::at(fifo).content()).ok());
    EXPECT_FALSE(MP4Read(OpenedFile::at(folder.path()).content()).ok());
    EXPECT_FALSE(MP4Read(OpenedFile::at(folder.file("missing.m4a")).content()).ok());
    EXPECT_FALSE(MP4Read(OpenedFile::at(Path {}).content()).ok());
    EXPECT_FALSE(MP4Read(OpenedFile::at(folder.write("empty.m4a", "")).content()).ok());
    EXPECT_FALSE(
        MP4Read(OpenedFile::at(folder.write("text.m4a", "This is a text, and no movie at all. It goes on for a while."))
                    .content())
            .ok());
    EXPECT_FALSE(MP4Read(OpenedFile::at(folder.write("zeros.m4a", ByteView(Bytes(5000)))).content()).ok());
    EXPECT_FALSE(
        MP4Read(OpenedFile::at(folder.write("brand.m4a", ByteView(box("ftyp", bytes("M4A \0\0\0\0"))))).content())
            .ok());
    EXPECT_FALSE(
        MP4Read(OpenedFile::at(folder.write("headerless.m4a", ByteView(box("moov", freeBox(100))))).content()).ok());
    EXPECT_FALSE(MP4Modify(*EditableFile::at(folder.write("text2.m4a", "text")), 0).ok());
}

TEST(LargeFile, OfFourGigabytesCostsKilobytes)
{
    ScratchFolder folder;
    Mp4Spec spec;
    spec.items = textItem("\251nam", "large");
    spec.tracks = { { .wideOffsets = true } };
    constexpr std::uint64_t MediaSize = (4ull << 30) + 123;
    Bytes front
        = joined({ box("ftyp", bytes("M4A \0\0\0\0")), number(1, 4), bytes("mdat"), number(16 + MediaSize, 8) });
    Bytes movie = movieBox(spec, front.size());
    std::string path = folder.write("large.m4a", ByteView(front));
    int fd = ::open(path.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(pwrite(fd, movie.data(), movie.size(), static_cast<off_t>(front.size() + MediaSize)),
        static_cast<ssize_t>(movie.size()));
    ::close(fd);
    auto input = InputFile::open(path);
    ASSERT_TRUE(input.ok());
    CountingSource source(*input);
    auto file = Mp4File::open(StructureReader::borrowing(source));
    ASSERT_TRUE(file.ok());
    MP4Tags tags;
    EXPECT_TRUE(MP4TagsFetch(tags, *file));
    EXPECT_EQ(tags.name, "large");
    EXPECT_GT(MP4GetTrackBitRate(*file, 1), 0u);
    EXPECT_LE(source.reads, 3u);
    EXPECT_LE(source.bytesRead, 3 * StructureReader::WindowSize);
}

TEST(LargeFile, AStatedListBeyondTheLimitIsNotRead)
{
    // Sparse: a list that says it holds 100 MB of pictures is left alone, the rest is told.
    ScratchFolder folder;
    Mp4Spec spec;
    spec.hasUserData = false;
    Bytes movie = movieBox(spec, 0);
    constexpr std::uint64_t ListSize = 100u << 20;
    Bytes handler = fullBox("hdlr", 0, 0, { number(0, 4), bytes("mdir"), Bytes(13) });
    Bytes list = joined({ number(ListSize, 4), bytes("ilst") });
    Bytes meta = joined({ number(12 + handler.size() + ListSize, 4), bytes("meta"), number(0, 4), handler, list });
    Bytes udta = joined({ number(8 + 12 + handler.size() + ListSize, 4), bytes("udta"), meta });
    Bytes file = joined({ movie, udta });
    Bytes size = number(movie.size() + 8 + 12 + handler.size() + ListSize, 4);
    std::copy(size.begin(), size.end(), file.begin());
    std::string path = folder.write("pictures.m4a", ByteView(file));
    ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(file.size() + ListSize - 8)), 0);
    auto input = InputFile::open(path);
    ASSERT_TRUE(input.ok());
    CountingSource source(*input);
    auto opened = Mp4File::open(StructureReader::borrowing(source));
    ASSERT_TRUE(opened.ok());
    EXPECT_TRUE(opened->items().empty());
    EXPECT_EQ(MP4FindTrackId(*opened, 0, "soun", 0), 1u);
    EXPECT_LE(source.bytesRead, 4 * StructureReader::WindowSize);
}

} // namespace
} // namespace mv
