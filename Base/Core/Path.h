#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mv {

/// A file path as a client passed it, or nil. Only the text is looked at; nothing here touches the file system.
class Path {
public:
    /// nil
    Path() = default;
    Path(std::string text)
        : m_text(std::move(text))
    {
    }
    Path(const char* text)
        : m_text(text)
    {
    }

    bool isNil() const { return !m_text.has_value(); }
    /// Empty for nil.
    const std::string& text() const;
    const char* c_str() const { return text().c_str(); }

    /// The text after the last slash, slashes at the end not counted: "song.mp3" of "/music/song.mp3" and of
    /// "/music/song.mp3/"; "/" of "/"; empty of nil.
    std::string_view lastPathComponent() const;
    /// The text after the last dot of the last component, without the dot; empty when there is none.
    std::string_view pathExtension() const;
    /// The last component without its extension and dot; whole when it has none.
    std::string_view lastPathComponentWithoutExtension() const;
    /// Everything before the last component without the slash between; "/" of "/x", empty of "x".
    std::string_view directory() const;
    Path appending(std::string_view component) const;

    bool operator==(const Path&) const = default;

private:
    std::optional<std::string> m_text;
};

} // namespace mv
