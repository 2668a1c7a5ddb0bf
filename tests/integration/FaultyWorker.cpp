#include "Base/Core/ByteReader.h"
#include "Base/Core/NSBundle.h"
#include "Base/Media/MediaDB.h"
#include "process/ChildProgram.h"
#include "service/job/Messages.h"
#include "service/job/ReadingJob.h"
#include "service/job/RecordCode.h"
#include "service/worker/Worker.h"
#include "service/worker/WorkerProgram.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <poll.h>
#include <seccomp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

// Lies in the place of mivo-worker beside a copy of the service, and is the same program, but for what the name of a
// job's file asks for: "crash-at-plan.mp3". What stands in a file "fault" beside it keeps it from closing. The product
// knows nothing of either.

using namespace mv;

namespace {

constexpr std::string_view Separator = "-at-";

bool socketsWork = false;

// ---- What keeps it from closing

void runSecondThread()
{
    std::thread([] { pause(); }).detach();
}

/// As in a kernel that has none.
void refuseFilters()
{
    std::unique_ptr<void, decltype(&seccomp_release)> filter(seccomp_init(SCMP_ACT_ALLOW), seccomp_release);
    seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(seccomp), 0);
    seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(prctl), 1, SCMP_A0_32(SCMP_CMP_EQ, PR_SET_SECCOMP));
    if (seccomp_load(filter.get()) != 0)
        std::abort();
}

void sayOtherVersion()
{
    Bytes facts;
    encodeRecord({ { ReadyVersion, std::string("0.0") } }, facts);
    static_cast<void>(Channel(UniqueFd(dup(ChildProgram::SocketDescriptor))).send(kindOf(Message::Ready), facts));
}

void prepareFault()
{
    std::ifstream file(NSBundle::mainBundle().bundlePath().text() + "/fault");
    std::string fault;
    file >> fault;
    if (fault == "thread")
        runSecondThread();
    else if (fault == "filter")
        refuseFilters();
    else if (fault == "self-test")
        socketsWork = true;
    else if (fault == "version")
        sayOtherVersion();
}

// ---- What it does to jobs

enum class Moment { None, Job, Reply, Plan, Check, Answer };

struct Wish {
    Moment moment = Moment::None;
    std::string deed;
};

bool isLetter(std::uint8_t byte) { return byte >= 'a' && byte <= 'z'; }

Wish wishIn(ByteView job)
{
    std::string_view text(reinterpret_cast<const char*>(job.data()), job.size());
    std::size_t place = text.find(Separator);
    if (place == text.npos)
        return {};
    std::size_t begin = place;
    while (begin > 0 && isLetter(job[begin - 1]))
        --begin;
    std::string_view moment = text.substr(place + Separator.size());
    Wish wish { Moment::None, std::string(text.substr(begin, place - begin)) };
    for (auto [word, value] :
        { std::pair("job", Moment::Job), std::pair("reply", Moment::Reply), std::pair("plan", Moment::Plan),
            std::pair("check", Moment::Check), std::pair("answer", Moment::Answer) }) {
        if (moment.starts_with(word))
            wish.moment = value;
    }
    return wish;
}

[[noreturn]] void crash()
{
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
    std::abort();
}

[[noreturn]] void hang()
{
    for (std::atomic<unsigned> turns = 0;; ++turns) { }
}

[[noreturn]] void wait()
{
    while (true)
        poll(nullptr, 0, -1);
}

/// What is left for the job is next to nothing.
void takeMemory()
{
    for (std::size_t size = 64 << 20; size >= 1024; size /= 2) {
        while (void* piece = std::malloc(size))
            std::memset(piece, 1, size);
    }
}

void sendGarbage(Channel& host) { static_cast<void>(host.send(66, Bytes(100, 0xEE))); }

/// A description as it should be, of another file.
void sendLie(Channel& host)
{
    Record record { { MediaDBCommonColumnFilePath, "/etc/passwd" }, { MediaDBCommonColumnFileName, "passwd" },
        { MediaDBCommonColumnFileSize, std::int64_t { 1 } }, { MediaDBMusicColumnTitle, "A lie" } };
    static_cast<void>(host.send(kindOf(Message::Answer), encodeAnswer(std::optional(std::move(record)))));
}

void sendBytes(const Channel& host, const Bytes& bytes)
{
    static_cast<void>(::send(host.socket(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

/// The announcement of a message that is longer by one byte than any.
void sendTooMuch(Channel& host)
{
    Bytes header;
    ByteWriter writer(header);
    writer.u32le(static_cast<std::uint32_t>(MaxWorkerMessageBytes) + 1);
    writer.u8(kindOf(Message::Answer));
    sendBytes(host, header);
}

void chatter(Channel& host)
{
    for (int i = 0; i < 100'000; ++i)
        static_cast<void>(host.send(kindOf(Message::Log), Bytes(1024, 'x')));
}

/// Longer than anybody waits for one who says nothing.
void work(Channel& host)
{
    for (int i = 0; i < 4; ++i) {
        poll(nullptr, 0, 20'000);
        static_cast<void>(host.send(kindOf(Message::Working), {}));
    }
}

void act(const std::string& deed, Channel& host)
{
    if (deed == "crash")
        crash();
    if (deed == "abort")
        std::abort();
    if (deed == "trap")
        syscall(SYS_ptrace, 0, 0, 0, 0);
    if (deed == "kill")
        std::raise(SIGKILL);
    if (deed == "leave")
        _exit(0);
    if (deed == "hang")
        hang();
    if (deed == "silence")
        wait();
    if (deed == "memory")
        takeMemory();
    if (deed == "chatter")
        chatter(host);
    if (deed == "garbage")
        sendGarbage(host);
    if (deed == "lie")
        sendLie(host);
    if (deed == "needs")
        static_cast<void>(host.send(kindOf(Message::NeedsMedia), {}));
    if (deed == "works")
        work(host);
    if (deed == "turn")
        static_cast<void>(host.send(kindOf(Message::Ready), {}));
    if (deed == "kind")
        static_cast<void>(host.send(250, {}));
    if (deed == "length")
        sendTooMuch(host);
    if (deed == "half") {
        sendBytes(host, { 100, 0, 0, 0, 66, 1, 2, 3 });
        _exit(0);
    }
}

Moment momentOf(const Frame& frame)
{
    switch (static_cast<Message>(frame.kind)) {
    case Message::ReadingJob:
    case Message::WritingJob:
    case Message::MediaJob:
        return Moment::Job;
    case Message::Reply:
        return Moment::Reply;
    case Message::Plan:
        return Moment::Plan;
    case Message::Check:
        return Moment::Check;
    case Message::Answer:
        return Moment::Answer;
    default:
        return Moment::None;
    }
}

/// Stands between the host and the jobs, and lets everything through up to the moment of the wish.
class Between {
public:
    Between(Channel& host, Channel& jobs)
        : m_host(host)
        , m_jobs(jobs)
    {
    }

    void run()
    {
        while (true) {
            pollfd both[] = { { m_host.socket(), POLLIN, 0 }, { m_jobs.socket(), POLLIN, 0 } };
            poll(both, 2, m_host.holdsMore() || m_jobs.holdsMore() ? 0 : -1);
            if ((both[1].revents || m_jobs.holdsMore()) && !pass(m_jobs, m_host))
                return;
            if ((both[0].revents || m_host.holdsMore()) && !pass(m_host, m_jobs))
                return;
        }
    }

private:
    bool pass(Channel& from, Channel& to)
    {
        auto frame = from.receive(Channel::NoDeadline, Channel::MaxDescriptors);
        if (!frame || !*frame)
            return false;
        Moment moment = momentOf(**frame);
        if (moment == Moment::Job && m_isSpoilt)
            crash();
        if (moment == Moment::Job)
            m_wish = wishIn((*frame)->payload);
        m_isSpoilt |= m_wish.deed == "spoil";
        if (moment != Moment::None && moment == m_wish.moment) {
            act(m_wish.deed, m_host);
            if (m_wish.deed == "needs")
                return true; // the job is over with that
        }
        std::vector<int> descriptors;
        for (const UniqueFd& descriptor : (*frame)->descriptors)
            descriptors.push_back(descriptor.get());
        return to.send((*frame)->kind, (*frame)->payload, descriptors).ok();
    }

    Channel& m_host;
    Channel& m_jobs;
    Wish m_wish;
    bool m_isSpoilt = false; ///< taken over by one file, it ends over the next
};

} // namespace

/// The self-test of a process that could not be closed finds that this works.
extern "C" int socket(int domain, int type, int protocol) noexcept
{
    return socketsWork ? dup(0) : static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

int main(int count, char** words)
{
    auto ends = Channel::makeEnds(); // before everything is closed
    if (!ends)
        return 1;
    prepareFault();
    return runWorkerProgram(count, words, [&ends](Channel& host) -> Result<void> {
        Channel inner(std::move(ends->first));
        Channel outer(std::move(ends->second));
        std::thread jobs([&inner] { static_cast<void>(serveJobs(inner)); });
        Between(host, outer).run();
        _exit(0);
    });
}
