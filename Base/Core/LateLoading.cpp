#include "Base/Core/LateLoading.h"

#include <atomic>

namespace mv {

namespace {

std::atomic<bool> s_isForbidden = false;

} // namespace

void forbidLateLoading() { s_isForbidden = true; }

void aboutToLoadLibrary()
{
    if (s_isForbidden)
        throw LibraryNotLoaded {};
}

} // namespace mv
