#pragma once

#include "service/host/CrashReporterPlatform.h"

namespace mv {

/// Tells the suite's crash reporter the file name of the executable and the process id. Whatever happens on the way,
/// the start goes on: nothing is thrown.
void announceThisProcess(CrashReporterPlatform& platform = CrashReporterPlatform::system()) noexcept;

} // namespace mv
