#pragma once

#include <exception>
#include <string>
#include <utility>

namespace mv {

inline constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr const char* NSInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr const char* NSGenericException = "NSGenericException";

/// The platform's exception family. Only these are caught around single steps; whatever leaves an operation goes
/// to the client as an error with this name and reason.
class NSException : public std::exception {
public:
    NSException(std::string name, std::string reason)
        : m_name(std::move(name))
        , m_reason(std::move(reason))
    {
    }

    const std::string& name() const { return m_name; }
    const std::string& reason() const { return m_reason; }
    const char* what() const noexcept override { return m_reason.c_str(); }

private:
    std::string m_name;
    std::string m_reason;
};

/// An assertion of the platform's kind: always checked, raises NSInternalInconsistencyException with the text.
inline void NSAssert(bool condition, const char* text)
{
    if (!condition)
        throw NSException(NSInternalInconsistencyException, text);
}

} // namespace mv
