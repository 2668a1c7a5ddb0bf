// Whatever a worker may say, from the host's side: a job's whole conversation, over a socket. What the job works on
// notices when anything happens that no honest job of the kind could have asked for.
//
// An input is the kind of the job and messages, each a kind, two bytes of length, and a payload.

#include "Base/Core/ByteReader.h"
#include "service/isolated/HostColumns.h"
#include "service/isolated/WritingBroker.h"
#include "service/job/AnswerCheck.h"
#include "service/job/ReadingJob.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace mv;

namespace {

// With this in the first byte it is a reading job, else a writing one.
constexpr std::uint8_t IsReading = 0x80;
constexpr std::uint8_t HasDelegate = 0x10;
constexpr std::uint8_t Stops = 0x20;
constexpr std::uint8_t FailsToMake = 0x40;
// Behind this kind come bytes that are no frames.
constexpr std::uint8_t RawBytes = 0xff;
// More would not fit into the socket at once.
constexpr std::size_t MaxInput = 16'384;

constexpr std::string_view OldContent = "the content of a file before it is changed";

void check(bool isTrue)
{
    if (!isTrue)
        std::abort();
}

UniqueFd memoryFile(std::string_view content)
{
    UniqueFd fd(memfd_create("fuzz", MFD_CLOEXEC));
    check(fd && write(fd.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    return fd;
}

OpenedFile openedFile()
{
    FileAttributes attributes { .size = static_cast<std::int64_t>(OldContent.size()), .isRegularFile = true };
    auto file = std::make_shared<const InputFile>(InputFile::adopt(memoryFile(OldContent), OldContent.size()));
    return { Path("/music/in"), attributes, SharedSource(file) };
}

/// Makes of the plan what a replacement makes of it.
class File final : public EditableFile {
public:
    File()
        : EditableFile(openedFile())
    {
    }

    Result<void> writable() const override { return {}; }
    Result<FileReplacement::Outcome> replace(
        const FileReplacement::Plan& plan, const FileReplacement::Check& checkMade) override
    {
        check(!std::exchange(m_isReplaced, true));
        MV_TRY(current, InputFile::adopt(memoryFile(OldContent)));
        MV_TRY(content, plan(current));
        if (!content)
            return FileReplacement::Outcome::Unchanged;
        checkPlan(*content);
        UniqueFd target = memoryFile({});
        MV_TRY_VOID(writeContent(target.get(), current, *content));
        MV_TRY(made, InputFile::adopt(std::move(target)));
        check(made.size() == lengthOf(*content));
        MV_TRY_VOID(checkMade(made));
        return FileReplacement::Outcome::Replaced;
    }

private:
    static void checkPlan(const FileContent& content)
    {
        std::uint64_t copied = 0;
        for (const FileSegment& segment : content) {
            check(segment.isCopy || segment.length == segment.bytes.size());
            check(
                !segment.isCopy || (segment.offset >= copied && segment.offset + segment.length <= OldContent.size()));
            copied = segment.isCopy ? segment.offset + segment.length : copied;
        }
    }

    bool m_isReplaced = false;
};

class Output final : public OutputFile {
public:
    explicit Output(int& commits)
        : OutputFile(memoryFile({}))
        , m_commits(commits)
    {
    }
    Result<void> commit() override
    {
        check(++m_commits == 1);
        return {};
    }

private:
    int& m_commits;
};

class Listener final : public EncodingListener {
public:
    explicit Listener(bool stops)
        : m_stops(stops)
    {
    }

    void started() override { check(++m_starts == 1 && m_ends == 0); }
    bool shouldStop() override
    {
        check(m_starts == 1 && m_ends == 0 && !hasStopped);
        return hasStopped = m_stops;
    }
    void progress(float percent) override
    {
        check(m_starts == 1 && m_ends == 0 && !hasStopped && percent > m_percent);
        m_percent = percent;
    }
    void failed(std::int32_t code) override { check(++m_ends == 1 && code >= 1 && code <= 8 && code != 3); }
    void ended() override { check(++m_ends == 1 && m_starts == 1); }

    bool hasStopped = false;

private:
    bool m_stops;
    int m_starts = 0;
    int m_ends = 0;
    float m_percent = -1;
};

class Delegate final : public MVMP4ExporterDelegate {
public:
    explicit Delegate(bool stops)
        : m_stops(stops)
    {
    }
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        check(!m_hasStopped && percent >= 0 && percent <= 100);
        m_hasStopped = m_stops;
        return !m_stops;
    }

private:
    bool m_stops;
    bool m_hasStopped = false;
};

class Place final : public OutputPlace {
public:
    Place(WritingOperation operation, const Listener& listener, bool fails)
        : OutputPlace(Path("/music/out"))
        , m_operation(operation)
        , m_listener(listener)
        , m_fails(fails)
    {
    }

    Result<FileAttributes> attributes() const override { return FileAttributes { .size = 5, .isRegularFile = true }; }
    bool canHoldFile() const override { return !m_fails; }
    Result<void> clear() override
    {
        bool isEncoding = m_operation == WritingOperation::EncodeMp3;
        check(++m_clears == 1 && (isEncoding ? m_listener.hasStopped : m_files == 0));
        return {};
    }
    Result<std::unique_ptr<OutputFile>> create() override
    {
        check(++m_files == 1);
        if (m_fails)
            return Error { Error::Kind::Access, "no file", EACCES };
        return std::unique_ptr<OutputFile>(std::make_unique<Output>(m_commits));
    }
    UniqueFd openDescriptorInPlace(const OpenedFile&) override
    {
        check(++m_files == 1);
        return m_fails ? UniqueFd() : memoryFile({});
    }
    std::unique_ptr<EditableFile> edit() override
    {
        check(m_commits == 1 && ++m_edits == 1);
        return std::make_unique<File>();
    }

private:
    WritingOperation m_operation;
    const Listener& m_listener;
    bool m_fails;
    int m_clears = 0;
    int m_files = 0;
    int m_commits = 0;
    int m_edits = 0;
};

Bytes framesOf(ByteView messages)
{
    Bytes frames;
    ByteWriter out(frames);
    ByteReader in(messages);
    while (!in.atEnd() && !in.failed()) {
        std::uint8_t kind = in.u8();
        std::size_t length = kind == RawBytes ? in.remaining() : in.u16be();
        ByteView payload = in.take(std::min(length, in.remaining()));
        if (kind != RawBytes) {
            out.u32le(static_cast<std::uint32_t>(payload.size()));
            out.u8(kind);
        }
        out.bytes(payload);
    }
    return frames;
}

/// A worker that says everything at once, and hears nothing.
class Worker {
public:
    explicit Worker(ByteView messages)
        : Worker(messages, std::move(*Channel::makeEnds()))
    {
    }

    Channel& host() { return m_host; }
    Result<Frame> nextFrame()
    {
        while (true) {
            hear();
            MV_TRY(frame, m_host.receive());
            if (!frame)
                return Error { Error::Kind::Io, "gone" };
            if (frame->kind != kindOf(Message::Log) && frame->kind != kindOf(Message::Working))
                return std::move(*frame);
        }
    }

private:
    Worker(ByteView messages, std::pair<UniqueFd, UniqueFd> ends)
        : m_host(std::move(ends.first))
        , m_socket(std::move(ends.second))
    {
        Bytes frames = framesOf(messages);
        check(send(m_socket.get(), frames.data(), frames.size(), 0) == static_cast<ssize_t>(frames.size()));
        shutdown(m_socket.get(), SHUT_WR);
    }
    // So that the host never waits for it.
    void hear() const
    {
        std::array<char, 4096> heard;
        while (recv(m_socket.get(), heard.data(), heard.size(), MSG_DONTWAIT) > 0) { }
    }

    Channel m_host;
    UniqueFd m_socket;
};

void converse(WritingBroker& broker, Worker& worker)
{
    check(broker.start().ok());
    while (true) {
        auto frame = worker.nextFrame();
        auto answer = frame ? broker.serve(*frame) : frame.error();
        if (answer && !*answer)
            continue;
        if (!answer) {
            static_cast<void>(broker.trace());
            static_cast<void>(broker.answerOfDeath());
        }
        return;
    }
}

void writingJob(std::uint8_t kind, ByteView messages)
{
    auto operation = static_cast<WritingOperation>(1 + kind % static_cast<int>(LastWritingOperation));
    Worker worker(messages);
    Listener listener(kind & Stops);
    Delegate delegate(kind & Stops);
    Place place(operation, listener, kind & FailsToMake);
    File file;
    WritingBroker broker(worker.host(), { .operation = operation, .file = file.opened() },
        { .file = changesItsFile(operation) ? &file : nullptr,
            .place = &place,
            .listener = &listener,
            .delegate = kind & HasDelegate ? &delegate : nullptr },
        [&worker] { return worker.nextFrame(); });
    converse(broker, worker);
}

void readingJob(std::uint8_t kind, ByteView messages)
{
    ReadingJob job { static_cast<ReadingOperation>(1 + kind % static_cast<int>(LastReadingOperation)), openedFile() };
    Worker worker(messages);
    auto frame = worker.nextFrame();
    auto answer = frame ? decodeAnswer(job.operation, frame->payload) : frame.error();
    if (!answer || !checkAnswer(job.operation, *answer))
        return;
    if (auto* record = std::get_if<std::optional<Record>>(&*answer); record && *record)
        setHostColumns(**record, job);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0 || size > MaxInput)
        return 0;
    ByteView messages(data + 1, size - 1);
    if (data[0] & IsReading)
        readingJob(data[0] & 0x0f, messages);
    else
        writingJob(data[0], messages);
    return 0;
}
