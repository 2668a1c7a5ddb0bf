#pragma once

namespace mv::test {

/// Whether the sanitizers' run-time library is in this program, and in the others of this build. It makes system calls
/// of its own and maps terabytes.
constexpr bool isInstrumented()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return true;
#else
    return false;
#endif
#else
    return false;
#endif
}

} // namespace mv::test

/// Skips a test of closed processes where they could not work.
#define MV_NEEDS_CLOSED_PROCESSES()                                                                                    \
    if (::mv::test::isInstrumented())                                                                                  \
    GTEST_SKIP() << "the sanitizers' library makes system calls of its own"
