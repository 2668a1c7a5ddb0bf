// Thousands of damaged files through the readers: whatever comes out, it ends, stays inside the file and within bounds.
// Run with the address sanitizer it looks at every view, too.

#include "id3/FrameText.h"
#include "id3/MpegFrameReader.h"
#include "id3/TagReader.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>
#include <random>

namespace mv::test {
namespace {

std::vector<std::string> sources()
{
    std::string v22 = id3Tag(2, id3Frame(2, "TT2", zeroed("\0title")) + id3Frame(2, "PIC", zeroed("\0JPG\3d\0data")));
    std::string v23 = id3Tag(3,
        id3Frame(3, "TIT2", "\1" + MarkLE + utf16LE("title")) + id3Frame(3, "COMM", zeroed("\0engd\0text"))
            + id3Frame(3, "TALB", bigEndian(6) + zlibPacked(zeroed("\0album")), 0x80)
            + id3Frame(3, "APIC", zeroed("\0image/png\0\3\0data")),
        0, 50);
    std::string v24 = id3TagWithFooter(id3Frame(4, "TPE1", zeroed("\3one\0two"))
        + id3Frame(4, "TCON",
            zeroed("G\2\0"
                   "17"),
            0x40)
        + id3Frame(4, "TDRC",
            syncsafe(5)
                + zeroed("\0"
                         "2004"),
            0x03));
    std::string end = id3v1Tag({ "t", "a", "l", "1999", "c", 3, 17 });
    std::string audio = xingFrame({ .frames = 20, .bytes = 8000, .encoder = "LAME3.100", .delay = 576, .padding = 900 })
        + mpegFrames(10) + mpegFrames(10, { .bitrateIndex = 5 });
    return { v22 + audio, v23 + audio + end, v23 + v24 + audio, audio + v24 + end, vbriFrame(9, 4000) + audio };
}

void readEverything(const std::string& file)
{
    MemorySource source(bytesOf(file));
    auto tags = readTags(source);
    ASSERT_TRUE(tags.ok());
    ASSERT_LE(tags->audioBegin, tags->audioEnd);
    ASSERT_LE(tags->audioEnd, file.size());
    for (const Id3v2Tag& tag : tags->countingTags()) {
        for (const TagFrame& frame : tag.frames())
            frameText(frame);
    }
    auto audio = MpegFrameReader::read(source, tags->audioBegin, tags->audioEnd);
    if (audio) {
        ASSERT_LT(audio->firstFrame, file.size());
        ASSERT_GE(audio->wholeSeconds(), 0);
    }
}

TEST(DamagedFiles, ChangedBytes)
{
    std::mt19937 random(20261121);
    for (const std::string& source : sources()) {
        for (int i = 0; i < 1500; ++i) {
            std::string file = source;
            for (unsigned changes = random() % 6 + 1; changes > 0; --changes) {
                // Most changes where the structure is.
                std::size_t reach = random() % 3 == 0 ? file.size() : std::min<std::size_t>(file.size(), 250);
                file[random() % reach] = static_cast<char>(random());
            }
            readEverything(file);
        }
    }
}

TEST(DamagedFiles, CutFiles)
{
    for (const std::string& source : sources()) {
        for (std::size_t size = 0; size < source.size(); size += size < 400 ? 1 : 37)
            readEverything(source.substr(0, size));
    }
}

TEST(DamagedFiles, DoubledAndMissingStretches)
{
    std::mt19937 random(7);
    for (const std::string& source : sources()) {
        for (int i = 0; i < 300; ++i) {
            std::size_t from = random() % source.size();
            std::size_t count = random() % 300;
            std::string stretch = source.substr(from, count);
            readEverything(source.substr(0, from) + stretch + source.substr(from));
            readEverything(source.substr(0, from) + source.substr(std::min(source.size(), from + count)));
        }
    }
}

} // namespace
} // namespace mv::test
