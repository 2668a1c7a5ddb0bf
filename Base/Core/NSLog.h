#pragma once

#include <functional>
#include <string_view>

namespace mv {

/// The system log: one call is one whole line on standard error, whichever thread writes, in the form
/// "2026-11-21 12:00:00.123 mivo-mediad[PID:THREAD] message". Control characters in the message are written as
/// escapes, so that a file name cannot forge a line. Never fails.
void NSLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Receives every message instead of standard error while it is set: for a process whose log another writes, and for
/// tests. An empty function undoes it.
using LogSink = std::function<void(std::string_view message)>;
void setLogSink(LogSink sink);

} // namespace mv
