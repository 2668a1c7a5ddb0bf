#pragma once

#include <exception>
#include <utility>

namespace mv {

/// Keeps what callbacks throw from running through the bus library, until it can come out on this side of it.
class CallbackGuard {
public:
    template <class Callback> void run(const Callback& callback) noexcept
    {
        try {
            callback();
        } catch (...) {
            if (!m_thrown)
                m_thrown = std::current_exception();
        }
    }
    /// Throws what was thrown first since the last time.
    void rethrow()
    {
        if (auto thrown = std::exchange(m_thrown, nullptr))
            std::rethrow_exception(thrown);
    }

private:
    std::exception_ptr m_thrown;
};

} // namespace mv
