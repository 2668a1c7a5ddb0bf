#include "tests/support/LogCapture.h"

#include "Base/Core/NSLog.h"

namespace mv::test {

LogCapture::LogCapture()
{
    setLogSink([this](std::string_view message) {
        std::lock_guard guard(m_lock);
        m_lines.emplace_back(message);
    });
}

LogCapture::~LogCapture() { setLogSink({}); }

std::vector<std::string> LogCapture::lines() const
{
    std::lock_guard guard(m_lock);
    return m_lines;
}

} // namespace mv::test
