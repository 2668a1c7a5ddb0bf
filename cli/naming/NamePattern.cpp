#include "cli/naming/NamePattern.h"

#include "Base/Core/Text.h"

#include <algorithm>

namespace mv::cli {

namespace {

bool isControl(char letter)
{
    auto code = static_cast<unsigned char>(letter);
    return code < 0x20 || code == 0x7f;
}

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

/// Of what stands between the slashes; a field is a "*" there.
bool isFolderName(std::string_view name) { return !name.empty() && name != "." && name != ".."; }

std::string withWidth(std::string value, int width, char fill)
{
    bool isNumber = !value.empty() && std::all_of(value.begin(), value.end(), isDigit);
    auto wanted = static_cast<std::size_t>(width);
    if (isNumber && value.size() < wanted)
        value.insert(0, wanted - value.size(), fill);
    return value;
}

} // namespace

class NamePattern::Parser {
public:
    Parser(std::string_view text, const FieldCheck& isField)
        : m_text(text)
        , m_isField(isField)
    {
    }

    Result<std::vector<Part>> parse()
    {
        MV_TRY(parts, sequence(0));
        if (m_at < m_text.size())
            return fault("a } has no {; say }} for a brace");
        MV_TRY_VOID(checkFolders(parts));
        return parts;
    }

private:
    Error fault(const std::string& what) const
    {
        return { Error::Kind::Format, formatText("%s (at character %zu of the pattern)", what.c_str(), m_at + 1) };
    }
    char here() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
    /// A brace that is written twice is one.
    bool isDoubled() const { return m_at + 1 < m_text.size() && m_text[m_at + 1] == m_text[m_at]; }

    /// Up to the end, or to the brace that ends the field around it.
    Result<std::vector<Part>> sequence(int depth)
    {
        std::vector<Part> parts;
        while (m_at < m_text.size()) {
            char letter = here();
            // In a field "}}" is the end of two fields.
            if (letter == '}' && (depth > 0 || !isDoubled()))
                break;
            bool isBrace = letter == '{' || letter == '}';
            if (letter == '{' && !isDoubled()) {
                MV_TRY(part, field(depth));
                parts.push_back(std::move(part));
                continue;
            }
            addText(parts, letter);
            m_at += isBrace ? 2 : 1;
        }
        return parts;
    }

    static void addText(std::vector<Part>& parts, char letter)
    {
        if (parts.empty() || parts.back().isField)
            parts.emplace_back();
        parts.back().text += letter;
    }

    Result<Part> field(int depth)
    {
        if (depth == MaxDepth)
            return fault("fields stand too deep in one another");
        ++m_at;
        Part part;
        part.isField = true;
        std::size_t end = nameEnd(m_at);
        part.text = m_text.substr(m_at, end - m_at);
        if (part.text.empty())
            return fault("a field has no name; say {{ for a brace");
        if (auto known = m_isField(part.text); !known)
            return fault(known.error().text);
        m_at = end;
        if (here() == ':')
            MV_TRY_VOID(width(part));
        if (here() == '|') {
            ++m_at;
            MV_TRY(parts, sequence(depth + 1));
            part.otherwise = std::make_shared<const std::vector<Part>>(std::move(parts));
        }
        if (here() != '}')
            return fault("a field does not end: a } is missing");
        ++m_at;
        return part;
    }

    /// The colon of a key ("xesam:artist") is part of it, another is in front of a width.
    std::size_t nameEnd(std::size_t begin) const
    {
        constexpr std::string_view KeySpaces[] { "mivo", "mpris", "xesam" };
        std::size_t end = std::min(m_text.find_first_of("{}:|", begin), m_text.size());
        if (end < m_text.size()
            && std::ranges::find(KeySpaces, m_text.substr(begin, end - begin)) != std::end(KeySpaces))
            end = m_text.find_first_of("{}:|", end + 1);
        return std::min(end, m_text.size());
    }

    Result<void> width(Part& part)
    {
        ++m_at;
        if (here() == '0') {
            part.fill = '0';
            ++m_at;
        }
        if (here() < '1' || here() > '0' + MaxWidth)
            return fault(formatText("a width has one digit, from 1 to %d: {track:02}", MaxWidth));
        part.width = here() - '0';
        ++m_at;
        return {};
    }

    /// Only what the pattern itself says makes folders.
    Result<void> checkFolders(const std::vector<Part>& parts) const
    {
        std::string outline;
        for (const Part& part : parts)
            outline += part.isField ? "*" : part.text;
        if (outline.starts_with('/'))
            return Error { Error::Kind::Format, "a pattern begins below a folder, not with \"/\"; --to names it" };
        for (std::size_t begin = 0; begin <= outline.size();) {
            std::size_t end = std::min(outline.find('/', begin), outline.size());
            if (!isFolderName(std::string_view(outline).substr(begin, end - begin)))
                return Error { Error::Kind::Format,
                    "between two \"/\" of a pattern there is a name, and no \".\" or \"..\"" };
            begin = end + 1;
        }
        return {};
    }

    std::string_view m_text;
    const FieldCheck& m_isField;
    std::size_t m_at = 0;
};

Result<NamePattern> NamePattern::parse(std::string_view text, const FieldCheck& isField)
{
    auto refused = [](const std::string& why) { return Error { Error::Kind::Format, why }; };
    if (text.empty())
        return refused("the pattern is empty");
    if (text.size() > MaxLength)
        return refused(formatText("the pattern has more than %zu bytes", MaxLength));
    if (!isValidUtf8(text) || std::any_of(text.begin(), text.end(), isControl))
        return refused("the pattern holds control characters, or is not UTF-8");
    MV_TRY(parts, Parser(text, isField).parse());
    NamePattern pattern;
    pattern.m_parts = std::move(parts);
    return pattern;
}

Result<std::vector<NamePiece>> NamePattern::fill(const FieldValue& valueOf) const
{
    std::vector<NamePiece> pieces;
    MV_TRY_VOID(fillParts(m_parts, valueOf, pieces));
    return pieces;
}

Result<void> NamePattern::fillParts(
    const std::vector<Part>& parts, const FieldValue& valueOf, std::vector<NamePiece>& pieces)
{
    for (const Part& part : parts) {
        if (!part.isField) {
            pieces.push_back({ part.text, false });
            continue;
        }
        auto value = valueOf(part.text);
        if (value && !value->empty())
            pieces.push_back({ withWidth(std::move(*value), part.width, part.fill), true });
        else if (part.otherwise)
            MV_TRY_VOID(fillParts(*part.otherwise, valueOf, pieces));
        else
            return Error { Error::Kind::NotFound,
                formatText(
                    "has no %s; {%s|Unknown} would say something else there", part.text.c_str(), part.text.c_str()) };
    }
    return {};
}

} // namespace mv::cli
