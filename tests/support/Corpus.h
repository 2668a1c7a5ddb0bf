#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace mv::test {

/// The folder of real media files that lies beside the project (../shared/corpus, or $MIVO_CORPUS), empty when
/// there is none.
std::string corpusFolder();
std::string corpusFile(const std::string& name);
/// Every file of a corpus folder ("mp3"), sorted, as names relative to the corpus.
std::vector<std::string> corpusFiles(const std::string& folder);
/// One of so many parts of it, from 0 on, each about as large: what takes long is done in several cases.
std::vector<std::string> corpusFiles(const std::string& folder, std::size_t part, std::size_t parts);

struct ExpectedRow {
    std::string file; ///< relative to the corpus
    std::string key;
    std::string value;
    std::string origin;
};

/// What other projects' tests state of the corpus files.
std::vector<ExpectedRow> corpusExpectations();

} // namespace mv::test

/// Skips the test, with a reason, where the corpus is absent.
#define MV_NEEDS_CORPUS()                                                                                              \
    if (::mv::test::corpusFolder().empty())                                                                            \
    GTEST_SKIP() << "the media corpus is not here (../shared/corpus or $MIVO_CORPUS)"
