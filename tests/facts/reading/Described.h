#pragma once

#include "facts/reading/Describe.h"

#include <string>
#include <string_view>

namespace mv::test {

/// The facts of these bytes, as of a file of that name.
Result<Facts> describedBytes(std::string_view content, std::string_view name = {}, const FactsWish& wish = {});
/// The facts of a file of the corpus, by its own name.
Result<Facts> describedCorpusFile(const std::string& name, const FactsWish& wish = {});
/// Every file of the corpus' folders, bad ones too, as names relative to it.
std::vector<std::string> allCorpusFiles();
std::string corpusQuoted(const std::string& name); ///< its path as one word of a shell command

} // namespace mv::test
