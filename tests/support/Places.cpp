#include "tests/support/Places.h"

namespace mv::test {

std::string sourcePath(std::string_view below) { return std::string(MIVO_SOURCE_DIR "/").append(below); }

std::string buildPath(std::string_view below) { return std::string(MIVO_BINARY_DIR "/").append(below); }

} // namespace mv::test
