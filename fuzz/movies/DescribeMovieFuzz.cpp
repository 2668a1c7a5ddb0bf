// Describes a movie of any bytes: boxes, demuxers, codec tables, seeking, frames, thumbnail.

#include "Base/Core/Handle.h"
#include "Base/Core/NSLog.h"
#include "platform/FileQTKit.h"
#include "platform/MainThread.h"
#include "service/parsers/QuickTimeAVParser.h"

#include <chrono>
#include <cstdlib>
#include <string>
#include <sys/mman.h>

using namespace mv;

namespace {

/// One input must not keep the fuzzer from the others.
constexpr std::chrono::milliseconds kDeadline { 2000 };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    MainThread::setExecutorForTesting([](const std::function<void()>& work) { work(); });
    setLogSinkForTesting([](std::string_view) {}); // most inputs say that they cannot be opened
    UniqueFd file(memfd_create("movie", MFD_CLOEXEC));
    if (!file || write(file.get(), data, size) != static_cast<ssize_t>(size))
        std::abort();
    FileQTKit toolkit { kDeadline };
    auto record = QuickTimeAVParser { toolkit }.build(OpenedFile::at("/proc/self/fd/" + std::to_string(file.get())));
    if (!record || record->empty())
        std::abort();
    return 0;
}
