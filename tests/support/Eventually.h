#pragma once

#include <chrono>
#include <thread>

namespace mv::test {

/// How long tests wait for what another thread or process is to do: longer than any machine takes, however loaded, so
/// that the end of it means never. Nothing waits so long unless it fails.
inline constexpr std::chrono::milliseconds Patience { 120'000 };

/// Asks until it is so; false when it never is.
template <class Condition> bool eventually(const Condition& isSo, std::chrono::milliseconds patience = Patience)
{
    auto end = std::chrono::steady_clock::now() + patience;
    while (!isSo()) {
        if (std::chrono::steady_clock::now() >= end)
            return isSo();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace mv::test
