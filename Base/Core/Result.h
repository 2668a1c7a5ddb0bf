#pragma once

#include "Base/Core/Error.h"

#include <cassert>
#include <optional>
#include <utility>
#include <variant>

namespace mv {

/// A value or the Error that kept it from being made.
template <class T> class [[nodiscard]] Result {
public:
    Result(T value)
        : m_state(std::in_place_index<0>, std::move(value))
    {
    }
    Result(Error error)
        : m_state(std::in_place_index<1>, std::move(error))
    {
    }

    bool ok() const noexcept { return m_state.index() == 0; }
    explicit operator bool() const noexcept { return ok(); }

    /// Only when ok().
    T& value() &
    {
        assert(ok());
        return *std::get_if<0>(&m_state);
    }
    const T& value() const&
    {
        assert(ok());
        return *std::get_if<0>(&m_state);
    }
    T&& value() &&
    {
        assert(ok());
        return std::move(*std::get_if<0>(&m_state));
    }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T&& operator*() && { return std::move(*this).value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    /// Only when not ok().
    const Error& error() const
    {
        assert(!ok());
        return *std::get_if<1>(&m_state);
    }

private:
    std::variant<T, Error> m_state;
};

template <> class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error)
        : m_error(std::move(error))
    {
    }

    bool ok() const noexcept { return !m_error; }
    explicit operator bool() const noexcept { return ok(); }
    const Error& error() const
    {
        assert(!ok());
        return *m_error;
    }

private:
    std::optional<Error> m_error;
};

} // namespace mv

#define MV_CONCAT_INNER(a, b) a##b
#define MV_CONCAT(a, b) MV_CONCAT_INNER(a, b)

/// MV_TRY(name, expression): declares `name` as the value of a Result, or returns its error to the caller.
#define MV_TRY(name, expression)                                                                                       \
    auto MV_CONCAT(mvResult, __LINE__) = (expression);                                                                 \
    if (!MV_CONCAT(mvResult, __LINE__).ok())                                                                           \
        return MV_CONCAT(mvResult, __LINE__).error();                                                                  \
    auto name = std::move(MV_CONCAT(mvResult, __LINE__)).value()

/// The same for a result whose value is of no interest.
#define MV_TRY_VOID(expression)                                                                                        \
    do {                                                                                                               \
        if (auto mvResult = (expression); !mvResult.ok())                                                              \
            return mvResult.error();                                                                                   \
    } while (false)
