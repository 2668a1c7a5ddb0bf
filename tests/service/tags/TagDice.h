#pragma once

#include <random>
#include <string>
#include <string_view>

namespace mv::test {

/// Numbers that are the same with every standard library, which its own distributions are not. No expression here uses
/// them twice in an order that a compiler may choose.
class Dice {
public:
    explicit Dice(unsigned seed)
        : m_engine(seed)
    {
    }
    unsigned below(std::size_t count) { return static_cast<unsigned>(m_engine() % count); }
    bool percent(unsigned chance) { return below(100) < chance; }
    template <class List> const auto& oneOf(const List& list) { return *(std::begin(list) + below(std::size(list))); }
    std::string bytes(std::size_t count)
    {
        std::string text;
        while (text.size() < count)
            text += static_cast<char>(below(256));
        return text;
    }

private:
    std::mt19937 m_engine;
};

/// What stands in tags, in UTF-8.
inline constexpr std::string_view TagTexts[] = { "a", "Title", "Some longer title, with commas", "Rock", "rock",
    "Blues", "Christian Rock ", "Synthpop", "(17)", "17", "(17)Rock", "(17)(18)", "(4)(7)Mine", "(RX)", "(CR)", "RX",
    "CR", "((17)", "((Foo)", "4(5)", "()", ")(", "(255)", "(200)", "(147)", "(148)", "147", "148", "255", "256",
    "(999999999999)", "Rock (17)", "(17", "17)", "3/12", "07/15", "abc", "0", "00", "-3", " 12", "+4/5", "300",
    "2147483648", "99999999999", "/", "3/", "/12", "1999", "2004", "2004-05-06", "2004-05-06T10:20",
    "2004-05-06T10:20:30", "20", "0000", "year", "line\nbreak", "line\r\nbreak", "\r", "\n", "\t tab", "  blanks  ",
    "trailing ", " ", "\"quoted\"", "a/b/c", "\x7F", "XXX", "eng", "image/jpeg", "caf\xC3\xA9", "\xC3\xA9",
    "\xC3\xBF\xC3\xBE", "\xC2\xA0", "\xED\x95\x9C\xEA\xB5\xAD",
    "\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4 \xEB\x85\xB8\xEB\x9E\x98", "\xE6\x97\xA5\xE6\x9C\xAC",
    "\xD0\x9F\xD1\x80\xD0\xB8", "\xF0\x9F\x98\x80", "a\xF0\x9F\x98\x80z", "\xEF\xBB\xBF", "\xEF\xBB\xBFmarked",
    "in\xEF\xBB\xBFside", "\xEF\xBF\xBE", "\xEF\xBF\xBD", "\xC4\x80", "\xE4\x84\x80\xE0\xA8\x80", "\xE0\xA0\x80" };

} // namespace mv::test
