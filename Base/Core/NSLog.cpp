#include "Base/Core/NSLog.h"

#include "Base/Core/NSBundle.h"
#include "Base/Core/Text.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace mv {

namespace {

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

std::string linePrefix()
{
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

void NSLog(const char* format, ...)
{
    char* text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0)
        return;
    std::string message(text, static_cast<std::size_t>(length));
    free(text);

    std::lock_guard guard(s_sinkLock);
    if (s_sink)
        s_sink(message);
    else
        writeWhole(linePrefix() + escaped(message) + "\n");
}

void setLogSink(LogSink sink)
{
    std::lock_guard guard(s_sinkLock);
    s_sink = std::move(sink);
}

} // namespace mv
