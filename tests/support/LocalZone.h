#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace mv::test {

/// The process's local zone for the length of a scope; a value of the variable TZ. No other thread runs meanwhile.
class LocalZone {
public:
    explicit LocalZone(const char* zone)
    {
        if (const char* before = std::getenv("TZ"))
            m_before = before;
        set(zone);
    }
    ~LocalZone() { set(m_before ? m_before->c_str() : nullptr); }
    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;

private:
    static void set(const char* zone)
    {
        if (zone)
            setenv("TZ", zone, 1);
        else
            unsetenv("TZ");
        tzset();
    }

    std::optional<std::string> m_before;
};

} // namespace mv::test
