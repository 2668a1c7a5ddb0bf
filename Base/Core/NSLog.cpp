#include "Base/Core/NSLog.h"

#include "Base/Core/NSBundle.h"
#include "Base/Core/Text.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr int NoLimit = -1;
std::atomic<int> s_limit = NoLimit;

struct PriorityName {
    std::string_view name;
    LogPriority priority;
};

constexpr std::array PriorityNames {
    PriorityName { "error", LogPriority::Error },
    PriorityName { "warning", LogPriority::Warning },
    PriorityName { "notice", LogPriority::Notice },
    PriorityName { "info", LogPriority::Info },
    PriorityName { "debug", LogPriority::Debug },
};

/// Whoever starts a program with its standard error in the journal says which file that is; it may have been led
/// elsewhere since.
bool isStandardErrorTheJournal()
{
    const char* journal = std::getenv("JOURNAL_STREAM");
    struct stat facts { };
    return journal && fstat(STDERR_FILENO, &facts) == 0
        && journal
        == formatText(
            "%llu:%llu", static_cast<unsigned long long>(facts.st_dev), static_cast<unsigned long long>(facts.st_ino));
}

bool writesToJournal()
{
    static const bool journal = isStandardErrorTheJournal();
    return journal;
}

bool isLeftOut(LogPriority priority)
{
    int limit = s_limit;
    if (limit == NoLimit)
        limit = static_cast<int>(writesToJournal() ? LogPriority::Info : LogPriority::Debug);
    return static_cast<int>(priority) > limit;
}

std::mutex s_sinkLock;
LogSink s_sink; // guarded by s_sinkLock

std::string escaped(std::string_view message)
{
    while (!message.empty() && message.back() == '\n')
        message.remove_suffix(1);
    std::string out;
    out.reserve(message.size());
    for (char c : message) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F)
            out += formatText("\\x%02x", static_cast<unsigned char>(c));
        else
            out += c;
    }
    return out;
}

std::string linePrefix(LogPriority priority)
{
    if (writesToJournal())
        return formatText("<%d>", static_cast<int>(priority));
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local {};
    localtime_r(&now.tv_sec, &local);
    static const std::string process(NSBundle::mainBundle().executablePath().lastPathComponent());
    return formatText("%04d-%02d-%02d %02d:%02d:%02d.%03ld %s[%d:%ld] ", local.tm_year + 1900, local.tm_mon + 1,
        local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, now.tv_nsec / 1'000'000, process.c_str(), getpid(),
        syscall(SYS_gettid));
}

void writeWhole(std::string_view line)
{
    while (!line.empty()) {
        ssize_t written = write(STDERR_FILENO, line.data(), line.size());
        if (written <= 0)
            return;
        line.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

namespace {

void writeLine(LogPriority priority, const char* format, va_list arguments)
{
    if (isLeftOut(priority))
        return;
    char* text = nullptr;
    int length = vasprintf(&text, format, arguments);
    if (length < 0)
        return;
    std::string message(text, static_cast<std::size_t>(length));
    free(text);

    std::lock_guard guard(s_sinkLock);
    if (s_sink)
        s_sink(message);
    else
        writeWhole(linePrefix(priority) + escaped(message) + "\n");
}

} // namespace

void NSLog(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeLine(LogPriority::Notice, format, arguments);
    va_end(arguments);
}

void NSLogAt(LogPriority priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeLine(priority, format, arguments);
    va_end(arguments);
}

void setLogLimit(LogPriority least) { s_limit = static_cast<int>(least); }

std::optional<LogPriority> logPriorityNamed(std::string_view name)
{
    for (const PriorityName& row : PriorityNames) {
        if (row.name == name)
            return row.priority;
    }
    return std::nullopt;
}

void setLogSink(LogSink sink)
{
    std::lock_guard guard(s_sinkLock);
    s_sink = std::move(sink);
}

} // namespace mv
