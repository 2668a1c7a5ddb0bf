#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// The name of a genre by ID3v1's number; empty for a number that has none.
std::string_view genreOfNumber(std::uint32_t number);

/// The genres that a value of ID3's content type names: "17", "(17)", "(51)(39)", "(4)Eurodisco" (which is the words'
/// own), "((Foo" for "(Foo", "RX" and "CR", or the name itself.
std::vector<std::string> genresOfContentType(std::string_view text);

} // namespace mv
