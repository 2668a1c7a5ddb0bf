#include "cli/facts/FactForms.h"

#include "cli/facts/FactTable.h"
#include "cli/facts/ReadableFact.h"
#include "cli/text/JsonText.h"
#include "cli/text/ReadableText.h"

#include <algorithm>

namespace mv::cli {

namespace {

/// What a terminal would take for commands is shown. Ends of lines and tabs are a table's own matter.
std::string withoutCommands(std::string_view cell)
{
    std::string shown;
    while (!cell.empty()) {
        std::size_t end = std::min(cell.find_first_of("\t\n\r"), cell.size());
        shown += terminalText(cell.substr(0, end));
        shown += cell.substr(end, 1);
        cell.remove_prefix(std::min(end + 1, cell.size()));
    }
    return shown;
}

} // namespace

std::string jsonFact(const FactValue& value)
{
    if (auto* text = std::get_if<std::string>(&value))
        return jsonString(*text);
    auto* texts = std::get_if<std::vector<std::string>>(&value);
    if (!texts)
        return plainValue(value);
    std::string list = "[";
    for (const std::string& text : *texts)
        list += (list.size() > 1 ? "," : "") + jsonString(text);
    return list + "]";
}

std::string FactWriter::begin() const
{
    switch (m_wish.form) {
    case FactForm::Json:
        return "[\n";
    case FactForm::Csv:
        return headLine<CsvLine>();
    case FactForm::Tsv:
        return headLine<TsvLine>();
    case FactForm::Text:
    case FactForm::JsonLines:
        break;
    }
    return {};
}

std::string FactWriter::item(const DescribedFile& file) const
{
    switch (m_wish.form) {
    case FactForm::Text:
        return m_wish.fields.empty() ? readableFile(file, m_wish.emphasised)
                                     : readableFile(file, m_wish.fields, m_wish.emphasised);
    case FactForm::Json:
        return jsonItem(file);
    case FactForm::JsonLines:
        return jsonItem(file) + "\n";
    case FactForm::Csv:
        return tableLine<CsvLine>(file);
    case FactForm::Tsv:
        return tableLine<TsvLine>(file);
    }
    return {};
}

std::string FactWriter::failure(const std::string& path, const FactFailure& failure) const
{
    bool isJson = m_wish.form == FactForm::Json || m_wish.form == FactForm::JsonLines;
    if (!isJson)
        return {};
    JsonObject object;
    object.text("path", path).text("error", failure.sentence);
    if (!failure.name.empty())
        object.text("mivo:error", failure.name);
    return object.line() + (m_wish.form == FactForm::JsonLines ? "\n" : "");
}

std::string FactWriter::between() const
{
    return m_wish.form == FactForm::Text ? "\n" : m_wish.form == FactForm::Json ? ",\n" : "";
}

std::string FactWriter::end() const { return m_wish.form == FactForm::Json ? "\n]\n" : ""; }

std::string FactWriter::jsonItem(const DescribedFile& file) const
{
    JsonObject object;
    object.text("path", file.path());
    if (m_wish.fields.empty()) {
        for (const auto& [key, value] : file.facts().entries())
            object.add(key, jsonFact(value));
        return object.line();
    }
    for (const FactField& field : m_wish.fields) {
        const FactValue* value = field.isPath() ? nullptr : file.find(field);
        if (value)
            object.add(field.key(), jsonFact(*value));
    }
    return object.line();
}

template <class Line> std::string FactWriter::headLine() const
{
    Line line;
    for (const std::string& head : m_wish.heads)
        line.add(head);
    if (m_wish.heads.empty()) {
        for (const FactField& field : columns())
            line.add(field.name());
    }
    return line.end();
}

template <class Line> std::string FactWriter::tableLine(const DescribedFile& file) const
{
    Line line;
    for (const FactField& field : columns()) {
        const FactValue* value = file.find(field);
        std::string cell = value ? plainValue(*value) : std::string();
        bool isText = field.type() == FactType::Text || field.type() == FactType::Texts;
        if (m_wish.formulaSafe && isText)
            cell = withoutFormula(std::move(cell));
        line.add(m_wish.forTerminal ? withoutCommands(cell) : cell);
    }
    return line.end();
}

} // namespace mv::cli
