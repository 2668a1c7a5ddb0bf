#pragma once

#include <memory>
#include <unistd.h>
#include <utility>

namespace mv {

/// Deleter for a C library's handle: std::unique_ptr<lame_global_flags, CloseWith<lame_close>>.
template <auto Close> struct CloseWith {
    template <class T> void operator()(T* handle) const noexcept { Close(handle); }
};

/// The same for libraries whose close function takes the address of the handle and clears it.
template <auto Close> struct CloseByAddress {
    template <class T> void operator()(T* handle) const noexcept { Close(&handle); }
};

/// Owns a file descriptor.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) noexcept
        : m_fd(fd)
    {
    }
    UniqueFd(UniqueFd&& other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }
    int release() noexcept { return std::exchange(m_fd, -1); }
    void reset(int fd = -1) noexcept
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

/// Runs a function at the end of the scope.
template <class Function> class [[nodiscard]] ScopeGuard {
public:
    explicit ScopeGuard(Function function)
        : m_function(std::move(function))
    {
    }
    ScopeGuard(const ScopeGuard&) = delete;
    ScopeGuard& operator=(const ScopeGuard&) = delete;
    ~ScopeGuard()
    {
        if (m_armed)
            m_function();
    }
    void dismiss() { m_armed = false; }

private:
    Function m_function;
    bool m_armed = true;
};

} // namespace mv
