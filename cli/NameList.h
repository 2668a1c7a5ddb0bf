#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

#include <cstdio>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace mv::cli {

/// Names of files from a list, one a line or each ended by a zero byte. A name is there as soon as its end has been
/// read, so that a list can be written by a program that is still at work.
class NameList {
public:
    /// `list` is a file, or "-" for standard input.
    static Result<NameList> open(const std::string& list, bool endedByZero);

    /// The next name that is not empty; nothing at the end, an error where the list cannot be read on.
    Result<std::optional<std::string>> next();

private:
    NameList(std::FILE* from, bool isOurs, bool endedByZero);

    std::FILE* m_from;
    std::unique_ptr<std::FILE, CloseWith<std::fclose>> m_owner;
    char m_end;
};

/// The names of a command line: those that it holds, and those of the lists that it names, in this order.
class NameSource {
public:
    NameSource(std::vector<std::string> names, std::vector<NameList> lists);

    std::optional<std::string> next();
    /// Why a list ended too early.
    const std::optional<Error>& failure() const { return m_failure; }

private:
    std::deque<std::string> m_names;
    std::deque<NameList> m_lists;
    std::optional<Error> m_failure;
};

} // namespace mv::cli
