#pragma once

#include <functional>
#include <optional>
#include <string_view>

namespace mv {

/// How much a line matters, by the numbers of syslog.
enum class LogPriority {
    Error = 3, ///< this process cannot do what it is there for
    Warning = 4, ///< something is lost or missing, and the process goes on
    Notice = 5, ///< something about one file or one client
    Info = 6,
    Debug = 7, ///< of a plain start or end
};

/// The system log: one call is one whole line on standard error, whichever thread writes, in the form
/// "2026-11-21 12:00:00.123 mivo-mediad[PID:THREAD] message", or, where standard error leads to the journal, which
/// notes all that by itself, "<5>message" with the number of the priority. Control characters in the message are
/// written as escapes, so that a file name cannot forge a line. Never fails. A line has the priority Notice.
void NSLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void NSLogAt(LogPriority priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// Lines that matter less are left out from now on. Before it is called nothing is left out on a terminal or in a file,
/// and Debug in the journal.
void setLogLimit(LogPriority least);
/// The priority of that name ("error", "warning", ...); nothing for any other text.
std::optional<LogPriority> logPriorityNamed(std::string_view name);

/// Receives every message instead of standard error while it is set: for a process whose log another writes, and for
/// tests. An empty function undoes it.
using LogSink = std::function<void(std::string_view message)>;
void setLogSink(LogSink sink);

} // namespace mv
