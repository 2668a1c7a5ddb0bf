#include "sandbox/SyscallFilter.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sched.h>
#include <seccomp.h>
#include <span>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace mv {

namespace {

using Filter = std::unique_ptr<void, CloseWith<seccomp_release>>;

constexpr std::uint32_t Allow = SCMP_ACT_ALLOW;
constexpr std::uint32_t Refuse = SCMP_ACT_ERRNO(EPERM);
constexpr std::uint32_t Unavailable = SCMP_ACT_ERRNO(ENOSYS);
constexpr std::uint32_t Kill = SCMP_ACT_KILL_PROCESS;

/// System calls that are answered alike, whatever their arguments.
struct Group {
    std::uint32_t answer;
    const char* reason;
    std::span<const char* const> calls;
};

template <std::size_t N> using Calls = std::array<const char*, N>;

constexpr Calls<4> Memory { "brk", "munmap", "mremap", "madvise" };
constexpr Calls<17> Descriptors { "read", "readv", "pread64", "preadv", "write", "writev", "pwrite64", "pwritev",
    "lseek", "close", "fstat", "fstatfs", "dup", "fadvise64", "ftruncate", "poll", "ppoll" };
constexpr Calls<4> Messages { "sendmsg", "recvmsg", "sendto", "recvfrom" };
constexpr Calls<11> Threads { "futex", "set_robust_list", "rseq", "membarrier", "sched_yield", "sched_getaffinity",
    "gettid", "getpid", "exit", "exit_group", "getcpu" };
constexpr Calls<5> Signals { "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "sigaltstack", "restart_syscall" };
constexpr Calls<8> Time { "clock_gettime", "clock_getres", "clock_nanosleep", "nanosleep", "gettimeofday", "time",
    "getrandom", "getrusage" };
constexpr Calls<6> Facts { "sysinfo", "uname", "getuid", "geteuid", "getgid", "getegid" };
constexpr Calls<1> NewThread { "clone3" };
constexpr Calls<19> Names { "open", "openat", "openat2", "access", "faccessat", "faccessat2", "stat", "lstat",
    "newfstatat", "statx", "readlink", "readlinkat", "getcwd", "unlink", "unlinkat", "mkdir", "rename", "chdir",
    "getdents64" };
constexpr Calls<13> Others { "socket", "connect", "kill", "tkill", "sched_setscheduler", "sched_setaffinity",
    "setpriority", "getpriority", "ioctl", "get_mempolicy", "set_mempolicy", "mbind", "setrlimit" };
constexpr Calls<32> Attacks { "execve", "execveat", "fork", "vfork", "ptrace", "process_vm_readv", "process_vm_writev",
    "mount", "umount2", "pivot_root", "chroot", "unshare", "setns", "bpf", "io_uring_setup", "io_uring_enter",
    "io_uring_register", "userfaultfd", "perf_event_open", "keyctl", "add_key", "request_key", "pidfd_open",
    "pidfd_getfd", "pidfd_send_signal", "init_module", "finit_module", "delete_module", "kexec_load", "kexec_file_load",
    "reboot", "swapon" };

constexpr std::array Groups {
    Group { Allow, "memory; what makes it executable is asked below", Memory },
    Group { Allow, "descriptors that are open already: the input, an output, the log", Descriptors },
    Group { Allow, "the socket to the host", Messages },
    Group { Allow, "threads of this process, and its end", Threads },
    Group { Allow, "signals to itself", Signals },
    Group { Allow, "time and chance", Time },
    Group { Allow, "facts that libraries choose their ways by", Facts },
    Group { Unavailable, "its flags lie in memory, where no filter sees them; clone is tried next", NewThread },
    Group { Refuse, "libraries look for settings and devices, and do without", Names },
    Group { Refuse, "the same for the network, terminals and priorities", Others },
    Group { Kill, "nobody honest who decodes a file tries these", Attacks },
};

/// Whether an argument, masked, has a value.
struct Comparison {
    unsigned argument;
    std::uint64_t mask;
    std::uint64_t value;
};

/// A system call that is answered so where it is so, and the other is, too.
struct Condition {
    std::uint32_t answer;
    const char* call;
    Comparison first;
    std::optional<Comparison> second = std::nullopt;
};

constexpr std::uint64_t WholeArgument = ~std::uint64_t { 0 };
constexpr std::uint64_t IntArgument = 0xffffffff;
constexpr std::uint64_t ThreadFlags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD;
constexpr std::uint64_t NameMemory = 0x53564d41; // PR_SET_VMA, which older headers lack

std::array<Condition, 15> conditions()
{
    auto self = static_cast<std::uint64_t>(getpid());
    return { {
        // Shared memory without a file is what no limit counts; stacks that grow by themselves nobody needs.
        { Allow, "mmap", { 2, PROT_EXEC, 0 }, Comparison { 3, MAP_ANONYMOUS | MAP_GROWSDOWN, 0 } },
        { Allow, "mmap", { 2, PROT_EXEC, 0 },
            Comparison { 3, MAP_TYPE | MAP_ANONYMOUS | MAP_GROWSDOWN, MAP_PRIVATE | MAP_ANONYMOUS } },
        { Allow, "mprotect", { 2, PROT_EXEC, 0 } },
        { Refuse, "mmap", { 2, PROT_EXEC, PROT_EXEC } },
        { Refuse, "mprotect", { 2, PROT_EXEC, PROT_EXEC } },
        // Others would hold a file against everybody, or have any process of the user signalled through a descriptor.
        { Allow, "fcntl", { 1, IntArgument, F_DUPFD } },
        { Allow, "fcntl", { 1, IntArgument, F_DUPFD_CLOEXEC } },
        { Allow, "fcntl", { 1, IntArgument, F_GETFD } },
        { Allow, "fcntl", { 1, IntArgument, F_SETFD } },
        { Allow, "fcntl", { 1, IntArgument, F_GETFL } },
        // A thread, not a process.
        { Allow, "clone", { 0, ThreadFlags, ThreadFlags } },
        { Allow, "tgkill", { 0, IntArgument, self } },
        // To ask for limits, not to set them.
        { Allow, "prlimit64", { 2, WholeArgument, 0 } },
        { Allow, "prctl", { 0, IntArgument, PR_SET_NAME } },
        { Allow, "prctl", { 0, IntArgument, NameMemory } },
    } };
}

Error failure(const char* what, int code)
{
    return { Error::Kind::State, formatText("the filter of system calls: %s: %s", what, std::strerror(-code)), -code };
}

/// The call's number here, or nothing on an architecture that lacks it.
std::optional<int> numberOf(const char* call)
{
    int number = seccomp_syscall_resolve_name(call);
    return number >= 0 ? std::optional(number) : std::nullopt;
}

/// The library takes no rule that says what is said of every call without one.
Result<void> addGroup(const Filter& filter, const Group& group, std::uint32_t unknown)
{
    if (group.answer == unknown)
        return {};
    for (const char* call : group.calls) {
        auto number = numberOf(call);
        if (int code = number ? seccomp_rule_add(filter.get(), group.answer, *number, 0) : 0; code < 0)
            return failure(call, code);
    }
    return {};
}

Result<void> addCondition(const Filter& filter, const Condition& condition)
{
    auto number = numberOf(condition.call);
    if (!number)
        return {};
    auto asked = [](const Comparison& one) {
        return scmp_arg_cmp { one.argument, SCMP_CMP_MASKED_EQ, one.mask, one.value };
    };
    const scmp_arg_cmp both[] { asked(condition.first), asked(condition.second.value_or(condition.first)) };
    const unsigned count = condition.second ? 2 : 1;
    if (int code = seccomp_rule_add_array(filter.get(), condition.answer, *number, count, both); code < 0)
        return failure(condition.call, code);
    return {};
}

Result<Filter> makeFilter(UnknownCall unknown)
{
    std::uint32_t otherwise = unknown == UnknownCall::Refused ? Unavailable : SCMP_ACT_TRAP;
    Filter filter(seccomp_init(otherwise));
    if (!filter)
        return failure("init", -ENOMEM);
    // A call in the form of another architecture would have other numbers.
    if (int code = seccomp_attr_set(filter.get(), SCMP_FLTATR_ACT_BADARCH, Kill); code < 0)
        return failure("architecture", code);
    // A tree of comparisons: 50 ns less for a call than a list. Older libraries do without.
    static_cast<void>(seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2));
    for (const Group& group : Groups)
        MV_TRY_VOID(addGroup(filter, group, otherwise));
    for (const Condition& condition : conditions())
        MV_TRY_VOID(addCondition(filter, condition));
    return filter;
}

} // namespace

Result<void> closeBySyscallFilter(UnknownCall unknown)
{
    MV_TRY(filter, makeFilter(unknown));
    if (int code = seccomp_load(filter.get()); code < 0)
        return failure("load", code);
    return {};
}

} // namespace mv
