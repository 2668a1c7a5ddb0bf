#include "service/media1/TagWriter.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"
#include "service/isolated/WritingTalk.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace mv {

namespace {

// Behind those of MediaOperation.
constexpr int SetTagsDeed = 64;

std::string shownName(const EditableFile& file) { return std::string(file.opened().path().lastPathComponent()); }

MediaError tagError(MediaErrorKind kind, const std::string& name, const std::string& reason = {})
{
    const char* form = "The tags of \"%s\" cannot be written.";
    switch (kind) {
    case MediaErrorKind::NotFound:
        form = "There is no file \"%s\".";
        break;
    case MediaErrorKind::AccessDenied:
        form = "\"%s\" may not be written.";
        break;
    case MediaErrorKind::Unsupported:
        form = "Tags of \"%s\" are not written, as of what it is or holds.";
        break;
    case MediaErrorKind::TooLarge:
        form = "The tags of \"%s\" would be larger than can be written.";
        break;
    case MediaErrorKind::NoSpace:
        form = "There is no room for the new content of \"%s\".";
        break;
    case MediaErrorKind::TimedOut:
        form = "Writing the tags of \"%s\" took too long and was given up.";
        break;
    case MediaErrorKind::Crashed:
        form = "The process that looked after the tags of \"%s\" died; the file is as it was.";
        break;
    case MediaErrorKind::Cancelled:
        form = "Writing the tags of \"%s\" was cancelled.";
        break;
    default:
        break;
    }
    std::string sentence = formatText(form, cleanedUtf8(name).c_str());
    if (!reason.empty() && (kind == MediaErrorKind::Failed || kind == MediaErrorKind::Unsupported)) {
        sentence.pop_back();
        sentence += ": " + cleanedUtf8(reason) + ".";
    }
    return { kind, std::move(sentence) };
}

bool saysNoSpace(int code) { return code == ENOSPC || code == EDQUOT || code == EFBIG; }

} // namespace

MediaErrorKind tagErrorKind(const Error& error)
{
    if (saysNoSpace(error.code))
        return MediaErrorKind::NoSpace;
    switch (error.kind) {
    case Error::Kind::NotFound:
        return MediaErrorKind::NotFound;
    case Error::Kind::Access:
        return MediaErrorKind::AccessDenied;
    case Error::Kind::Unsupported:
        return MediaErrorKind::Unsupported;
    case Error::Kind::Limit:
        return MediaErrorKind::TooLarge;
    case Error::Kind::Cancelled:
        return MediaErrorKind::Cancelled;
    default:
        return MediaErrorKind::Failed;
    }
}

/// Holds a file as long as its change goes on.
class TagWriter::Turn {
public:
    Turn(TagWriter& writer, std::string path)
        : m_writer(writer)
        , m_path(std::move(path))
    {
        MutexLock hold(m_writer.m_lock);
        while (!m_writer.m_busy.insert(m_path).second)
            m_writer.m_changed.wait(m_writer.m_lock);
    }
    ~Turn()
    {
        MutexLock hold(m_writer.m_lock);
        m_writer.m_busy.erase(m_path);
        m_writer.m_changed.notify_all();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    TagWriter& m_writer;
    const std::string m_path;
};

bool TagWriter::isWritable(std::string_view mimeType)
{
    static constexpr std::array<std::string_view, 12> Types { "audio/mpeg", "audio/mp2", "audio/mp4", "audio/x-m4b",
        "video/mp4", "video/x-m4v", "audio/flac", "audio/x-vorbis+ogg", "audio/x-opus+ogg", "audio/x-wav",
        "audio/x-aiff", "audio/x-aifc" };
    return std::find(Types.begin(), Types.end(), mimeType) != Types.end();
}

void TagWriter::write(
    const MediaInput& input, const TagChanges& changes, const MediaCaller& caller, const Describe& describe)
{
    const Turn turn(*this, input.path());
    auto file = input.edit();
    const std::string name = input.shownName();
    const Facts before = describe(file->opened());
    const auto* type = before.get<std::string>(fact::MimeType);
    if (!type || !isWritable(*type))
        throw tagError(MediaErrorKind::Unsupported, name);
    if (auto writable = file->writable(); !writable)
        throw tagError(tagErrorKind(writable.error()), name);
    const FileDeed deed = deedOf(file->opened(), SetTagsDeed);
    if (m_crashes.isPoison(deed))
        throw tagError(MediaErrorKind::Crashed, name);
    if (m_deadlines.isPoison(deed))
        throw tagError(MediaErrorKind::TimedOut, name);
    if (caller.stop.stop_requested())
        throw tagError(MediaErrorKind::Cancelled, name);
    if (changes == TagChanges {})
        return; // nor does the tag get another form
    Bytes encoded = encodeTagChanges(changes);
    // What no format holds need not be sent, and might not fit into a message.
    if (encoded.size() > MaxTagBytes)
        throw tagError(MediaErrorKind::TooLarge, name);
    replace(*file, std::move(encoded), caller);
}

void TagWriter::replace(EditableFile& file, Bytes changes, const MediaCaller& caller)
{
    const std::string name = shownName(file);
    const FileDeed deed = deedOf(file.opened(), SetTagsDeed);
    auto loan = m_pool.fresh(WorkerKind::Light);
    if (!loan)
        throw tagError(MediaErrorKind::Failed, name, "no worker can be had: " + loan.error().text);
    WritingJob job { .operation = WritingOperation::SetTags, .file = file.opened() };
    job.debugLevel = currentDebugLevel();
    job.record.set(TagChangesColumn, std::move(changes));
    JobTalk talk(*loan->worker);
    WaitBudget budget(MediaWorkers::Patience);
    const AwaitFrame soon = within(budget, talk);
    WritingBroker broker(loan->worker->channel(), std::move(job), { .file = &file }, soon);
    loan->worker->allowProcessorTime(MediaWorkers::ProcessorTime);
    static_cast<void>(loan->worker->program().limitFileBytes(broker.fileBytes()));
    auto answer = [&] {
        std::stop_callback end(caller.stop, [&] { loan->worker->program().kill(); });
        return serveToTheEnd(talk, broker, soon);
    }();
    const auto& replacement = broker.replacement();
    if (replacement && *replacement)
        return talk.writeLog(); // whatever became of the worker behind it
    if (caller.stop.stop_requested())
        throw tagError(MediaErrorKind::Cancelled, name);
    talk.writeLog();
    // What nobody expects: above all that there is no memory for the change.
    if (answer && *answer && std::holds_alternative<RaisedException>(**answer))
        throw tagError(MediaErrorKind::TooLarge, name);
    if (answer && replacement)
        throw tagError(tagErrorKind(replacement->error()), name, replacement->error().text);
    if (answer)
        throw tagError(MediaErrorKind::Failed, name);
    const WorkerDeath death = talk.endOf(answer.error());
    NSLog("the worker that had %s was lost: %s", file.opened().path().c_str(), death.reason.c_str());
    bool isDeadline = death.blame == PoisonList::Death::Deadline;
    if (death.blame)
        (isDeadline ? m_deadlines : m_crashes).remember(deed, *death.blame);
    throw tagError(isDeadline ? MediaErrorKind::TimedOut : MediaErrorKind::Crashed, name);
}

} // namespace mv
