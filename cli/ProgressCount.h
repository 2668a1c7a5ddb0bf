#pragma once

#include <cstddef>

namespace mv::cli {

/// "3 of 12 files" on the last line of a terminal behind standard error; nothing elsewhere.
class ProgressCount {
public:
    explicit ProgressCount(std::size_t all)
        : m_all(all)
    {
    }
    void show(std::size_t done) const;
    /// Before a line is written, and at the end.
    void hide() const;

private:
    std::size_t m_all;
};

} // namespace mv::cli
