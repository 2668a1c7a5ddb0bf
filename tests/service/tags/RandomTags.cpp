#include "tests/service/tags/RandomTags.h"

#include "Base/Core/Text.h"
#include "tests/service/tags/RandomId3v2Tag.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <algorithm>

namespace mv::test {

namespace {

/// A picture of one colour that this test writes itself: a bit map of 24 bits.
std::string bitMap(char side, const std::string& colour)
{
    auto little = [](std::uint32_t value) {
        std::string text = bigEndian(value);
        std::reverse(text.begin(), text.end());
        return text;
    };
    std::string pixels;
    auto rowSize = static_cast<std::size_t>(side * 3 + 3) / 4 * 4;
    for (int y = 0; y < side; ++y) {
        std::string row;
        for (int x = 0; x < side; ++x)
            row += colour;
        row.resize(rowSize);
        pixels += row;
    }
    auto size = static_cast<std::uint32_t>(side);
    return "BM" + little(static_cast<std::uint32_t>(54 + pixels.size())) + little(0) + little(54) + little(40)
        + little(size) + little(size) + zeroed("\1\0\x18\0") + little(0)
        + little(static_cast<std::uint32_t>(pixels.size())) + little(2835) + little(2835) + little(0) + little(0)
        + pixels;
}

Id3v1Texts id3v1Texts(Dice& dice)
{
    auto text = [&] { return dice.percent(20) ? std::string() : std::string(dice.oneOf(TagTexts)).substr(0, 30); };
    Id3v1Texts texts { text(), text(), text(), {}, {}, 0, 0 };
    texts.year = dice.percent(70) ? "2001" : text().substr(0, 4);
    texts.comment = text();
    texts.comment.resize(std::min<std::size_t>(texts.comment.size(), 28));
    texts.track = dice.percent(50) ? 0 : static_cast<int>(dice.below(256));
    texts.genre = static_cast<int>(dice.percent(30) ? 255 : dice.below(256));
    return texts;
}

std::string lyrics3Block(Dice& dice)
{
    if (dice.percent(20))
        return "LYRICSBEGINsome wordsLYRICSEND";
    std::string block = "LYRICSBEGIN";
    for (std::string_view name : { "IND", "ETT", "EAR", "EAL", "INF", "LYR", "XYZ" }) {
        if (dice.percent(30))
            continue;
        std::string text(name == "IND" ? dice.percent(50) ? "110" : "100" : dice.oneOf(TagTexts));
        block += std::string(name) + formatText("%05zu", text.size()) + text;
    }
    return block + formatText("%06zu", block.size()) + "LYRICS200";
}

int version(Dice& dice)
{
    unsigned choice = dice.below(50);
    return choice == 0 ? 5 : choice < 10 ? 2 : choice < 30 ? 3 : 4;
}

void damage(Dice& dice, std::string& file)
{
    constexpr unsigned MaxChanges = 4;
    for (unsigned changes = 1 + dice.below(MaxChanges); changes > 0; --changes) {
        // The header and what is in front of the frames, or anywhere.
        std::size_t reach = std::min<std::size_t>(file.size(), dice.percent(50) ? 60 : 400);
        file[dice.below(reach)] = static_cast<char>(dice.percent(30) ? 0 : dice.below(256));
    }
    if (dice.percent(20))
        file.resize(dice.below(file.size()));
}

} // namespace

const std::vector<std::string>& coverPictures()
{
    static const std::vector<std::string> pictures = [] {
        std::vector<std::string> list;
        for (const char* name : { "tests/data/tags/red.jpg", "tests/data/tags/red.png" })
            list.emplace_back(charsOf(readFile(sourcePath(name))));
        list.push_back(bitMap(2, zeroed("\0\0\xFF")));
        list.push_back(bitMap(3, zeroed("\0\xFF\0")));
        list.push_back(bitMap(4, zeroed("\xFF\0\0")));
        list.push_back(bitMap(5, zeroed("\xFF\xFF\0")));
        return list;
    }();
    return pictures;
}

std::string randomTagFile(unsigned number)
{
    Dice dice(number);
    static const std::string audio = mpegFrames(1);
    bool isDamaged = dice.percent(12);
    auto id3v2Tag = [&] { return randomId3v2Tag(dice, version(dice), !isDamaged); };
    std::string front;
    std::string end;
    unsigned kind = dice.below(100);
    if (kind < 80)
        front = id3v2Tag();
    if (kind >= 64 && kind < 90)
        end = id3v1Tag(id3v1Texts(dice));
    if (kind >= 90 && kind < 94) {
        end = lyrics3Block(dice);
        end += id3v1Tag(id3v1Texts(dice));
    }
    if (kind >= 94 && kind < 97) {
        end = randomId3v2Tag(dice, 4, !isDamaged, true);
        end += dice.percent(50) ? id3v1Tag(id3v1Texts(dice)) : std::string();
    }
    if (kind >= 97) {
        front = id3v2Tag();
        front += std::string(dice.percent(30) ? 10 : 0, '\0');
        front += id3v2Tag();
    }
    std::string file = front + audio + end;
    if (isDamaged)
        damage(dice, file);
    return file;
}

} // namespace mv::test
