#pragma once

#include "cli/ExitStatus.h"
#include "cli/FileNames.h"
#include "cli/facts/FactForms.h"
#include "cli/facts/FactQuery.h"

namespace mv::cli {

/// What of which files is to be printed.
struct FactWish {
    FactWriter::Wish form;
    std::optional<FactQuery> query; ///< only files that match
    std::size_t jobs = 1;
};

/// Of --format, --fields, --where, --formula-safe and --jobs; fails with a sentence where they are not right.
Result<FactWish> factWishFrom(const Arguments& arguments);

/// Prints what Mivo.Media1 knows of each file. Failures of files are told; the status is the worst of them. What was
/// found in a folder and is no media is left out.
ExitStatus describeFacts(const char* command, const Arguments& arguments, FileNames& names, FactWish wish);

} // namespace mv::cli
