#pragma once

#include <exception>
#include <string>
#include <utility>

namespace mv {

inline constexpr const char* BusErrorInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr const char* BusErrorLimitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
inline constexpr const char* BusErrorNotSupported = "org.freedesktop.DBus.Error.NotSupported";
inline constexpr const char* BusErrorFailed = "org.freedesktop.DBus.Error.Failed";
inline constexpr const char* BusErrorNoMemory = "org.freedesktop.DBus.Error.NoMemory";
inline constexpr const char* BusErrorNoServer = "org.freedesktop.DBus.Error.NoServer";
inline constexpr const char* BusErrorNoReply = "org.freedesktop.DBus.Error.NoReply";
inline constexpr const char* BusErrorAccessDenied = "org.freedesktop.DBus.Error.AccessDenied";
inline constexpr const char* BusErrorUnknownObject = "org.freedesktop.DBus.Error.UnknownObject";
/// An NSException's name behind this prefix is the name of the error that answers it.
inline constexpr const char* BusErrorExceptionPrefix = "Mivo.Exception.";

/// A D-Bus error on its way to the caller's reply. Lives in adaptors and the transport only.
class BusError : public std::exception {
public:
    /// `code` is the errno of a failure of this side, where no message came that names an error.
    BusError(std::string name, std::string message, int code = 0)
        : m_name(std::move(name))
        , m_message(std::move(message))
        , m_code(code)
    {
    }
    const std::string& name() const { return m_name; }
    const std::string& message() const { return m_message; }
    int code() const { return m_code; }
    const char* what() const noexcept override { return m_message.c_str(); }

private:
    std::string m_name;
    std::string m_message;
    int m_code;
};

} // namespace mv
