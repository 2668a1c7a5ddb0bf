#pragma once

#include "Base/Core/Path.h"
#include "client/ServiceBus.h"

#include <cstdint>
#include <string>

namespace mv::cli {

/// The encoder's error codes as sentences.
std::string encoderErrorText(std::int32_t code);
/// The exporter's codes (the platform's well-known negative numbers, and four-character codes) as sentences.
std::string exporterErrorText(std::int32_t code);

/// How many seconds a file plays; 0 when nobody knows.
double playLength(ServiceBus& bus, const Path& path);

} // namespace mv::cli
