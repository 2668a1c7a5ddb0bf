#include "sandbox/Landlock.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace mv {

namespace {

// What a ruleset handles, in the layout of the newest kernels: the system's header may be older than the kernel.
struct Ruleset {
    std::uint64_t fileSystem;
    std::uint64_t network;
    std::uint64_t scoped;
};

constexpr std::uint64_t FirstFileSystemRights = (std::uint64_t { 1 } << 13) - 1; // execute to make symbolic links
constexpr std::uint64_t Refer = std::uint64_t { 1 } << 13;
constexpr std::uint64_t Truncate = std::uint64_t { 1 } << 14;
constexpr std::uint64_t DeviceControl = std::uint64_t { 1 } << 15;
constexpr std::uint64_t BindAndConnect = 3;
constexpr std::uint64_t AbstractSocketsAndSignals = 3;

/// Everything that a kernel of this version of the interface can deny.
Ruleset everything(long version)
{
    Ruleset all { FirstFileSystemRights, 0, 0 };
    if (version >= 2)
        all.fileSystem |= Refer;
    if (version >= 3)
        all.fileSystem |= Truncate;
    if (version >= 4)
        all.network = BindAndConnect;
    if (version >= 5)
        all.fileSystem |= DeviceControl;
    if (version >= 6)
        all.scoped = AbstractSocketsAndSignals;
    return all;
}

/// Bytes of a ruleset that a kernel of this version knows.
std::size_t rulesetBytes(long version)
{
    if (version >= 6)
        return sizeof(Ruleset);
    return version >= 4 ? offsetof(Ruleset, scoped) : offsetof(Ruleset, network);
}

UniqueFd createRuleset(long version)
{
    Ruleset all = everything(version);
    return UniqueFd(static_cast<int>(syscall(SYS_landlock_create_ruleset, &all, rulesetBytes(version), 0)));
}

} // namespace

Result<LandlockState> closeByLandlock()
{
    long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return LandlockState::Missing;
    UniqueFd ruleset = createRuleset(version);
    // Kernels with parts taken back from newer ones claim more than they take.
    while (!ruleset && errno == EINVAL && version > 1)
        ruleset = createRuleset(--version);
    if (!ruleset || syscall(SYS_landlock_restrict_self, ruleset.get(), 0) != 0)
        return Error { Error::Kind::State, formatText("Landlock: %s", std::strerror(errno)), errno };
    return LandlockState::Closed;
}

} // namespace mv
