// What the service answers of ID3 tags, and what it makes of them, kept for 20,000 generated files and the corpus: the
// columns of a description and the bytes of an updated tag. The answers are those that the service has given since tags
// went through id3lib; a row that changes is a decision.
//
// The kept answers are hashes, ten on a line, and the first few spelled out. MIVO_WRITE_TAG_ANSWERS=FOLDER writes the
// hashes anew into that folder, beside them every answer spelled out: of two builds, `diff` shows what differs.

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "id3/TagReader.h"
#include "service/image/NSImageExtension.h"
#include "service/parsers/ID3Columns.h"
#include "service/tags/Id3TagEdit.h"
#include "service/tags/Id3TagLayout.h"
#include "tests/service/tags/RandomTags.h"
#include "tests/support/Corpus.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

constexpr unsigned Files = 20'000;
constexpr unsigned Updates = 4'000;
constexpr unsigned SpelledOut = 20;
constexpr unsigned HashesOnALine = 10;

/// FNV-1a, 32 bits.
std::string hashOf(std::string_view text)
{
    std::uint32_t hash = 2166136261U;
    for (char byte : text)
        hash = (hash ^ static_cast<std::uint8_t>(byte)) * 16777619U;
    return formatText("%08x", hash);
}

/// On one line, in ASCII; of a byte that comes many times over, how many times.
std::string spelled(std::string_view bytes)
{
    constexpr std::size_t MinRun = 9;
    std::string text;
    for (std::size_t i = 0; i < bytes.size();) {
        char c = bytes[i];
        bool plain = c >= ' ' && c < 0x7F && c != '\\';
        std::string once = plain ? std::string(1, c) : formatText("\\x%02x", static_cast<std::uint8_t>(c));
        std::size_t end = std::min(bytes.find_first_not_of(c, i), bytes.size());
        std::size_t written = end - i < MinRun ? 1 : end - i;
        text += written == 1 ? once : once + formatText("\\{%zu}", written);
        i += written;
    }
    return text;
}

/// The name of the picture of which a thumbnail is made: thumbnails themselves are not what this is about.
std::string nameOfThumbnail(const Bytes& thumbnail)
{
    static const std::vector<Bytes> thumbnails = [] {
        std::vector<Bytes> list;
        for (const std::string& picture : coverPictures()) {
            ByteView data = bytesOf(picture);
            auto image = NSImage::initWithData(Bytes(data.begin(), data.end()));
            list.push_back(makeThumbnailForContentCategory(image.value(), ThumbnailCategoryAlbumArt).value());
        }
        return list;
    }();
    auto found = std::find(thumbnails.begin(), thumbnails.end(), thumbnail);
    return found == thumbnails.end() ? "another" : formatText("number %td", found - thumbnails.begin());
}

std::string spelledValue(const Value& value)
{
    if (auto* text = value.string())
        return "\"" + spelled(*text) + "\"";
    if (auto* picture = value.data())
        return "picture " + nameOfThumbnail(*picture);
    if (auto* flag = value.boolean())
        return *flag ? "yes" : "no";
    return formatText("%d", value.integerValue().value());
}

std::string columnsOf(std::string_view file)
{
    MemorySource source(bytesOf(file));
    auto tags = readTags(source);
    Record record;
    setID3Columns(record, tags.value(), source);
    std::string text;
    for (const auto& [key, value] : record)
        text += " " + key + "=" + spelledValue(value);
    return text;
}

std::string updatedTag(std::string_view file, const Record& change)
{
    MemorySource source(bytesOf(file));
    auto tags = readTags(source);
    Id3FrameList frames = Id3FrameList::carriedFrom(tags.value());
    Id3TagEdit(change).apply(frames);
    auto bytes = frames.rendered();
    auto layout = layOutTag(tags.value(), bytes.value().size());
    if (!layout.ok())
        return " stays";
    if (layout->newSize == 0)
        return " no tag";
    return " " + spelled(charsOf(tagBytes(*bytes, layout->newSize)));
}

std::string columnsOfNumber(unsigned number) { return columnsOf(randomTagFile(number)); }

std::string updatedTagOfNumber(unsigned number) { return updatedTag(randomTagFile(number), randomTagChange(number)); }

using Answer = std::function<std::string(unsigned)>;

/// Those of one file of kept answers.
class Answers {
public:
    Answers(std::string name, unsigned count, Answer answer)
        : m_name(std::move(name))
        , m_count(count)
        , m_answer(std::move(answer))
    {
    }

    void compare() const
    {
        write();
        std::ifstream kept(sourcePath("tests/data/tags/answers/" + m_name + ".txt"));
        unsigned differing = 0;
        for (unsigned number = 0; number < m_count; ++number) {
            std::string hash;
            kept >> hash;
            std::string answer = m_answer(number);
            constexpr unsigned MaxShown = 5;
            if (hash != hashOf(answer) && ++differing <= MaxShown)
                ADD_FAILURE() << m_name << " " << number << " was " << hash << " and is " << hashOf(answer) << answer;
        }
        EXPECT_EQ(differing, 0u) << "of " << m_count;
        std::string rest;
        EXPECT_FALSE(kept >> rest) << "more answers are kept than asked for";
    }

    void compareSpelledOut() const
    {
        std::ifstream kept(sourcePath("tests/data/tags/answers/" + m_name + "-spelled-out.txt"));
        for (unsigned number = 0; number < SpelledOut; ++number) {
            std::string line;
            std::getline(kept, line);
            EXPECT_EQ(line, lineOf(number));
        }
    }

private:
    std::string lineOf(unsigned number) const { return std::to_string(number) + m_answer(number); }

    void write() const
    {
        const char* folder = std::getenv("MIVO_WRITE_TAG_ANSWERS");
        if (!folder)
            return;
        std::string stem = folder + ("/" + m_name);
        std::ofstream hashes(stem + ".txt");
        std::ofstream all(stem + "-all.txt");
        for (unsigned number = 0; number < m_count; ++number) {
            hashes << hashOf(m_answer(number)) << ((number + 1) % HashesOnALine == 0 ? '\n' : ' ');
            all << lineOf(number) << '\n';
        }
    }

    std::string m_name;
    unsigned m_count;
    Answer m_answer;
};

const Answers Columns("columns", Files, columnsOfNumber);
const Answers UpdatedTags("updates", Updates, updatedTagOfNumber);

TEST(TagAnswersTest, ColumnsOfEveryFile) { Columns.compare(); }

TEST(TagAnswersTest, ColumnsSpelledOut) { Columns.compareSpelledOut(); }

TEST(TagAnswersTest, EveryUpdatedTag) { UpdatedTags.compare(); }

TEST(TagAnswersTest, UpdatedTagsSpelledOut) { UpdatedTags.compareSpelledOut(); }

/// A line of the corpus's answers.
std::string corpusLine(const std::string& file, unsigned number)
{
    Bytes content = readFile(corpusFile(file));
    std::string columns = columnsOf(charsOf(content));
    std::string updated = updatedTag(charsOf(content), randomTagChange(number));
    return file + " " + hashOf(columns) + " " + hashOf(updated);
}

TEST(TagAnswersTest, Corpus)
{
    MV_NEEDS_CORPUS();
    if (const char* folder = std::getenv("MIVO_WRITE_TAG_ANSWERS")) {
        std::ofstream out(folder + std::string("/corpus.txt"));
        unsigned number = 0;
        for (const std::string& file : corpusFiles("mp3"))
            out << corpusLine(file, number++) << '\n';
    }
    std::ifstream kept(sourcePath("tests/data/tags/answers/corpus.txt"));
    unsigned number = 0;
    for (std::string line; std::getline(kept, line); ++number)
        EXPECT_EQ(line, corpusLine(line.substr(0, line.find(' ')), number));
    EXPECT_GT(number, 0u);
}

} // namespace
} // namespace mv::test
