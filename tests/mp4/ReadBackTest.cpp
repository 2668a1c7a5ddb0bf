// Files made by other programs, edited here, judged by other programs.
#include "mp4/mp4.h"
#include "system/OpenedFile.h"
#include "tests/support/Mp4Edit.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <sstream>

namespace mv {
namespace {

using namespace test;

/// The interpreter that Debian's package serves need not be the first on the PATH. Empty when there is none.
const std::string& pythonWithMutagen()
{
    static const std::string program = [] {
        for (const char* candidate : { "python3", "/usr/bin/python3" }) {
            if (run(std::string(candidate) + " -c 'import mutagen'") == 0)
                return std::string(candidate);
        }
        return std::string {};
    }();
    return program;
}

#define MV_NEEDS_PROGRAMS()                                                                                            \
    if (!haveProgram("ffmpeg") || !haveProgram("ffprobe") || pythonWithMutagen().empty())                              \
    GTEST_SKIP() << "needs ffmpeg, ffprobe and mutagen"

struct Source {
    const char* name;
    const char* options;
};

/// A second of a tone in the given form.
std::string makeFile(const ScratchFolder& folder, const Source& source)
{
    std::string path = folder.file(source.name);
    EXPECT_EQ(run("ffmpeg -v error -f lavfi -i sine=440:duration=1 -f lavfi -i testsrc=duration=1:size=64x48:rate=5 "
                  + std::string(source.options) + " " + test::shellQuoted(path)),
        0)
        << source.name;
    return path;
}

std::string decoded(const std::string& path)
{
    return outputOf("ffmpeg -v error -i " + test::shellQuoted(path) + " -map 0 -c copy -f framemd5 - | grep -v '^#'");
}

/// name, artist, track and number of covers as mutagen tells them.
std::string mutagenTags(const std::string& path)
{
    return outputOf(pythonWithMutagen()
        + " -c '\nimport sys, mutagen.mp4\nt = mutagen.mp4.MP4(sys.argv[1]).tags\n"
          "print(t.get(\"\\xa9nam\"), t.get(\"\\xa9ART\"), t.get(\"trkn\"), len(t.get(\"covr\", [])), "
          "t.get(\"tmpo\"), t.get(\"----:com.apple.iTunes:ISRC\"), sep=\"|\")' "
        + test::shellQuoted(path));
}

void edit(const std::string& path, const TagChange& change)
{
    auto outcome = editTags(path, change);
    ASSERT_TRUE(outcome.ok()) << outcome.error().text;
}

constexpr Source Sources[] = {
    { "plain.m4a", "-map 0:a -c:a aac" },
    { "first.m4a", "-map 0:a -c:a aac -movflags +faststart -metadata title=before -metadata track=3/12" },
    { "lossless.m4a", "-map 0:a -c:a alac" },
    { "movie.mp4", "-map 0:a -map 1:v -c:a aac -c:v mpeg4" },
    { "movie-first.mp4", "-map 0:a -map 1:v -c:a aac -c:v mpeg4 -movflags +faststart" },
    { "phone.3gp", "-map 0:a -ar 8000 -ac 1 -c:a aac -f 3gp" },
    { "quicktime.mov", "-map 0:a -map 1:v -c:a pcm_s16le -c:v mpeg4 -metadata title=before" },
    { "keyed.mp4", "-map 0:a -c:a aac -movflags use_metadata_tags -metadata title=before" },
    { "fragments.mp4", "-map 0:a -map 1:v -c:a aac -c:v mpeg4 -movflags frag_keyframe+empty_moov" },
    { "based.mp4", "-map 0:a -c:a aac -frag_duration 200000 -movflags -default_base_moof" },
    { "dash.mp4", "-map 0:a -c:a aac -frag_duration 200000 -movflags +dash+global_sidx+empty_moov" },
};

class ReadBackOf : public testing::TestWithParam<Source> { };

INSTANTIATE_TEST_SUITE_P(Forms, ReadBackOf, testing::ValuesIn(Sources), [](const auto& source) {
    std::string name = source.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

TEST_P(ReadBackOf, EditedFilePlaysAsBeforeAndShowsItsTags)
{
    MV_NEEDS_PROGRAMS();
    ScratchFolder folder;
    Bytes picture = Bytes(3000, 0x55);
    const Bytes jpegStart { 0xFF, 0xD8, 0xFF, 0xE0 };
    std::copy(jpegStart.begin(), jpegStart.end(), picture.begin());
    std::string path = makeFile(folder, GetParam());
    std::string before = decoded(path);
    edit(path, [&](MP4Tags& tags) {
        MP4TagsSetName(tags, "Größe");
        MP4TagsSetArtist(tags, "Somebody");
        MP4TagsSetTrack(tags, MP4TagTrack { 5, 12 });
        MP4TagsSetTempo(tags, 120);
        MP4TagsAddArtwork(tags, { picture, MP4_ART_JPEG });
    });
    EXPECT_EQ(mutagenTags(path), "['Größe']|['Somebody']|[(5, 12)]|1|[120]|None\n");
    // The cover is a stream of its own for ffmpeg: take it out before comparing.
    edit(path, [](MP4Tags& tags) { MP4TagsRemoveArtwork(tags, 0); });
    EXPECT_EQ(mutagenTags(path), "['Größe']|['Somebody']|[(5, 12)]|0|[120]|None\n");
    EXPECT_EQ(decoded(path), before);
    EXPECT_EQ(outputOf("ffprobe -v error -show_entries format_tags=artist -of csv=p=0 " + test::shellQuoted(path)),
        "Somebody\n");
}

TEST(ReadBack, MediaThatWereCutPlayAsFarAsBefore)
{
    MV_NEEDS_PROGRAMS();
    ScratchFolder folder;
    std::string path = makeFile(folder, Sources[1]);
    Bytes file = readFile(path);
    std::size_t media = charsOf(file).find("mdat");
    ASSERT_NE(media, std::string::npos);
    std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(media) - 4, 4, std::uint8_t { 0 }); // to the end
    file.resize(media + (file.size() - media) / 2);
    folder.write("first.m4a", ByteView(file));
    std::string before = decoded(path);
    edit(path, [](MP4Tags& tags) { MP4TagsSetName(tags, std::string(5000, 'x')); });
    EXPECT_EQ(mutagenTags(path).substr(0, 5002), "['" + std::string(5000, 'x'));
    EXPECT_EQ(decoded(path), before);
}

TEST(ReadBack, WhatMutagenWroteIsKept)
{
    MV_NEEDS_PROGRAMS();
    ScratchFolder folder;
    std::string path = makeFile(folder, Sources[1]);
    ASSERT_EQ(run(pythonWithMutagen()
                  + " -c '\nimport sys, mutagen.mp4\nf = mutagen.mp4.MP4(sys.argv[1])\n"
                    "f[\"----:com.apple.iTunes:ISRC\"] = b\"XX123\"\nf[\"\\xa9ART\"] = [\"One\", \"Two\"]\n"
                    "f[\"covr\"] = [mutagen.mp4.MP4Cover(b\"\\x89PNG\", 14), "
                    "mutagen.mp4.MP4Cover(b\"\\xff\\xd8\\xff\", 13)]\n"
                    "f[\"tmpo\"] = [90]\nf.save()' "
                  + test::shellQuoted(path)),
        0);
    auto file = MP4Read(OpenedFile::at(path).content());
    ASSERT_TRUE(file.ok());
    MP4Tags tags;
    MP4TagsFetch(tags, *file);
    EXPECT_EQ(tags.artist, "One");
    EXPECT_EQ(tags.tempo, 90);
    EXPECT_EQ(tags.track, (MP4TagTrack { 3, 12 }));
    ASSERT_EQ(tags.artworkCount(), 2u);
    EXPECT_EQ(tags.artwork[0].type, MP4_ART_PNG);
    edit(path, [](MP4Tags& changed) { MP4TagsSetName(changed, std::string(4000, 'x')); });
    EXPECT_EQ(mutagenTags(path),
        "['" + std::string(4000, 'x')
            + "']|['One', 'Two']|[(3, 12)]|2|[90]|[MP4FreeForm(b'XX123', <AtomDataType.UTF8: 1>)]\n");
}

TEST_P(ReadBackOf, LengthsAndRatesAgreeWithFfprobe)
{
    MV_NEEDS_PROGRAMS();
    ScratchFolder folder;
    std::string path = makeFile(folder, GetParam());
    auto file = MP4Read(OpenedFile::at(path).content());
    ASSERT_TRUE(file.ok());
    MP4TrackId sound = MP4FindTrackId(*file, 0, "soun", 0);
    std::uint64_t scale = MP4GetTrackTimeScale(*file, sound);
    std::string probed
        = "ffprobe -v error -select_streams a:0 -of csv=p=0 " + test::shellQuoted(path) + " -show_entries ";
    EXPECT_EQ("1/" + std::to_string(scale) + "\n", outputOf(probed + "stream=time_base"));
    std::uint64_t duration = 0;
    std::uint64_t bytes = 0;
    std::istringstream packets(outputOf(probed + "packet=duration,size"));
    for (std::string line; std::getline(packets, line);) {
        std::size_t comma = line.find(',');
        if (comma == std::string::npos)
            continue;
        if (std::isdigit(static_cast<unsigned char>(line[0])))
            duration += std::stoull(line);
        bytes += std::stoull(line.substr(comma + 1));
    }
    if (file->facts().extendsBox)
        duration = MP4GetTrackDuration(*file, sound); // ffprobe gives the last packet the usual length, or none
    EXPECT_EQ(MP4GetTrackDuration(*file, sound), duration);
    EXPECT_NEAR(static_cast<double>(duration), static_cast<double>(scale), 3000.0);
    // AAC states its rate, the others do not. Of fragments ffprobe adds the bytes instead.
    bool stated = outputOf(probed + "stream=codec_name") == "aac\n";
    std::uint32_t rate = MP4GetTrackBitRate(*file, sound);
    if (!stated)
        EXPECT_EQ(rate, bytes * 8000 / (duration * 1000 / scale));
    else if (!file->facts().extendsBox)
        EXPECT_EQ(std::to_string(rate) + "\n", outputOf(probed + "stream=bit_rate"));
    else
        EXPECT_EQ(rate, file->facts().tracks[0].statedBitRate);
}

} // namespace
} // namespace mv
