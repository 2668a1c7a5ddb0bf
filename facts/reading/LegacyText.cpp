#include "facts/reading/LegacyText.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <array>
#include <iconv.h>
#include <optional>

namespace mv {

namespace {

constexpr std::uint8_t HighBit = 0x80;
constexpr std::size_t CharsetCount = 7;

bool isHigh(std::uint8_t byte) { return (byte & HighBit) != 0; }
bool isBetween(std::uint8_t byte, std::uint8_t low, std::uint8_t high) { return byte >= low && byte <= high; }

/// What pairs of bytes look like, a high one first.
struct PairCounts {
    int pairs = 0;
    int broken = 0; ///< a high byte without a second that any of these charsets has
    int hangul = 0; ///< the common syllables
    int levelOne = 0; ///< of GB 2312's common characters those behind Korean's syllables
    int kana = 0;
    int lowFirsts = 0; ///< below all of GB 2312's and Korea's words, and common in Big5
    int asciiSeconds = 0; ///< the second is of the ASCII half, as in Big5 and Shift JIS
};

PairCounts countPairs(ByteView text)
{
    PairCounts counts;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint8_t first = text[i];
        if (!isHigh(first))
            continue;
        std::uint8_t second = i + 1 < text.size() ? text[i + 1] : 0;
        bool isPair = isBetween(first, 0x81, 0xFE) && second >= 0x40 && second != 0x7F && second != 0xFF;
        if (!isPair) {
            ++counts.broken;
            continue;
        }
        ++i;
        ++counts.pairs;
        counts.hangul += isBetween(first, 0xB0, 0xC8) && second >= 0xA1;
        counts.levelOne += isBetween(first, 0xC9, 0xF7) && second >= 0xA1;
        counts.kana
            += (first == 0x82 && isBetween(second, 0x9F, 0xF1)) || (first == 0x83 && isBetween(second, 0x40, 0x96));
        counts.lowFirsts += isBetween(first, 0xA4, 0xAF);
        counts.asciiSeconds += second < HighBit;
    }
    return counts;
}

/// Letters of Windows' Cyrillic code page stand in words: runs of high bytes, mostly small letters.
bool looksCyrillic(ByteView text)
{
    int letters = 0;
    int small = 0;
    int others = 0;
    int words = 0;
    std::size_t run = 0;
    for (std::uint8_t byte : text) {
        bool isLetter = byte >= 0xC0 || byte == 0xA8 || byte == 0xB8;
        letters += isLetter;
        small += byte >= 0xE0 || byte == 0xB8;
        others += isHigh(byte) && !isLetter;
        run = isLetter ? run + 1 : 0;
        words += run == 3;
    }
    return words > 0 && letters >= 4 && others * 8 < letters && small * 2 > letters;
}

/// Two bytes between ASCII letters that Latin words have and a syllable or a character in that place hardly is: two
/// small letters ("Größe", "Coração"), an apostrophe and a letter ("C’était"), Portuguese endings in capitals
/// ("CANÇÃO").
bool areLatinPair(std::uint8_t first, std::uint8_t second)
{
    constexpr std::uint8_t Apostrophe = 0x92; // of Windows' Latin code page
    constexpr std::uint8_t CapitalCedilla = 0xC7;
    auto isSmall = [](std::uint8_t byte) { return byte >= 0xDF && byte != 0xF7; }; // but for the sign of division
    return (isSmall(first) && isSmall(second)) || (first == Apostrophe && second >= 0xC0)
        || (first == CapitalCedilla && (second == 0xC3 || second == 0xD5));
}

/// Latin letters with accents stand alone at an ASCII letter, or two of them between such letters: a character of any
/// other charset here is rarely there.
bool looksLatin(ByteView text)
{
    auto isLetter
        = [&](std::size_t at) { return at < text.size() && ((text[at] | 0x20) >= 'a') && ((text[at] | 0x20) <= 'z'); };
    std::size_t high = 0;
    std::size_t inWords = 0;
    for (auto begin = text.begin(); (begin = std::find_if(begin, text.end(), isHigh)) != text.end();) {
        const auto end = std::find_if_not(begin, text.end(), isHigh);
        const auto count = static_cast<std::size_t>(end - begin);
        const auto place = static_cast<std::size_t>(begin - text.begin());
        const bool follows = place > 0 && isLetter(place - 1);
        const bool leads = isLetter(place + count);
        if ((count == 1 && (follows || leads)) || (count == 2 && follows && leads && areLatinPair(begin[0], begin[1])))
            inWords += count;
        high += count;
        begin = end;
    }
    return inWords * 2 > high;
}

/// Converters of all charsets for one thread, each opened at its first use and kept: opening one loads a library.
class Converters {
public:
    Converters() { m_handles.fill(NotOpened); }
    ~Converters()
    {
        for (iconv_t handle : m_handles) {
            if (handle != NotOpened)
                iconv_close(handle);
        }
    }

    bool open(Charset charset)
    {
        constexpr std::array<const char*, CharsetCount> Names { "CP1252", "UTF-8", "CP949", "CP932", "GB18030",
            "BIG5-HKSCS", "CP1251" };
        auto index = static_cast<std::size_t>(charset);
        if (m_handles[index] == NotOpened)
            m_handles[index] = iconv_open("UTF-8", Names[index]);
        return m_handles[index] != NotOpened;
    }

    std::optional<std::string> convert(Charset charset, ByteView text)
    {
        if (!open(charset))
            return std::nullopt;
        iconv_t handle = m_handles[static_cast<std::size_t>(charset)];
        iconv(handle, nullptr, nullptr, nullptr, nullptr);
        std::string result(text.size() * 4 + 4, '\0');
        auto* in = const_cast<char*>(charsOf(text).data());
        std::size_t inLeft = text.size();
        char* out = result.data();
        std::size_t outLeft = result.size();
        if (iconv(handle, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) || inLeft != 0)
            return std::nullopt;
        result.resize(result.size() - outLeft);
        return result;
    }

private:
    static inline const iconv_t NotOpened = reinterpret_cast<iconv_t>(-1);
    std::array<iconv_t, CharsetCount> m_handles;
};

Converters& converters()
{
    thread_local Converters converters;
    return converters;
}

std::optional<std::string> converted(Charset charset, ByteView text)
{
    return charset == Charset::Korean ? utf8FromCP949(text) : converters().convert(charset, text);
}

bool isValidIn(Charset charset, ByteView text) { return converted(charset, text).has_value(); }

} // namespace

Charset guessedCharset(ByteView texts)
{
    if (std::none_of(texts.begin(), texts.end(), isHigh))
        return Charset::Latin1;
    if (isValidUtf8(charsOf(texts)))
        return Charset::Utf8;
    PairCounts counts = countPairs(texts);
    bool mayBePairs = counts.broken == 0 && counts.pairs > 0;
    if (mayBePairs && counts.kana * 4 >= counts.pairs && isValidIn(Charset::Japanese, texts))
        return Charset::Japanese;
    if (looksCyrillic(texts) && counts.hangul * 2 < counts.pairs && isValidIn(Charset::Cyrillic, texts))
        return Charset::Cyrillic;
    if (!mayBePairs || looksLatin(texts))
        return Charset::Latin1;
    if (counts.hangul * 10 >= counts.pairs * 8 && isValidIn(Charset::Korean, texts))
        return Charset::Korean;
    bool mayBeBig5 = counts.asciiSeconds * 5 >= counts.pairs || counts.lowFirsts * 4 >= counts.pairs;
    if (mayBeBig5 && isValidIn(Charset::TraditionalChinese, texts))
        return Charset::TraditionalChinese;
    if (counts.asciiSeconds == 0 && counts.levelOne * 10 >= counts.pairs
        && isValidIn(Charset::SimplifiedChinese, texts))
        return Charset::SimplifiedChinese;
    if (isValidIn(Charset::Korean, texts))
        return Charset::Korean;
    return Charset::Latin1;
}

std::string utf8FromCharset(Charset charset, ByteView text)
{
    if (std::none_of(text.begin(), text.end(), isHigh))
        return std::string(charsOf(text));
    if (charset == Charset::Utf8)
        return cleanedUtf8(charsOf(text));
    auto result = converted(charset, text);
    return result ? *result : utf8FromLatin1(text);
}

void prepareCharsets()
{
    for (std::size_t charset = 0; charset < CharsetCount; ++charset)
        converters().open(static_cast<Charset>(charset));
    static_cast<void>(utf8FromCP949(bytesOf("\xB0\xA1")));
}

} // namespace mv
