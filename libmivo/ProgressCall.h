#pragma once

#include <exception>
#include <mivo/Client.h>

namespace mivo {

/// A user's Progress, called where nothing may be thrown.
class ProgressCall {
public:
    explicit ProgressCall(const Progress& progress)
        : m_progress(progress)
    {
    }

    /// False when the job is to end.
    bool goesOn(int percent) noexcept
    {
        try {
            return !m_progress || m_progress(percent);
        } catch (...) {
            m_thrown = std::current_exception();
            return false;
        }
    }
    /// Raises what the Progress threw.
    void rethrow() const
    {
        if (m_thrown)
            std::rethrow_exception(m_thrown);
    }

private:
    const Progress& m_progress;
    std::exception_ptr m_thrown;
};

} // namespace mivo
