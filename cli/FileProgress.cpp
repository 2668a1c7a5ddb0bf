#include "cli/FileProgress.h"

#include "Base/Core/Text.h"
#include "cli/Output.h"
#include "cli/text/ReadableText.h"

#include <algorithm>
#include <cmath>

namespace mv::cli {

namespace {

constexpr int MinBar = 10;
constexpr int MaxBar = 40;
// " 1234567 of 1234567 files  12345/s  12:34:56 left" and the bar's brackets.
constexpr int FiguresColumns = 52;

} // namespace

FileProgress::FileProgress(
    bool onTerminal, int columns, std::function<void(const std::string&)> write, std::function<Clock::time_point()> now)
    : m_onTerminal(onTerminal)
    , m_columns(columns)
    , m_write(write ? std::move(write) : printToError)
    , m_now(std::move(now))
    , m_begin(m_now())
    , m_lastDrawn(m_begin)
{
}

void FileProgress::show(std::size_t done)
{
    if (!m_onTerminal || m_now() - m_lastDrawn < Pace)
        return;
    m_lastDrawn = m_now();
    m_isShown = true;
    m_write("\r" + bar(done) + "\033[K");
}

void FileProgress::hide()
{
    if (m_isShown)
        m_write("\r\033[K");
    m_isShown = false;
}

std::string FileProgress::bar(std::size_t done) const
{
    std::size_t total = m_total;
    double elapsed = std::chrono::duration<double>(m_now() - m_begin).count();
    double rate = elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
    std::string speed = formatText("  %.0f/s", rate);
    // Files that came meanwhile are more than there were.
    if (total < std::max<std::size_t>(done, 1))
        return formatText("%zu files", done) + speed;
    int columns = std::clamp(m_columns - FiguresColumns, MinBar, MaxBar);
    auto filled
        = static_cast<std::size_t>(std::lround(static_cast<double>(done) / static_cast<double>(total) * columns));
    std::string text = "[" + std::string(filled, '#') + std::string(static_cast<std::size_t>(columns) - filled, '-')
        + "]" + formatText(" %zu of %zu files", done, total) + speed;
    if (rate > 0)
        text += "  " + readableLength(std::llround(std::ceil(static_cast<double>(total - done) / rate))) + " left";
    return text;
}

} // namespace mv::cli
