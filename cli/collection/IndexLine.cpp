#include "cli/collection/IndexLine.h"

#include "Base/Core/FileUri.h"
#include "Base/Core/Text.h"
#include "cli/text/JsonText.h"

#include <algorithm>
#include <charconv>

namespace mv::cli {

namespace {

constexpr std::size_t NanosecondDigits = 9;

/// Errors that tell of the content, and stay as long as it does.
constexpr std::array<std::string_view, 2> LastingErrors { "Mivo.Media1.Error.NotMedia", "Mivo.Media1.Error.TooLarge" };

constexpr std::string_view PathBegins = "{\"path\":\"";
constexpr std::string_view UriBegins = "\",\"xesam:url\":\"";
constexpr std::string_view StampBegins = "\"file\":{\"size\":";

std::string stampJson(const FileStamp& stamp)
{
    std::string mtime = formatText("%lld.%09u", static_cast<long long>(stamp.seconds), stamp.nanoseconds);
    return JsonObject()
        .add("size", std::to_string(stamp.size))
        .text("mtime", mtime)
        .add("inode", std::to_string(stamp.inode))
        .line();
}

JsonObject beginning(const std::string& path, const FileStamp& stamp)
{
    JsonObject object;
    object.text("path", path).text(fact::Url, fileUri(path)).add("file", stampJson(stamp));
    return object;
}

/// Takes a line apart, from its front.
class LineReader {
public:
    explicit LineReader(std::string_view rest)
        : m_rest(rest)
    {
    }

    bool take(std::string_view text)
    {
        if (!m_rest.starts_with(text))
            return false;
        m_rest.remove_prefix(text.size());
        return true;
    }
    /// Up to the quote that ends a string, as it is written.
    std::optional<std::string_view> takeString()
    {
        for (std::size_t at = 0; at < m_rest.size(); ++at) {
            if (m_rest[at] == '\\')
                ++at;
            else if (m_rest[at] == '"')
                return cut(at);
        }
        return std::nullopt;
    }
    template <class Number> bool takeNumber(Number& number)
    {
        auto read = std::from_chars(m_rest.data(), m_rest.data() + m_rest.size(), number);
        m_rest.remove_prefix(static_cast<std::size_t>(read.ptr - m_rest.data()));
        return read.ec == std::errc();
    }
    bool takeNanoseconds(std::uint32_t& number)
    {
        std::size_t before = m_rest.size();
        return takeNumber(number) && before - m_rest.size() == NanosecondDigits;
    }
    std::string_view rest() const { return m_rest; }
    /// Whether it ends within `text`, or with it.
    bool endsIn(std::string_view text) const { return text.starts_with(m_rest); }

private:
    std::string_view cut(std::size_t length)
    {
        std::string_view text = m_rest.substr(0, length);
        m_rest.remove_prefix(length);
        return text;
    }

    std::string_view m_rest;
};

bool takeStamp(LineReader& line, FileStamp& stamp)
{
    return line.take(StampBegins) && line.takeNumber(stamp.size) && line.take(",\"mtime\":\"")
        && line.takeNumber(stamp.seconds) && line.take(".") && line.takeNanoseconds(stamp.nanoseconds)
        && line.take("\",\"inode\":") && line.takeNumber(stamp.inode) && line.take("}");
}

bool isWorthAnotherTry(LineReader& line)
{
    if (!line.take(",\"error\":\""))
        return false;
    if (!line.takeString() || !line.take("\",\"mivo:error\":\""))
        return true;
    auto name = line.takeString();
    return !name || std::ranges::find(LastingErrors, *name) == LastingErrors.end();
}

} // namespace

std::string indexLine(const DescribedFile& file, const FileStamp& stamp)
{
    JsonObject object = beginning(file.path(), stamp);
    for (const auto& [key, value] : file.facts().entries()) {
        if (key != fact::Url)
            object.add(key, jsonFact(value));
    }
    return object.line();
}

std::string indexLine(const std::string& path, const FactFailure& failure, const FileStamp& stamp)
{
    JsonObject object = beginning(path, stamp);
    object.text("error", failure.sentence);
    if (!failure.name.empty())
        object.text("mivo:error", failure.name);
    return object.line();
}

std::optional<IndexEntry> readIndexLine(std::string_view text)
{
    LineReader line(text);
    IndexEntry entry;
    if (!line.take(PathBegins) || !line.takeString() || !line.take(UriBegins))
        return std::nullopt;
    auto uri = line.takeString();
    auto path = uri ? pathOfFileUri(*uri) : Error {};
    if (!path || !line.take("\",") || !takeStamp(line, entry.stamp))
        return std::nullopt;
    if (line.rest() != "}" && !(line.rest().starts_with(',') && line.rest().ends_with('}')))
        return std::nullopt;
    entry.path = std::move(*path);
    entry.isWorthAnotherTry = isWorthAnotherTry(line);
    return entry;
}

bool mayBeginIndexLine(std::string_view text)
{
    constexpr std::string_view UriEnds = "\",";
    LineReader line(text);
    if (!line.take(PathBegins))
        return line.endsIn(PathBegins);
    if (!line.takeString())
        return true;
    if (!line.take(UriBegins))
        return line.endsIn(UriBegins);
    if (!line.takeString())
        return true;
    if (!line.take(UriEnds))
        return line.endsIn(UriEnds);
    return line.take(StampBegins) || line.endsIn(StampBegins);
}

} // namespace mv::cli
