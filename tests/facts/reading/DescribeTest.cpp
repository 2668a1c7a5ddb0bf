#include "facts/FactErrors.h"
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <new>
#include <sys/stat.h>

namespace mv::test {
namespace {

std::string errorOf(const std::string& path)
{
    auto facts = describe(OpenedFile::at(Path(path)), "a", {});
    return facts ? "none" : std::string(describeErrorName(facts.error().kind));
}

TEST(Describe, WhatIsNoFileHasItsOwnError)
{
    ScratchFolder scratch;
    EXPECT_EQ(errorOf(scratch.file("nothing")), "NotFound");
    EXPECT_EQ(errorOf(scratch.path()), "NotRegular");
    ASSERT_EQ(mkfifo(scratch.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(errorOf(scratch.file("fifo")), "NotRegular");
    EXPECT_EQ(errorOf(scratch.write("empty", std::string_view())), "NotMedia");
    EXPECT_EQ(errorOf(scratch.write("text.mp3", "a text about music")), "NotMedia");
}

/// A file that is too much for the memory there is.
class TooMuch final : public ByteSource {
public:
    std::uint64_t size() const override { return 1000; }
    Result<std::size_t> readAt(std::uint64_t, std::span<std::uint8_t>) const override { throw std::bad_alloc(); }
};

TEST(Describe, WantOfMemoryIsTheFilesError)
{
    FileAttributes attributes { .size = 1000, .isRegularFile = true };
    auto facts = describe(OpenedFile(Path(), attributes, SharedSource(std::make_shared<TooMuch>())), "a.mp3", {});
    ASSERT_FALSE(facts.ok());
    EXPECT_EQ(describeErrorName(facts.error().kind), "TooLarge");
}

TEST(Describe, ATagWithoutSoundIsNoMedia)
{
    std::string tag = id3Tag(3, id3Frame(3, "TIT2", zeroed("\0Title")), 0, 4096);
    auto facts = describedBytes(tag, "a.mp3");
    ASSERT_FALSE(facts.ok());
    EXPECT_EQ(facts.error().kind, Error::Kind::Format);
    EXPECT_TRUE(describedBytes(tag + mpegFrames(20), "a.mp3").ok());
}

TEST(Describe, FactsAreInTheTablesOrderAndOfItsTypes)
{
    auto facts = describedBytes(id3Tag(4, id3Frame(4, "TIT2", "\3Title")) + mpegFrames(40));
    ASSERT_TRUE(facts.ok());
    std::size_t last = 0;
    for (const auto& [key, value] : facts->entries()) {
        auto row = factRowOf(key);
        ASSERT_TRUE(row) << key;
        EXPECT_EQ(FactRows[*row].type, typeOf(value)) << key;
        EXPECT_TRUE(*row >= last) << key;
        last = *row;
    }
    EXPECT_EQ(textOf(*facts, fact::Kind), "audio");
    EXPECT_EQ(textOf(*facts, fact::MimeType), "audio/mpeg");
    EXPECT_EQ(textOf(*facts, fact::AudioCodec), "mp3");
    EXPECT_EQ(textOf(*facts, fact::SampleRate), "44100");
    EXPECT_EQ(textOf(*facts, fact::Bitrate), "128000");
    EXPECT_EQ(textOf(*facts, fact::HasPicture), "0");
}

TEST(Describe, LengthCountsAllFramesAsPlayersDo)
{
    XingTable table { .mark = "Info", .frames = 99, .encoder = "LAME3.100", .delay = 576, .padding = 1000 };
    auto facts = describedBytes(xingFrame(table) + mpegFrames(99));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(*facts->get<std::int64_t>(fact::Length), 99 * 1152 * 1'000'000LL / 44100);
    EXPECT_EQ(textOf(*facts, fact::Bitrate), "128000");
}

TEST(Describe, TheNameCountsOnlyWhereTheContentIsOpen)
{
    std::string song = mpegFrames(40);
    EXPECT_EQ(textOf(*describedBytes(song, "a.flac"), fact::MimeType), "audio/mpeg");
    EXPECT_FALSE(describedBytes(std::string(300, 'x') + song, "a.txt").ok());
    EXPECT_TRUE(describedBytes(std::string(300, 'x') + song, "A.MP3").ok()) << "junk in front";
}

} // namespace
} // namespace mv::test
