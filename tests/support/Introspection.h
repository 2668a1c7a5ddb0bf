#pragma once

#include <regex>
#include <string>

namespace mv::test {

/// An interface's document as the service states it, which has no room for what is for people and for code generators.
inline std::string withoutDocumentation(const std::string& document)
{
    static const std::regex ofArgument(
        R"re(<arg ([^>]*[^/])>\n(?: *<annotation name="org\.gtk\.[^>]*/>\n)+ *</arg>)re");
    static const std::regex ofMember(R"re( *<annotation name="org\.(?:gtk|qtproject)\.[^>]*/>\n)re");
    return std::regex_replace(std::regex_replace(document, ofArgument, "<arg $1/>"), ofMember, "");
}

} // namespace mv::test
