#include "service/tagedit/OggChange.h"
#include "audio/OggPage.h"
#include "system/InputFile.h"
#include "tests/service/tagedit/EditedBytes.h"
#include "tests/support/Corpus.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::edited;
using test::titleChange;

std::string contentOf(const std::string& path)
{
    auto bytes = readWholeFile(Path(path), 1 << 24);
    return bytes ? std::string(charsOf(*bytes)) : std::string();
}

/// The numbers of all pages, which have to follow each other.
std::uint32_t countedPages(const std::string& file)
{
    std::uint32_t count = 0;
    ByteView rest = bytesOf(file);
    while (auto page = OggPage::parse(rest)) {
        EXPECT_EQ(page->number, count);
        ++count;
        rest = rest.subspan(page->size);
    }
    EXPECT_TRUE(rest.empty());
    return count;
}

class OggChange : public testing::TestWithParam<const char*> { };

TEST_P(OggChange, LaterPagesFollowWhateverTheCommentsTake)
{
    MV_NEEDS_CORPUS();
    const std::string before = contentOf(test::corpusFile(GetParam()));
    const std::uint32_t pages = countedPages(before);
    auto sound = oggSound(MemorySource(bytesOf(before)));
    ASSERT_TRUE(sound.ok());
    std::string large = edited(before, titleChange(std::string(200'000, 'x')));
    ASSERT_FALSE(large.starts_with("error")) << large;
    EXPECT_NE(countedPages(large), pages);
    EXPECT_EQ(*oggSound(MemorySource(bytesOf(large))), *sound);
    std::string small = edited(large, titleChange("x"));
    EXPECT_LT(countedPages(small) + 2, countedPages(large));
    EXPECT_EQ(*oggSound(MemorySource(bytesOf(small))), *sound);
    EXPECT_EQ(edited(small, titleChange("x")), small);
}

INSTANTIATE_TEST_SUITE_P(Corpus, OggChange,
    testing::Values("audio/full.ogg", "audio/multipagecomment.ogg", "audio/full.opus"),
    [](const auto& row) { return std::to_string(row.index); });

TEST(OggChange, PacketsOfWholeSegmentsEndWithAnEmptyOne)
{
    MV_NEEDS_CORPUS();
    const std::string before = contentOf(test::corpusFile("audio/full.opus"));
    // One of these makes the packet a multiple of 255 bytes.
    for (std::size_t size = 1; size <= 255; ++size) {
        std::string made = edited(before, titleChange(std::string(size, 'x')));
        ASSERT_FALSE(made.starts_with("error")) << size << made;
        countedPages(made);
    }
}

TEST(OggChange, DamagedHeadersStay)
{
    MV_NEEDS_CORPUS();
    std::string file = contentOf(test::corpusFile("audio/full.ogg"));
    file[100] = static_cast<char>(file[100] ^ 1); // in the second page
    EXPECT_TRUE(edited(file, titleChange("x")).starts_with("error"));
}

/// A file of which another program takes the end away while it is read.
class Shortened final : public ByteSource {
public:
    Shortened(ByteView bytes, std::size_t left)
        : m_size(bytes.size())
        , m_left(bytes.first(left))
    {
    }
    std::uint64_t size() const override { return m_size; }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        return m_left.readAt(offset, target);
    }

private:
    std::uint64_t m_size;
    MemorySource m_left;
};

TEST(OggChange, FilesThatBecomeShorterComeToAnEnd)
{
    MV_NEEDS_CORPUS();
    const std::string file = contentOf(test::corpusFile("audio/full.ogg"));
    auto whole = oggSound(MemorySource(bytesOf(file)));
    ASSERT_TRUE(whole.ok());
    auto cut = oggSound(Shortened(bytesOf(file), file.size() / 2));
    EXPECT_FALSE(cut.ok() && *cut == *whole);
    EXPECT_FALSE(oggSound(Shortened(bytesOf(file), 40)).ok());
}

} // namespace
} // namespace mv
