#pragma once

#include "Base/Media/Record.h"

#include <string>
#include <string_view>

namespace mv::cli {

/// A JSON string with its quotes; ill-formed UTF-8 becomes U+FFFD.
std::string jsonString(std::string_view text);

/// The shortest text that reads back as the same number; null for what is none.
std::string jsonNumber(double value);

/// A value as JSON: strings, numbers, true and false, null. A date is a string of ISO 8601 in UTC with microseconds;
/// data is an object with its length under "bytes" and, where `withData` says so, itself under "base64".
std::string jsonValue(const Value& value, bool withData);

std::string base64(ByteView bytes);
/// "2026-11-21T12:00:00.123456Z"
std::string isoDate(Date date);

/// Puts an object together, member by member.
class JsonObject {
public:
    JsonObject& add(std::string_view key, const std::string& json);
    JsonObject& text(std::string_view key, std::string_view value) { return add(key, jsonString(value)); }
    /// Every entry of the record, in its order.
    JsonObject& record(const Record& record, bool withData);
    std::string line() const { return m_text + "}"; }

private:
    std::string m_text = "{";
};

} // namespace mv::cli
