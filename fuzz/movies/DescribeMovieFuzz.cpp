// Describes a movie of any bytes: boxes, demuxers, codec tables, seeking, frames, thumbnail.

#include "Base/Core/NSLog.h"
#include "fuzz/HandedOver.h"
#include "fuzz/OpenedBytes.h"
#include "platform/FileQTKit.h"
#include "service/parsers/QuickTimeAVParser.h"

#include <chrono>
#include <cstdlib>

using namespace mv;

namespace {

/// One input must not keep the fuzzer from the others.
constexpr std::chrono::milliseconds Deadline { 2000 };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    setLogSink([](std::string_view) {}); // most inputs say that they cannot be opened
    FileQTKit toolkit { Deadline };
    auto record = QuickTimeAVParser { toolkit }.build(fuzz::openedBytes(data, size, "movie"));
    if (!record || record->empty())
        std::abort();
    fuzz::handOver(*record);
    return 0;
}
