#include "cli/facts/FactTable.h"

#include "Base/Core/Text.h"
#include "cli/text/JsonText.h"

namespace mv::cli {

namespace {

struct PlainText {
    std::string operator()(const std::string& text) const { return cleanedUtf8(text); }
    std::string operator()(const std::vector<std::string>& texts) const
    {
        std::string joined;
        for (const std::string& text : texts)
            joined += (joined.empty() ? "" : "; ") + text;
        return cleanedUtf8(joined);
    }
    std::string operator()(double number) const { return jsonNumber(number); }
    std::string operator()(bool flag) const { return flag ? "true" : "false"; }
    template <class Integer> std::string operator()(Integer number) const { return std::to_string(number); }
};

bool needsQuotes(std::string_view cell)
{
    bool hasBlankEnd = cell.starts_with(' ') || cell.ends_with(' ');
    return hasBlankEnd || cell.find_first_of(",\"\r\n") != std::string_view::npos;
}

} // namespace

std::string plainValue(const FactValue& value) { return std::visit(PlainText(), value); }

CsvLine& CsvLine::add(std::string_view cell)
{
    m_text += m_isFirst ? "" : ",";
    m_isFirst = false;
    if (!needsQuotes(cell)) {
        m_text += cell;
        return *this;
    }
    m_text += '"';
    for (char byte : cell) {
        m_text += byte;
        if (byte == '"')
            m_text += byte;
    }
    m_text += '"';
    return *this;
}

TsvLine& TsvLine::add(std::string_view cell)
{
    constexpr std::string_view Special = "\t\n\r\\";
    constexpr std::string_view Letters = "tnr\\";
    m_text += m_isFirst ? "" : "\t";
    m_isFirst = false;
    for (char byte : cell) {
        auto place = Special.find(byte);
        if (place == std::string_view::npos)
            m_text += byte;
        else
            m_text += { '\\', Letters[place] };
    }
    return *this;
}

std::string withoutFormula(std::string text)
{
    constexpr std::string_view Beginnings = "=+-@\t\r";
    if (!text.empty() && Beginnings.find(text[0]) != std::string_view::npos)
        text.insert(text.begin(), '\'');
    return text;
}

} // namespace mv::cli
