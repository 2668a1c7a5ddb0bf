#include "cli/text/JsonText.h"

#include "Base/Core/Text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <ctime>

namespace mv::cli {

namespace {

constexpr std::int64_t MicrosecondsPerSecond = 1'000'000;

std::string jsonData(const Bytes& data, bool withData)
{
    JsonObject object;
    object.add("bytes", std::to_string(data.size()));
    if (withData)
        object.text("base64", base64(data));
    return object.line();
}

} // namespace

std::string jsonString(std::string_view text)
{
    constexpr unsigned char FirstOfControls = 0xc2; // U+0080 to U+009F, which terminals take for commands
    std::string out = "\"";
    const std::string clean = cleanedUtf8(text);
    for (std::size_t i = 0; i < clean.size(); ++i) {
        auto code = static_cast<unsigned char>(clean[i]);
        auto next = i + 1 < clean.size() ? static_cast<unsigned char>(clean[i + 1]) : 0u;
        if (code == '"' || code == '\\')
            out += { '\\', clean[i] };
        else if (code == '\n')
            out += "\\n";
        else if (code < 0x20 || code == 0x7f)
            out += formatText("\\u%04x", static_cast<unsigned>(code));
        else if (code == FirstOfControls && next < 0xa0) {
            out += formatText("\\u%04x", next);
            ++i;
        } else
            out += clean[i];
    }
    return out + '"';
}

std::string jsonNumber(double value)
{
    if (!std::isfinite(value))
        return "null";
    // Whatever the locale.
    std::array<char, 32> buffer;
    auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return { buffer.data(), result.ptr };
}

std::string base64(ByteView bytes)
{
    constexpr std::string_view Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::size_t have = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j)
            group = group << 8 | (j < have ? bytes[i + j] : 0u);
        for (std::size_t j = 0; j < 4; ++j)
            out += j <= have ? Digits[group >> (18 - 6 * j) & 63] : '=';
    }
    return out;
}

std::string isoDate(Date date)
{
    std::int64_t seconds = date.microseconds / MicrosecondsPerSecond;
    std::int64_t rest = date.microseconds % MicrosecondsPerSecond;
    if (rest < 0) {
        rest += MicrosecondsPerSecond;
        --seconds;
    }
    std::time_t time = seconds;
    tm utc {};
    if (!gmtime_r(&time, &utc))
        return "";
    return formatText("%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
        utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(rest));
}

std::string jsonValue(const Value& value, bool withData)
{
    if (value.isNull() || value.isOtherKind())
        return "null";
    if (auto* flag = value.boolean())
        return *flag ? "true" : "false";
    if (auto* text = value.string())
        return jsonString(*text);
    if (auto* date = value.date())
        return jsonString(isoDate(*date));
    if (auto* data = value.data())
        return jsonData(*data, withData);
    if (auto* real = value.real())
        return jsonNumber(*real);
    if (auto* large = std::get_if<std::int64_t>(&value.storage()))
        return std::to_string(*large);
    return std::to_string(value.integerValue().value_or(0));
}

JsonObject& JsonObject::record(const Record& record, bool withData)
{
    for (const auto& [key, value] : record)
        add(key, jsonValue(value, withData));
    return *this;
}

JsonObject& JsonObject::add(std::string_view key, const std::string& json)
{
    if (m_text.size() > 1)
        m_text += ',';
    m_text += jsonString(key) + ':' + json;
    return *this;
}

} // namespace mv::cli
