#include "Base/Core/Path.h"

namespace mv {

namespace {

std::string_view withoutTrailingSlashes(std::string_view text)
{
    while (text.size() > 1 && text.back() == '/')
        text.remove_suffix(1);
    return text;
}

} // namespace

const std::string& Path::text() const
{
    static const std::string empty;
    return m_text ? *m_text : empty;
}

std::string_view Path::lastPathComponent() const
{
    std::string_view trimmed = withoutTrailingSlashes(text());
    if (trimmed == "/")
        return trimmed;
    auto slash = trimmed.rfind('/');
    return slash == std::string_view::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string_view Path::pathExtension() const
{
    std::string_view name = lastPathComponent();
    auto dot = name.rfind('.');
    return dot == std::string_view::npos ? std::string_view {} : name.substr(dot + 1);
}

std::string_view Path::lastPathComponentWithoutExtension() const
{
    std::string_view name = lastPathComponent();
    auto dot = name.rfind('.');
    return dot == std::string_view::npos ? name : name.substr(0, dot);
}

std::string_view Path::directory() const
{
    std::string_view trimmed = withoutTrailingSlashes(text());
    auto slash = trimmed.rfind('/');
    if (slash == std::string_view::npos)
        return {};
    return slash == 0 ? trimmed.substr(0, 1) : withoutTrailingSlashes(trimmed.substr(0, slash));
}

Path Path::appending(std::string_view component) const
{
    std::string joined = text();
    if (!joined.empty() && joined.back() != '/')
        joined += '/';
    joined += component;
    return joined;
}

} // namespace mv
