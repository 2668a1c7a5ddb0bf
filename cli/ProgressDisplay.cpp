#include "cli/ProgressDisplay.h"

#include "Base/Core/Text.h"
#include "cli/Output.h"
#include "cli/RecordText.h"
#include "cli/Terminal.h"

#include <algorithm>
#include <cmath>

namespace mv::cli {

namespace {

constexpr int MinBar = 10;
constexpr int MaxBar = 40;
constexpr int MaxTitle = 30;
// " 100%  123.4x  1:02:09 left" and the bar's brackets.
constexpr int FiguresColumns = 32;
constexpr double QuarterPercent = 25;

} // namespace

ProgressDisplay::ProgressDisplay(std::vector<Job> jobs, bool onTerminal, int columns,
    std::function<void(const std::string&)> write, std::function<Clock::time_point()> now)
    : m_onTerminal(onTerminal)
    , m_columns(columns)
    , m_write(write ? std::move(write) : printToError)
    , m_now(std::move(now))
{
    for (Job& job : jobs) {
        job.title = terminalText(job.title);
        m_jobs.push_back({ std::move(job), false, 0, 0, {} });
    }
}

void ProgressDisplay::start(std::size_t job)
{
    State& state = m_jobs[job];
    state.running = true;
    state.started = m_now();
    if (m_onTerminal)
        draw();
    else
        m_write(state.job.title + ": started\n");
}

void ProgressDisplay::progress(std::size_t job, double percent)
{
    State& state = m_jobs[job];
    state.percent = std::clamp(percent, 0.0, 100.0);
    if (m_onTerminal) {
        draw();
        return;
    }
    // The end has a line of its own.
    int quarter = std::min(static_cast<int>(state.percent / QuarterPercent), 3);
    while (state.quarter < quarter)
        m_write(formatText("%s: %d%%\n", state.job.title.c_str(), static_cast<int>(++state.quarter * QuarterPercent)));
}

void ProgressDisplay::finish(std::size_t job, const std::string& outcome)
{
    State& state = m_jobs[job];
    state.running = false;
    std::string line = state.job.title + ": " + outcome + "\n";
    if (m_onTerminal)
        draw(line);
    else
        m_write(line);
}

void ProgressDisplay::draw(const std::string& finishedLine)
{
    std::string text;
    if (m_drawnLines > 0)
        text += formatText("\033[%zuA", m_drawnLines);
    text += "\r\033[J" + finishedLine;
    m_drawnLines = 0;
    for (const State& state : m_jobs) {
        if (!state.running)
            continue;
        text += bar(state) + "\n";
        ++m_drawnLines;
    }
    m_write(text);
}

std::string ProgressDisplay::bar(const State& state) const
{
    int titleColumns = std::min(MaxTitle, std::max(1, m_columns - FiguresColumns - MinBar));
    int barColumns = std::clamp(m_columns - titleColumns - FiguresColumns, MinBar, MaxBar);
    auto filled = static_cast<std::size_t>(std::lround(state.percent / 100 * barColumns));
    std::string_view title = truncatedUtf8(state.job.title, static_cast<std::size_t>(titleColumns));
    return padded(title, static_cast<std::size_t>(titleColumns)) + " [" + std::string(filled, '#')
        + std::string(static_cast<std::size_t>(barColumns) - filled, '-') + "]" + figures(state);
}

std::string ProgressDisplay::figures(const State& state) const
{
    std::string text = formatText(" %3d%%", static_cast<int>(state.percent));
    double elapsed = std::chrono::duration<double>(m_now() - state.started).count();
    double done = state.percent / 100;
    if (elapsed <= 0 || done <= 0)
        return text;
    if (state.job.seconds > 0)
        text += formatText("  %.1fx", done * state.job.seconds / elapsed);
    auto left = static_cast<std::int64_t>(std::ceil(elapsed / done * (1 - done)));
    return text + "  " + readableLength(left) + " left";
}

} // namespace mv::cli
