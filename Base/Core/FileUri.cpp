#include "Base/Core/FileUri.h"

#include "Base/Core/Text.h"

#include <optional>

namespace mv {

namespace {

constexpr std::string_view Scheme = "file:";

bool isLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

/// RFC 3986 lets a path have ";" too, which GLib escapes.
bool staysInPath(char c)
{
    constexpr std::string_view Others = "-_.!~*'()/&=:@+$,";
    return isLetterOrDigit(c) || Others.find(c) != std::string_view::npos;
}

std::optional<int> hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    char small = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    return small >= 'a' && small <= 'f' ? std::optional(small - 'a' + 10) : std::nullopt;
}

Error noFile() { return { Error::Kind::Format, "is no URI of a file on this computer" }; }

Result<std::string> unescaped(std::string_view text)
{
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            path += text[i];
            continue;
        }
        auto high = i + 2 < text.size() ? hexDigit(text[i + 1]) : std::nullopt;
        auto low = high ? hexDigit(text[i + 2]) : std::nullopt;
        // A zero byte would end the path before its end.
        if (!low || (*high == 0 && *low == 0))
            return noFile();
        path += static_cast<char>(*high * 16 + *low);
        i += 2;
    }
    return path;
}

} // namespace

std::string fileUri(std::string_view path)
{
    constexpr char Digits[] = "0123456789ABCDEF";
    std::string uri = "file://";
    for (char c : path) {
        auto byte = static_cast<unsigned char>(c);
        if (staysInPath(c))
            uri += c;
        else
            uri.append({ '%', Digits[byte / 16], Digits[byte % 16] });
    }
    return uri;
}

bool isFileUri(std::string_view text) { return equalIgnoringAsciiCase(text.substr(0, Scheme.size()), Scheme); }

Result<std::string> pathOfFileUri(std::string_view uri)
{
    constexpr std::string_view NotInPaths { "?#\0", 3 };
    if (!isFileUri(uri) || uri.find_first_of(NotInPaths) != std::string_view::npos)
        return noFile();
    std::string_view rest = uri.substr(Scheme.size());
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        auto slash = rest.find('/');
        std::string_view host = rest.substr(0, slash);
        if (slash == std::string_view::npos || !(host.empty() || equalIgnoringAsciiCase(host, "localhost")))
            return noFile();
        rest.remove_prefix(slash);
    }
    if (!rest.starts_with('/'))
        return noFile();
    return unescaped(rest);
}

} // namespace mv
