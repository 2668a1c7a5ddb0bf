#pragma once

#include <string>
#include <string_view>

namespace mv::test {

// Where things are on this machine. Asked of functions, so that no test is compiled anew in another folder.

/// A file of the checkout; `below` is its path there.
std::string sourcePath(std::string_view below);
/// A file of the build, "bin/mivo".
std::string buildPath(std::string_view below);

} // namespace mv::test
