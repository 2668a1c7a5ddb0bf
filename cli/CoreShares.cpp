#include "cli/CoreShares.h"

#include "service/include/EncodingWish.h"

#include <algorithm>

namespace mv::cli {

CoreShares coreShares(const Arguments& arguments, std::size_t files, unsigned machine)
{
    machine = std::max(1u, machine);
    const auto wanted = static_cast<std::uint32_t>(arguments.number("cores", 0));
    const unsigned room = std::max(1u, machine / std::max(1u, wanted));
    const auto most = static_cast<std::size_t>(arguments.number("jobs", static_cast<int>(room)));
    const std::size_t jobs = std::clamp<std::size_t>(most, 1, std::max<std::size_t>(files, 1));
    if (jobs == 1)
        return { 1, wanted };
    const auto share = static_cast<std::uint32_t>(std::clamp<std::size_t>(machine / jobs, 1, MaxEncodingCores));
    return { jobs, wanted == 0 ? share : std::min(wanted, share) };
}

} // namespace mv::cli
