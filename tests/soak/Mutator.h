#pragma once

#include "Base/Core/Bytes.h"

#include <random>

namespace mv::test {

/// Makes a broken relative of a file: flips bytes (mostly near the front, where structure is), overwrites runs with
/// extreme values, cuts, repeats and removes pieces. The same random state gives the same file.
Bytes mutated(const Bytes& original, std::mt19937_64& random);

} // namespace mv::test
