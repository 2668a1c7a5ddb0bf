#include "tests/sandbox/ClosedChild.h"

#include "Base/Core/Handle.h"
#include "tests/support/Instrumented.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <ostream>
#include <sched.h>
#include <string>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/xattr.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

// What a process would try that a hostile file has taken over, on files that its user owns.

namespace mv {
namespace {

/// What the attacker has: a descriptor for reading, and the names of files.
struct Place {
    int input;
    int program; ///< a descriptor of one that ends with 1
    std::string inputName;
    std::string victim;
    std::string owned; ///< a name that is free
};

/// What an attack is besides one that a closed process must not succeed with.
enum Facts : unsigned {
    NoFacts = 0,
    LandlockHolds = 1, ///< the lock of the file system alone holds too
    Works = 2, ///< succeeds in an open process wherever tests run, which shows that the attack is one
};

struct Attack {
    const char* name;
    bool (*succeeds)(const Place&);
    unsigned facts = NoFacts;
};

void PrintTo(const Attack& attack, std::ostream* out) { *out << attack.name; }

bool worked(long result) { return result >= 0; }

bool connects(const sockaddr_un& address, socklen_t length)
{
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return fd >= 0 && connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
}

bool connectsToTheSystemBus(const Place&)
{
    sockaddr_un address { AF_UNIX, "/run/dbus/system_bus_socket" };
    return connects(address, sizeof address) || socket(AF_UNIX, SOCK_STREAM, 0) >= 0;
}

bool connectsToAnAbstractSocket(const Place&)
{
    sockaddr_un address { AF_UNIX, "" };
    return connects(address, sizeof address) || socket(AF_UNIX, SOCK_DGRAM, 0) >= 0;
}

bool readsItsParentsMemory(const Place&)
{
    static char word[8];
    iovec here { word, sizeof word };
    iovec there { word, sizeof word };
    return process_vm_readv(getppid(), &here, 1, &there, 1, 0) >= 0;
}

// Who comes back from these was refused; the program ends with 1, as an attack that worked does.
bool runsAProgram(const Place&)
{
    char name[] = "/bin/false";
    char* words[] = { name, nullptr };
    execv(name, words);
    return false;
}

bool runsAProgramByItsDescriptor(const Place& place)
{
    char name[] = "false";
    char* words[] = { name, nullptr };
    syscall(SYS_execveat, place.program, "", words, nullptr, AT_EMPTY_PATH);
    return false;
}

bool writesExecutableMemory(const Place&)
{
    return mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
}

bool makesMemoryExecutable(const Place&)
{
    void* page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return page != MAP_FAILED && mprotect(page, 4096, PROT_READ | PROT_EXEC) == 0;
}

bool widensItsLimits(const Place&)
{
    const rlimit wide { RLIM_INFINITY, RLIM_INFINITY };
    return setrlimit(RLIMIT_CPU, &wide) == 0 || setrlimit(RLIMIT_FSIZE, &wide) == 0;
}

bool locksItsInput(const Place& place)
{
    struct flock whole { };
    whole.l_type = F_RDLCK;
    return fcntl(place.input, F_SETLK, &whole) == 0;
}

bool typesIntoTheTerminal(const Place&)
{
    char letter = 'x';
    return ioctl(0, TIOCSTI, &letter) == 0;
}

const Attack Attacks[] = {
    { "ReadAFile", [](const Place& p) { return worked(open(p.victim.c_str(), O_RDONLY)); }, LandlockHolds | Works },
    { "AskForAFile",
        [](const Place& p) {
            struct stat facts { };
            return worked(syscall(SYS_newfstatat, AT_FDCWD, p.victim.c_str(), &facts, AT_EMPTY_PATH));
        },
        Works },
    { "AskForAFileByTheNewerCall",
        [](const Place& p) {
            struct statx facts { };
            return worked(statx(AT_FDCWD, p.victim.c_str(), AT_EMPTY_PATH, STATX_BASIC_STATS, &facts));
        },
        Works },
    { "ReadTheUsersList", [](const Place&) { return worked(open("/etc/passwd", O_RDONLY)); }, LandlockHolds | Works },
    { "ReadItsOwnMemoryFile", [](const Place&) { return worked(open("/proc/self/mem", O_RDWR)); },
        LandlockHolds | Works },
    { "ReadItsParentsEnvironment",
        [](const Place&) {
            return worked(open(("/proc/" + std::to_string(getppid()) + "/environ").c_str(), O_RDONLY));
        },
        LandlockHolds | Works },
    { "OpenItsInputAgainToWrite",
        [](const Place& p) { return worked(open(("/proc/self/fd/" + std::to_string(p.input)).c_str(), O_RDWR)); },
        LandlockHolds | Works },
    { "OpenItsInputByName", [](const Place& p) { return worked(open(p.inputName.c_str(), O_RDWR)); },
        LandlockHolds | Works },
    { "ListAFolder", [](const Place&) { return worked(open("/", O_RDONLY | O_DIRECTORY)); }, LandlockHolds | Works },
    { "MakeAFile", [](const Place& p) { return worked(open(p.owned.c_str(), O_WRONLY | O_CREAT, 0600)); },
        LandlockHolds | Works },
    { "MakeANamelessFile", [](const Place&) { return worked(open("/tmp", O_TMPFILE | O_RDWR, 0600)); },
        LandlockHolds | Works },
    { "MakeAFolder", [](const Place& p) { return worked(mkdir(p.owned.c_str(), 0700)); }, LandlockHolds | Works },
    { "MakeALink", [](const Place& p) { return worked(symlink(p.victim.c_str(), p.owned.c_str())); },
        LandlockHolds | Works },
    { "RemoveAFile", [](const Place& p) { return worked(unlink(p.victim.c_str())); }, LandlockHolds | Works },
    { "RenameAFile", [](const Place& p) { return worked(rename(p.victim.c_str(), p.owned.c_str())); },
        LandlockHolds | Works },
    { "TruncateAFile", [](const Place& p) { return worked(truncate(p.victim.c_str(), 0)); }, LandlockHolds | Works },
    { "WriteToItsInput", [](const Place& p) { return worked(pwrite(p.input, "x", 1, 0)); }, LandlockHolds },
    { "UpgradeItsInput",
        [](const Place& p) { return fcntl(p.input, F_SETFL, O_RDWR) == 0 && worked(pwrite(p.input, "x", 1, 0)); },
        LandlockHolds },
    { "ChangeItsInputsMode", [](const Place& p) { return worked(fchmod(p.input, 0777)); }, Works },
    { "ChangeItsInputsOwner", [](const Place& p) { return worked(fchown(p.input, getuid(), getgid())); }, Works },
    { "ChangeItsInputsTimes", [](const Place& p) { return worked(futimens(p.input, nullptr)); }, Works },
    { "TagItsInput", [](const Place& p) { return worked(fsetxattr(p.input, "user.x", "y", 1, 0)); } },
    { "UnlockItsInput", [](const Place& p) { return flock(p.input, LOCK_UN) == 0; }, Works },
    { "LockItsInput", locksItsInput, Works },
    { "LeaseItsInput", [](const Place& p) { return fcntl(p.input, F_SETLEASE, F_RDLCK) == 0; } },
    { "HaveItsParentSignalled", [](const Place& p) { return fcntl(p.input, F_SETOWN, getppid()) == 0; }, Works },
    { "HaveItKilled", [](const Place& p) { return fcntl(p.input, F_SETSIG, SIGKILL) == 0; }, Works },
    { "MakeANetworkSocket", [](const Place&) { return worked(socket(AF_INET, SOCK_STREAM, 0)); } },
    { "MakeANetlinkSocket", [](const Place&) { return worked(socket(AF_NETLINK, SOCK_RAW, 0)); }, Works },
    { "MakeAPairOfSockets",
        [](const Place&) {
            int ends[2];
            return socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0;
        },
        Works },
    { "ConnectToTheBus", connectsToTheSystemBus, Works },
    { "ConnectToAnAbstractSocket", connectsToAnAbstractSocket, Works },
    { "RunAProgram", runsAProgram, Works },
    { "RunAnOpenProgram", runsAProgramByItsDescriptor, Works },
    { "Fork", [](const Place&) { return worked(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0)); }, Works },
    { "ForkByTheNewerCall", [](const Place&) { return worked(syscall(SYS_clone3, nullptr, 0)); } },
    { "TraceItsParent", [](const Place&) { return worked(ptrace(PTRACE_ATTACH, getppid(), 0, 0)); } },
    { "ReadItsParentsMemory", readsItsParentsMemory },
    { "SignalItsParent", [](const Place&) { return worked(kill(getppid(), 0)); } },
    { "SignalAThreadOfItsParent", [](const Place&) { return worked(syscall(SYS_tgkill, getppid(), getppid(), 0)); } },
    { "HoldItsParent", [](const Place&) { return worked(syscall(SYS_pidfd_open, getppid(), 0)); } },
    { "MapExecutableMemory", writesExecutableMemory, Works },
    { "MapMemoryThatNoLimitCounts",
        [](const Place&) {
            return mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
        },
        Works },
    { "MakeMemoryExecutable", makesMemoryExecutable, Works },
    { "MakeANamelessProgram", [](const Place&) { return worked(memfd_create("x", 0)); }, Works },
    { "MakeARing", [](const Place&) { return worked(syscall(SYS_io_uring_setup, 4, nullptr)); } },
    { "LoadIntoTheKernel", [](const Place&) { return worked(syscall(SYS_bpf, 0, nullptr, 0)); } },
    { "MakeANamespace", [](const Place&) { return worked(unshare(CLONE_NEWUSER)); } },
    { "AskForKeys", [](const Place&) { return worked(syscall(SYS_keyctl, 0, 0)); } },
    { "HandleItsOwnFaults", [](const Place&) { return worked(syscall(SYS_userfaultfd, 0)); } },
    { "WidenItsLimits", widensItsLimits },
    { "TypeIntoTheTerminal", typesIntoTheTerminal },
    { "TakeTheFilterOff", [](const Place&) { return prctl(PR_SET_SECCOMP, 0, 0, 0, 0) == 0; } },
    { "LetOthersLookIntoIt", [](const Place&) { return prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) == 0; }, Works },
#ifdef __x86_64__
    { "CallInAnotherForm", [](const Place&) { return worked(syscall(0x40000000 + SYS_getpid)); } },
#endif
};

bool hasFact(const Attack& attack, Facts fact) { return (attack.facts & fact) != 0; }

std::vector<Attack> attacksWith(Facts fact)
{
    std::vector<Attack> found;
    std::copy_if(std::begin(Attacks), std::end(Attacks), std::back_inserter(found),
        [&](const Attack& attack) { return hasFact(attack, fact); });
    return found;
}

class Traitor : public testing::TestWithParam<Attack> {
protected:
    void SetUp() override { MV_NEEDS_CLOSED_PROCESSES(); }

    Place place() const { return { m_input.get(), m_program.get(), m_inputName, m_victim, m_folder.file("owned") }; }
    /// The attack's code, for a child: 1 where it succeeds.
    int attack() const { return GetParam().succeeds(place()) ? 1 : 0; }

    void expectRefused(test::Locks locks)
    {
        test::ChildEnd end = test::inClosedChild(locks, [this] { return attack(); });
        if (locks == test::Locks::LandlockAlone && end.exitCode == test::CouldNotClose)
            GTEST_SKIP() << "this kernel has no Landlock";
        EXPECT_TRUE(end.exitCode == 0 || end.signal == SIGSYS) << "exit " << end.exitCode << ", signal " << end.signal;
        EXPECT_EQ(charsOf(test::readFile(m_inputName)), "somebody's music");
        EXPECT_EQ(charsOf(test::readFile(m_victim)), "somebody's letters");
        EXPECT_NE(access(place().owned.c_str(), F_OK), 0);
    }

private:
    test::ScratchFolder m_folder;
    std::string m_inputName = m_folder.write("input", "somebody's music");
    std::string m_victim = m_folder.write("victim", "somebody's letters");
    UniqueFd m_input { open(m_inputName.c_str(), O_RDONLY | O_CLOEXEC) };
    UniqueFd m_program { open("/bin/false", O_RDONLY | O_CLOEXEC) };
};

std::string nameOf(const testing::TestParamInfo<Attack>& info) { return info.param.name; }

class ClosedTraitor : public Traitor { };
TEST_P(ClosedTraitor, IsRefused) { expectRefused(test::Locks::All); }
TEST_P(ClosedTraitor, IsRefusedByTheFilterAlone) { expectRefused(test::Locks::FilterAlone); }
INSTANTIATE_TEST_SUITE_P(Every, ClosedTraitor, testing::ValuesIn(Attacks), nameOf);

class TraitorAmongFiles : public Traitor { };
TEST_P(TraitorAmongFiles, IsRefusedByLandlockAlone) { expectRefused(test::Locks::LandlockAlone); }
INSTANTIATE_TEST_SUITE_P(Every, TraitorAmongFiles, testing::ValuesIn(attacksWith(LandlockHolds)), nameOf);

class OpenTraitor : public Traitor { };
TEST_P(OpenTraitor, Succeeds)
{
    EXPECT_EQ(test::inChild([this] { return attack(); }).exitCode, 1);
}
INSTANTIATE_TEST_SUITE_P(Every, OpenTraitor, testing::ValuesIn(attacksWith(Works)), nameOf);

} // namespace
} // namespace mv
