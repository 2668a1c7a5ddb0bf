#include "cli/Mirroring.h"

#include "Base/Core/Text.h"
#include "cli/CallsInOrder.h"
#include "cli/CoreShares.h"
#include "cli/FactReading.h"
#include "cli/FileProgress.h"
#include "cli/FileTexts.h"
#include "cli/Interruption.h"
#include "cli/JobFolder.h"
#include "cli/JobNames.h"
#include "cli/MirrorFolders.h"
#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/SoundJobs.h"
#include "cli/Terminal.h"
#include "cli/mirror/SoundNames.h"
#include "cli/text/ReadableText.h"
#include "system/InputFile.h"
#include "system/OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <set>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr std::size_t CopyBlock = 1u << 20;

Result<void> copyFile(const std::string& from, const std::string& to)
{
    MV_TRY(source, InputFile::open(from));
    MV_TRY(target, OutputFile::createNew(to));
    Bytes block(CopyBlock);
    for (std::uint64_t offset = 0; offset < source.size();) {
        MV_TRY(got, source.readAt(offset, block));
        if (got == 0)
            return Error { Error::Kind::Io, "became shorter while it was copied" };
        MV_TRY_VOID(target->writeAt(offset, ByteView(block).first(got)));
        offset += got;
    }
    return target->commit();
}

/// Only lossless formats have so many bits a sample. Of some of them nothing here decodes the sound.
bool isLosslessSound(const Facts& facts)
{
    constexpr std::string_view NotDecoded[] { "audio/x-wavpack", "audio/x-ape", "audio/x-tta" };
    const auto* type = facts.get<std::string>(fact::MimeType);
    return facts.contains(fact::BitsPerSample)
        && (!type || std::ranges::find(NotDecoded, *type) == std::end(NotDecoded));
}

/// A file that is to be in the mirror.
struct Wanted {
    MirrorFile file;
    std::string to;
    bool isEncoded = false;
};

class Mirroring {
public:
    Mirroring(const MirrorOrder& order, const Arguments& arguments, std::string source, MirrorTarget target)
        : m_order(order)
        , m_arguments(arguments)
        , m_encoding(order.encoding)
        , m_source(std::move(source))
        , m_target(std::move(target))
    {
    }

    /// What has changed. Whoever cannot read all of the source removes nothing.
    void look()
    {
        auto files
            = mirroredFiles(m_source, m_target.folder(), [&](const std::string& name, const std::string& reason) {
                  complain(m_order.command, name, reason);
                  m_status = ExitStatus::SomeFailed;
                  m_isWhole = false;
                  ++m_failed;
              });
        m_hasSound = std::ranges::any_of(files, isSoundName, &MirrorFile::path);
        m_plan = mirrorPlan(m_target.state(), files, m_order.how, [&](const auto& to) { return m_target.sizeOf(to); });
        for (const MirrorEntry& entry : m_plan.unchanged)
            m_names.emplace(entry.to, entry.from);
        m_before = m_target.state();
        keepUnread(files);
    }

    bool hasWork() const { return !m_plan.changed.empty(); }

    /// Asks the service which files are lossless, and makes what is missing.
    void make(ServiceBus& bus)
    {
        Media1Client media(bus);
        describe(media);
        auto folder = JobFolder::makeIn(m_target.folder());
        if (!folder)
            return fail(m_target.folder(), folder.error());
        m_jobFolder = *folder;
        SoundJobs jobs(media);
        auto encoded = static_cast<std::size_t>(std::ranges::count(m_wanted, true, &Wanted::isEncoded));
        const CoreShares shares = coreShares(m_arguments, encoded);
        m_encoding.cores = shares.cores;
        m_progress.emplace(errorTakesDrawing(), terminalWidth());
        m_progress->setTotal(m_wanted.size());
        Interruption interruption;
        std::size_t next = 0;
        auto begin = [&](const CallsInOrder::Finish& finish) {
            if (interruption.asked() || next == m_wanted.size())
                return false;
            makeOne(jobs, m_wanted[next++], finish);
            return true;
        };
        CallsInOrder work(media, shares.jobs, begin, [&](const WorkResult& one) { emit(one); });
        work.whileWaiting([&] {
            m_progress->show(m_done);
            if (interruption.asked())
                jobs.cancelAll();
        });
        m_status = worse(m_status, work.run());
        m_progress->hide();
        if (interruption.asked())
            m_status = ExitStatus::Interrupted;
        m_jobFolder.reset();
    }

    void removeGone()
    {
        for (const MirrorEntry& entry : goneFrom(m_before, m_names, m_unread)) {
            if (m_target.isThere(entry.to))
                removeOne(entry);
            else
                m_target.forget(entry);
        }
        if (m_isKept && m_order.removes)
            fail(m_source,
                { Error::Kind::State,
                    m_isWhole ? "has no sound at all; nothing was removed"
                              : "could not be read as a whole; nothing was removed" });
        else if (m_isKept)
            printToError("What is gone stays where it was made; --delete removes it.\n");
    }

    ExitStatus finish()
    {
        if (auto closed = m_target.close(); !closed)
            fail(m_target.folder(), closed.error());
        print(formatText("%zu encoded, %zu copied, %zu unchanged, %zu removed, %zu failed\n", m_encoded, m_copied,
            m_plan.unchanged.size() + m_adopted, m_removed, m_failed));
        return m_status;
    }

    ExitStatus status() const { return m_status; }

private:
    /// What was there once, and was not found now, may have been overlooked.
    void keepUnread(const std::vector<MirrorFile>& files)
    {
        std::set<std::string_view> found;
        for (const MirrorFile& file : files)
            found.insert(file.path);
        // Of folders that cannot be read all of that was told.
        bool isTold = !m_isWhole;
        for (const auto& [to, entry] : m_before.entries()) {
            std::string path = m_source + "/" + entry.from;
            auto reason = found.contains(entry.from) ? std::nullopt : whyUnread(path);
            if (!reason)
                continue;
            m_unread.insert(entry.from);
            if (!isTold)
                fail(path, { Error::Kind::Io, *reason });
        }
    }

    std::string sourcePath(const MirrorFile& file) const { return m_source + "/" + file.path; }

    void fail(const std::string& name, const Error& error)
    {
        complain(m_order.command, name, sentenceFor(error));
        m_status = worse(m_status, statusFor(error));
        ++m_failed;
    }

    void describe(Media1Client& media)
    {
        std::vector<std::string> paths;
        for (const MirrorFile& file : m_plan.changed)
            paths.push_back(sourcePath(file));
        auto answers = describeEach(media, paths);
        for (std::size_t i = 0; i < answers.size(); ++i)
            want(m_plan.changed[i], answers[i]);
    }

    void want(const MirrorFile& file, const Result<Facts>& facts)
    {
        bool isCover = isCoverName(file.path);
        if (!facts && !isCover) {
            m_unread.insert(file.path);
            return fail(sourcePath(file), facts.error());
        }
        bool isEncoded = !isCover && isLosslessSound(*facts);
        Wanted wanted { file, isEncoded ? withEnding(file.path, m_order.ending) : file.path, isEncoded };
        auto [other, isFirst] = m_names.emplace(wanted.to, file.path);
        if (!isFirst)
            return fail(sourcePath(file),
                { Error::Kind::State, "would have the name " + wanted.to + ", as " + other->second + " has" });
        bool isOurs = m_before.entries().contains(wanted.to);
        if (!isOurs && isMadeOf(wanted))
            return adopt(wanted);
        if (!isOurs && !m_order.replaces && m_target.isThere(wanted.to))
            return fail(m_target.folder() + "/" + wanted.to,
                { Error::Kind::State, "is there already, and no mirror made it; --force replaces it" });
        m_wanted.push_back(std::move(wanted));
    }

    /// By a mirror whose state was lost.
    bool isMadeOf(const Wanted& wanted) const
    {
        return m_target.isOfTime(wanted.to, wanted.file.modified)
            && (wanted.isEncoded || m_target.sizeOf(wanted.to) == wanted.file.size);
    }

    MirrorEntry entryOf(const Wanted& wanted) const
    {
        return { wanted.file.path, wanted.to, wanted.file.size, wanted.file.modified,
            m_target.sizeOf(wanted.to).value_or(0), wanted.isEncoded ? m_order.how : std::string(CopiedAsItIs) };
    }

    void adopt(const Wanted& wanted)
    {
        m_target.note(entryOf(wanted));
        ++m_adopted;
    }

    void makeOne(SoundJobs& jobs, const Wanted& wanted, const CallsInOrder::Finish& finish)
    {
        std::string made = m_jobFolder->file(std::to_string(m_made++) + "." + m_order.ending).text();
        if (!wanted.isEncoded) {
            auto copied = copyFile(sourcePath(wanted.file), made);
            return finish(took(wanted, made, copied ? Result<bool>(false) : Result<bool>(copied.error())));
        }
        jobs.begin(
            { sourcePath(wanted.file), made, m_encoding, m_order.carriesTags }, [](double) {},
            [this, &wanted, made, finish](Result<bool> isCut) { finish(took(wanted, made, isCut)); });
    }

    WorkResult took(const Wanted& wanted, const std::string& made, const Result<bool>& isCut)
    {
        std::string source = sourcePath(wanted.file);
        if (!isCut && isCut.error().kind == Error::Kind::Cancelled)
            return {};
        if (!isCut)
            return failed(source, isNoSpace(isCut.error()) ? noSpace() : isCut.error());
        bool replaces = m_order.replaces || m_before.entries().contains(wanted.to);
        if (auto taken = m_target.take(made, entryOf(wanted), replaces); !taken) {
            unlink(made.c_str());
            return failed(m_target.folder() + "/" + wanted.to, taken.error());
        }
        ++(wanted.isEncoded ? m_encoded : m_copied);
        return { (wanted.isEncoded ? "encoded  " : "copied   ") + terminalText(wanted.to) + "\n",
            *isCut ? source + ": not all of its tags fit into the new file's" : "" };
    }

    static bool isNoSpace(const Error& error)
    {
        return error.code == ENOSPC || mediaErrorKind(error) == MediaErrorKind::NoSpace;
    }
    /// Of the file in the making nobody knows the name.
    Error noSpace() const
    {
        return { Error::Kind::Io, "there is no room for its copy in " + m_target.folder(), ENOSPC };
    }

    WorkResult failed(const std::string& name, const Error& error)
    {
        ++m_failed;
        return failedFile(name, error, false);
    }

    void emit(const WorkResult& one)
    {
        m_progress->hide();
        emitFile(m_order.command, one.output, one.complaint);
        m_progress->show(++m_done);
    }

    void removeOne(const MirrorEntry& entry)
    {
        if (!m_order.removes || !m_isWhole || !m_hasSound) {
            print("gone     " + terminalText(entry.to) + "\n");
            m_isKept = true;
            return;
        }
        auto removed = m_target.remove(entry);
        if (!removed)
            return fail(m_target.folder() + "/" + entry.to, removed.error());
        if (!*removed)
            return fail(
                m_target.folder() + "/" + entry.to, { Error::Kind::State, "was changed since it was made, and stays" });
        print("removed  " + terminalText(entry.to) + "\n");
        ++m_removed;
    }

    const MirrorOrder& m_order;
    const Arguments& m_arguments;
    MediaEncoding m_encoding; ///< the order's, with cores
    std::string m_source;
    MirrorTarget m_target;
    MirrorPlan m_plan;
    MirrorState m_before { "" };
    MirrorNames m_names;
    std::set<std::string> m_unread; ///< sources
    std::vector<Wanted> m_wanted;
    std::shared_ptr<JobFolder> m_jobFolder;
    std::optional<FileProgress> m_progress; ///< while files are made
    std::size_t m_made = 0;
    std::size_t m_done = 0;
    std::size_t m_encoded = 0;
    std::size_t m_copied = 0;
    std::size_t m_adopted = 0;
    std::size_t m_removed = 0;
    std::size_t m_failed = 0;
    bool m_isWhole = true;
    bool m_hasSound = false;
    bool m_isKept = false;
    ExitStatus m_status = ExitStatus::Done;
};

} // namespace

Result<MirrorOrder> mirrorOrderFrom(
    const char* command, const Arguments& arguments, std::initializer_list<const char*> others)
{
    for (const char* other : others) {
        if (arguments.has(other))
            return Error { Error::Kind::Format, std::string("--") + other + " does not go with --mirror" };
    }
    if (arguments.files().size() != 2)
        return Error { Error::Kind::Format, "--mirror takes two folders, SOURCE and DESTINATION" };
    return MirrorOrder {
        .command = command,
        .carriesTags = !arguments.has("no-tags"),
        .replaces = arguments.has("force"),
        .removes = arguments.has("delete"),
    };
}

ExitStatus mirrorFolder(const MirrorOrder& order, const Arguments& arguments)
{
    const std::string& sourceName = arguments.files()[0];
    const std::string& targetName = arguments.files()[1];
    std::error_code unreadable;
    std::string source = std::filesystem::canonical(sourceName, unreadable).native();
    if (unreadable || !std::filesystem::is_directory(source, unreadable)) {
        complain(order.command, sourceName, "is no folder");
        return ExitStatus::SomeFailed;
    }
    auto target = MirrorTarget::open(targetName, source);
    if (!target) {
        complain(order.command, targetName, target.error().text);
        return ExitStatus::SomeFailed;
    }
    Mirroring mirroring(order, arguments, source, std::move(target).value());
    mirroring.look();
    if (mirroring.hasWork()) {
        auto service = openService(order.command, arguments);
        if (!service)
            return ExitStatus::NoService;
        mirroring.make(*service->bus);
    }
    if (mirroring.status() != ExitStatus::Interrupted)
        mirroring.removeGone();
    return mirroring.finish();
}

} // namespace mv::cli
