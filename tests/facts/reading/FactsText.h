#pragma once

#include "facts/Facts.h"

#include <string>

namespace mv::test {

/// A fact as people compare it: lists joined by " | ", numbers with as many digits as they need, flags as 0 and 1.
std::string textOf(const FactValue& value);
/// The text of a fact; empty where it is not known.
std::string textOf(const Facts& facts, std::string_view key);

} // namespace mv::test
