#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

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
    /// True when the next name, or the end, can be had without waiting for whoever writes the list.
    bool isReady();
    /// In which line the name stands that next() gave last; the first is 1.
    std::size_t line() const { return m_line; }

private:
    NameList(std::string list, UniqueFd file, int from, bool endedByZero)
        : m_list(std::move(list))
        , m_file(std::move(file))
        , m_from(from)
        , m_end(endedByZero ? '\0' : '\n')
    {
    }

    std::optional<std::string> takeName();
    bool hasName() const;
    void read();

    std::string m_list; ///< as people know it
    UniqueFd m_file; ///< none where it is standard input
    int m_from;
    char m_end;
    std::string m_text; ///< what has been read
    std::size_t m_at = 0; ///< of it, what has been given out
    std::size_t m_line = 1; ///< at m_at
    bool m_ended = false;
    std::optional<Error> m_failure;
};

/// The names of a command line: those that it holds, and those of the lists that it names, in this order.
class NameSource {
public:
    NameSource(std::vector<std::string> names, std::vector<NameList> lists);

    std::optional<std::string> next();
    /// True when next() does not wait.
    bool isReady() { return !m_names.empty() || m_lists.empty() || m_lists.front().isReady(); }
    /// Why a list ended too early.
    const std::optional<Error>& failure() const { return m_failure; }

private:
    std::deque<std::string> m_names;
    std::deque<NameList> m_lists;
    std::optional<Error> m_failure;
};

} // namespace mv::cli
