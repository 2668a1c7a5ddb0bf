#include "cli/facts/FactTokens.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <optional>

namespace mv::cli {

namespace {

using Kind = FactToken::Kind;

struct Sign {
    std::string_view text;
    Kind kind;
    Comparison comparison = Comparison::Equal;
};

/// A longer one stands before the one that it begins with.
constexpr std::array Signs {
    Sign { "!=", Kind::Comparison, Comparison::NotEqual },
    Sign { "<=", Kind::Comparison, Comparison::AtMost },
    Sign { ">=", Kind::Comparison, Comparison::AtLeast },
    Sign { "==", Kind::Comparison, Comparison::Equal },
    Sign { "=", Kind::Comparison, Comparison::Equal },
    Sign { "<", Kind::Comparison, Comparison::Less },
    Sign { ">", Kind::Comparison, Comparison::Greater },
    Sign { "~", Kind::Comparison, Comparison::Contains },
    Sign { "&&", Kind::And },
    Sign { "||", Kind::Or },
    Sign { "!", Kind::Not },
    Sign { "(", Kind::Open },
    Sign { ")", Kind::Close },
};

struct Keyword {
    std::string_view word;
    Kind kind;
};
constexpr std::array Keywords { Keyword { "and", Kind::And }, Keyword { "or", Kind::Or },
    Keyword { "not", Kind::Not } };

bool isBlank(char byte) { return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r'; }

bool isQuote(char byte) { return byte == '\'' || byte == '"'; }

const Sign* signAt(std::string_view text)
{
    auto found
        = std::find_if(Signs.begin(), Signs.end(), [&](const Sign& sign) { return text.starts_with(sign.text); });
    return found == Signs.end() ? nullptr : &*found;
}

class Scanner {
public:
    explicit Scanner(std::string_view text)
        : m_text(text)
    {
    }

    Result<FactToken> next()
    {
        while (m_place < m_text.size() && isBlank(m_text[m_place]))
            ++m_place;
        std::size_t begin = m_place;
        if (begin == m_text.size())
            return FactToken { Kind::End, {}, {}, begin };
        if (const Sign* sign = signAt(m_text.substr(begin))) {
            m_place += sign->text.size();
            return FactToken { sign->kind, std::string(sign->text), sign->comparison, begin };
        }
        if (isQuote(m_text[begin]))
            return quoted();
        std::string word = takeWord();
        Kind kind = kindOfWord(word);
        return FactToken { kind, std::move(word), {}, begin };
    }

private:
    /// A quote within a word ("Don't") is a character like others, and "!" ends none.
    std::string takeWord()
    {
        std::size_t begin = m_place;
        while (m_place < m_text.size() && !isBlank(m_text[m_place])) {
            const Sign* sign = signAt(m_text.substr(m_place));
            if (sign && sign->text != "!")
                break;
            ++m_place;
        }
        return std::string(m_text.substr(begin, m_place - begin));
    }

    /// A backslash stands before a quote, or a backslash, that is meant as it is.
    Result<FactToken> quoted()
    {
        std::size_t begin = m_place;
        char quote = m_text[m_place++];
        std::string content;
        for (; m_place < m_text.size() && m_text[m_place] != quote; ++m_place) {
            char following = m_place + 1 < m_text.size() ? m_text[m_place + 1] : '\0';
            if (m_text[m_place] == '\\' && (following == quote || following == '\\'))
                ++m_place;
            content += m_text[m_place];
        }
        if (m_place == m_text.size())
            return faultAt(m_text, begin, "this quote is not closed");
        ++m_place;
        return FactToken { Kind::Quoted, std::move(content), {}, begin };
    }

    std::string_view m_text;
    std::size_t m_place = 0;
};

} // namespace

FactToken::Kind kindOfWord(std::string_view word)
{
    for (const Keyword& keyword : Keywords) {
        if (equalIgnoringAsciiCase(keyword.word, word))
            return keyword.kind;
    }
    return Kind::Word;
}

Result<std::vector<FactToken>> factTokens(std::string_view text)
{
    std::vector<FactToken> tokens;
    Scanner scanner(text);
    do {
        MV_TRY(token, scanner.next());
        tokens.push_back(std::move(token));
    } while (tokens.back().kind != Kind::End);
    return tokens;
}

Error faultAt(std::string_view text, std::size_t place, const std::string& sentence)
{
    auto isFirstByte = [](char byte) { return (static_cast<unsigned char>(byte) & 0xc0) != 0x80; };
    auto before = static_cast<std::size_t>(std::ranges::count_if(text.substr(0, place), isFirstByte));
    return { Error::Kind::Format, formatText("at character %zu: %s", before + 1, sentence.c_str()) };
}

} // namespace mv::cli
