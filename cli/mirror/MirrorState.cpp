#include "cli/mirror/MirrorState.h"

#include "cli/text/JsonText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace mv::cli {

namespace {

using Json = nlohmann::json;

constexpr const char* VersionKey = "mivo-mirror";
constexpr const char* MadeModifiedKey = "madeModified";
constexpr int Version = 1;

Json parsed(std::string_view line) { return Json::parse(line, nullptr, false); }

std::string textOf(const Json& object, const char* key)
{
    auto found = object.find(key);
    const auto* text = found == object.end() ? nullptr : found->get_ptr<const std::string*>();
    return text ? *text : std::string();
}

std::int64_t numberOf(const Json& object, const char* key)
{
    auto found = object.find(key);
    return found != object.end() && found->is_number_integer() ? found->get<std::int64_t>() : -1;
}

/// A state that somebody has written must not lead out of its folder either.
bool isBelow(std::string_view path)
{
    if (path.empty() || path.front() == '/' || path.find('\0') != std::string_view::npos)
        return false;
    for (std::size_t begin = 0; begin <= path.size();) {
        std::size_t end = std::min(path.find('/', begin), path.size());
        std::string_view name = path.substr(begin, end - begin);
        if (name.empty() || name == "." || name == "..")
            return false;
        begin = end + 1;
    }
    return true;
}

bool isGood(const MirrorEntry& entry) { return isBelow(entry.from) && isBelow(entry.to) && !entry.how.empty(); }

} // namespace

Result<MirrorState> MirrorState::parse(std::string_view text)
{
    std::size_t end = std::min(text.find('\n'), text.size());
    Json head = parsed(text.substr(0, end));
    if (!head.is_object() || numberOf(head, VersionKey) != Version || textOf(head, "source").empty())
        return Error { Error::Kind::Format, "is no state of a mirror that this program knows" };
    MirrorState state(textOf(head, "source"));
    while (end < text.size()) {
        std::size_t begin = end + 1;
        end = text.find('\n', begin);
        // Without its end a line may be cut.
        if (end == std::string_view::npos)
            break;
        Json object = parsed(text.substr(begin, end - begin));
        if (!object.is_object())
            continue;
        MirrorEntry entry { textOf(object, "from"), textOf(object, "to"),
            static_cast<std::uint64_t>(numberOf(object, "size")), numberOf(object, "modified"),
            static_cast<std::uint64_t>(numberOf(object, "madeSize")), textOf(object, "how") };
        if (object.contains(MadeModifiedKey))
            entry.madeModified = numberOf(object, MadeModifiedKey);
        if (isGood(entry))
            state.set(std::move(entry));
    }
    return state;
}

bool MirrorState::isCutAtFront(std::string_view text)
{
    const std::string front = "{\"" + std::string(VersionKey) + "\":";
    bool beginsSo = text.starts_with(front) || std::string_view(front).starts_with(text);
    return beginsSo && text.find('\n') == std::string_view::npos;
}

std::string MirrorState::text() const
{
    std::string text = JsonObject().add(VersionKey, std::to_string(Version)).text("source", m_source).line() + "\n";
    for (const auto& [to, entry] : m_entries)
        text += line(entry);
    return text;
}

std::string MirrorState::line(const MirrorEntry& entry)
{
    JsonObject object;
    object.text("from", entry.from)
        .text("to", entry.to)
        .add("size", std::to_string(entry.size))
        .add("modified", std::to_string(entry.modified))
        .add("madeSize", std::to_string(entry.madeSize))
        .text("how", entry.how);
    if (entry.madeModified)
        object.add(MadeModifiedKey, std::to_string(*entry.madeModified));
    return object.line() + "\n";
}

} // namespace mv::cli
