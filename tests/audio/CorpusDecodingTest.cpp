#include "tests/audio/AgainstFfmpeg.h"

using namespace mv;
using namespace mv::test;

namespace {

/// Where the ffmpeg program is known to deliver another number of frames: ours minus its.
const std::map<std::string, std::int64_t> KnownDifferences {
    // It cuts off up to a block too much at the end of a Vorbis stream; ours end where oggdec's do.
    { "audio/multipagecomment.ogg", 128 },
    { "audio/vorbis.ogg", 128 },
    // It decodes the last packet whole, ours end with the edit list.
    { "mp4/bbb_mono_8kHz_12.2kbps_amrnb.3gp", -110 },
    { "mp4/mdir_tags.mp4", -583 },
    { "mp4/mdta_tags.mp4", -583 },
    { "mp4/mp3.mp4", -146 },
    { "mp4/opus.mp4", -360 },
    { "mp4/sample-multi-data.m4a", -106 },
    { "mp4/sample.m4a", -106 },
    { "mp4/sample_opus.mp4", -24 },
    { "mp4/test-pod.m4a", -23 },
    { "video/dolbyVision-hdr.MOV", -425 },
    { "video/fixture-imovie.mp4", -34 },
    { "video/fixture.3gp", -21 },
    { "video/internal_emulator_transformer_output_180_rotated.mp4", -20 },
    // It leaves out the end of the gapless information.
    { "mp4/full.m4a", -892 },
    { "mp4/soundcheck-nonascii.m4a", -892 },
};

/// Packets of several AMR frames, of which the program decodes the first alone: every fifth, or 38th of the sound.
const std::set<std::string> PackedAmr { "mp4/sample-multi-track.3gp", "video/MOV00006.3gp" };

/// The program takes the garbage in front for AMR.
const std::set<std::string> NotRecognised { "mp3/100kB-garbage-prefix.mp3" };

struct Part {
    const char* folder;
    std::size_t part; ///< of Parts
};

constexpr std::size_t Parts = 3;

std::vector<Part> everyPart()
{
    std::vector<Part> all;
    for (const char* folder : { "audio", "mp3", "mp4", "video" }) {
        for (std::size_t part = 0; part < Parts; ++part)
            all.push_back({ folder, part });
    }
    return all;
}

class CorpusDecoding : public testing::TestWithParam<Part> { };

} // namespace

TEST_P(CorpusDecoding, EqualsFfmpeg)
{
    MV_NEEDS_CORPUS();
    NEEDS("ffmpeg");
    int compared = 0;
    for (const std::string& name : corpusFiles(GetParam().folder, GetParam().part, Parts)) {
        SCOPED_TRACE(name);
        DecodedFile ours(corpusFile(name));
        if (ours.opened != noErr)
            continue;
        EXPECT_EQ(ours.ended, noErr);
        EXPECT_EQ(ours.announced, ours.delivered);
        if (PackedAmr.contains(name) || NotRecognised.contains(name))
            continue;
        Bytes theirs = decodedByFfmpeg(corpusFile(name), ours.client);
        auto known = KnownDifferences.find(name);
        std::int64_t difference = known == KnownDifferences.end() ? 0 : known->second;
        EXPECT_EQ(ours.delivered - framesIn(theirs, ours), difference);
        std::size_t common = std::min(ours.samples.size(), theirs.size());
        EXPECT_TRUE(std::equal(
            ours.samples.begin(), ours.samples.begin() + static_cast<std::ptrdiff_t>(common), theirs.begin()))
            << "samples differ";
        ++compared;
    }
    EXPECT_GE(compared, 6) << "files that open";
}

INSTANTIATE_TEST_SUITE_P(Parts, CorpusDecoding, testing::ValuesIn(everyPart()),
    [](const auto& test) { return test.param.folder + std::to_string(test.param.part); });
