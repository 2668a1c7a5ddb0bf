#pragma once

#include <string>
#include <string_view>

namespace mv::cli {

/// The text with every letter as the small one that Unicode gives it alone, so that what differs in case only becomes
/// the same; independent of the user's locale. Ill-formed UTF-8 becomes U+FFFD.
std::string foldedText(std::string_view text);

} // namespace mv::cli
