#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace mv::cli {

/// A bar on the last line of a terminal behind standard error: how many files are done, how many a second, and how long
/// the rest takes. Nothing elsewhere. How many there are may be told later, by any thread; everything else is one
/// thread's.
class FileProgress {
public:
    using Clock = std::chrono::steady_clock;
    /// Drawn at most so often.
    static constexpr std::chrono::milliseconds Pace { 100 };

    FileProgress(bool onTerminal, int columns, std::function<void(const std::string&)> write = {},
        std::function<Clock::time_point()> now = Clock::now);

    void setTotal(std::size_t files) { m_total = files; }
    void show(std::size_t done);
    /// Before a line is written, and at the end.
    void hide();

private:
    std::string bar(std::size_t done) const;

    const bool m_onTerminal;
    const int m_columns;
    const std::function<void(const std::string&)> m_write;
    const std::function<Clock::time_point()> m_now;
    const Clock::time_point m_begin;
    Clock::time_point m_lastDrawn;
    bool m_isShown = false;
    std::atomic<std::size_t> m_total = 0; ///< 0 while it is not known
};

} // namespace mv::cli
