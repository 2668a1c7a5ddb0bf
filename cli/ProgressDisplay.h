#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace mv::cli {

/// Shows jobs on standard error: on a terminal a bar for each running one with percent, speed and time left, drawn
/// anew in its place; elsewhere a plain line at the start, at every quarter and at the end.
class ProgressDisplay {
public:
    using Clock = std::chrono::steady_clock;

    struct Job {
        std::string title;
        double seconds = 0; ///< how long the audio plays; 0 when that is not known, and then no speed is shown
    };

    ProgressDisplay(std::vector<Job> jobs, bool onTerminal, int columns,
        std::function<void(const std::string&)> write = {}, std::function<Clock::time_point()> now = Clock::now);

    void start(std::size_t job);
    void progress(std::size_t job, double percent);
    /// The job's last line says `outcome`.
    void finish(std::size_t job, const std::string& outcome);

private:
    struct State {
        Job job;
        bool running = false;
        double percent = 0;
        int quarter = 0;
        Clock::time_point started;
    };

    void draw(const std::string& finishedLine = {});
    std::string bar(const State& state) const;
    std::string figures(const State& state) const;

    std::vector<State> m_jobs;
    bool m_onTerminal;
    int m_columns;
    std::function<void(const std::string&)> m_write;
    std::function<Clock::time_point()> m_now;
    std::size_t m_drawnLines = 0;
};

} // namespace mv::cli
