#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace mv {

/// What a result code of a job means.
struct ResultCode {
    std::int32_t code;
    const char* sentence;
};

/// The MP3 encoder's error codes.
std::span<const ResultCode> encoderCodes();
/// The exporter's: well-known negative numbers of the platform, and four-character codes.
std::span<const ResultCode> exporterCodes();

/// The code's sentence with the code behind it, which is all that there is of an unknown one.
std::string sentenceForCode(std::span<const ResultCode> codes, std::int32_t code);

} // namespace mv
