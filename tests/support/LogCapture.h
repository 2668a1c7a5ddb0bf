#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace mv::test {

/// Takes every NSLog message of the process while it lives.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines() const;

private:
    mutable std::mutex m_lock;
    std::vector<std::string> m_lines;
};

} // namespace mv::test
