#include "cli/ThumbnailCaching.h"

#include "Base/Core/FileUri.h"
#include "Base/Core/Text.h"
#include "cli/FileTexts.h"
#include "cli/Interruption.h"
#include "cli/MediaFolder.h"
#include "cli/OrderedWork.h"
#include "cli/Output.h"
#include "cli/ProgressCount.h"
#include "cli/Terminal.h"
#include "system/OpenedFile.h"
#include "thumbnailer/ThumbnailTypes.h"

#include <algorithm>
#include <atomic>
#include <sys/stat.h>
#include <thread>

namespace mv::cli {

namespace {

constexpr const char* Name = "thumbnail";
/// Decoding takes a processor each; more would only take memory.
constexpr unsigned MaxFilesInFlight = 8;
constexpr const char* NoPicture = "has no picture";

/// How many files, by what became of them; any thread counts.
struct Totals {
    std::atomic<std::size_t> made = 0;
    std::atomic<std::size_t> there = 0;
    std::atomic<std::size_t> withoutPicture = 0;
    std::atomic<std::size_t> failed = 0;
    std::atomic<bool> hasNoWorker = false; ///< no file at all can be read
};

/// What a file is by now.
std::optional<ThumbnailSubject> subjectOf(const std::string& path, const struct stat& facts)
{
    if (!S_ISREG(facts.st_mode))
        return std::nullopt;
    return ThumbnailSubject { fileUri(path), facts.st_mtime, facts.st_size, std::string(thumbnailTypeOf(path)) };
}

std::optional<ThumbnailSubject> subjectAt(const std::string& path)
{
    struct stat facts { };
    return stat(path.c_str(), &facts) == 0 ? subjectOf(path, facts) : std::nullopt;
}

/// One file's way into the cache.
class Caching {
public:
    Caching(const ThumbnailCache& cache, const std::vector<ThumbnailSize>& sizes, Totals& totals)
        : m_cache(cache)
        , m_sizes(sizes)
        , m_totals(totals)
    {
    }

    WorkResult cache(const std::string& path) const
    {
        auto subject = subjectAt(path);
        if (!subject)
            return failed(path, { Error::Kind::NotFound, "is gone, or is no file any more" });
        std::vector<ThumbnailSize> missing;
        std::ranges::copy_if(m_sizes, std::back_inserter(missing),
            [&](const ThumbnailSize& size) { return !m_cache.holds(size, *subject); });
        if (missing.empty()) {
            ++m_totals.there;
            return {};
        }
        if (auto reason = m_cache.failure(*subject))
            return without(path, *reason);
        return make(path, missing);
    }

private:
    WorkResult failed(const std::string& path, const Error& error) const
    {
        ++m_totals.failed;
        return failedFile(path, error, false);
    }
    WorkResult notKept(const std::string& path, const Error& error) const
    {
        return failed(path, { error.kind, "nothing can be kept in " + m_cache.folder().text() + ": " + error.text });
    }
    WorkResult without(const std::string& path, const std::string& reason) const
    {
        // A song without a cover is as it should be.
        if (reason != NoPicture)
            return failed(path, { Error::Kind::Format, reason });
        ++m_totals.withoutPicture;
        return {};
    }

    WorkResult make(const std::string& path, const std::vector<ThumbnailSize>& sizes) const
    {
        OpenedFile file = OpenedFile::at(path);
        struct stat facts { };
        auto subject = fstat(file.descriptor(), &facts) == 0 ? subjectOf(path, facts) : std::nullopt;
        if (!file.content() || !subject) {
            Error none { Error::Kind::Io, "cannot be read" };
            return failed(path, file.content() ? none : file.content().error());
        }
        for (auto size = sizes.rbegin(); size != sizes.rend(); ++size) {
            auto preview = previewOfUnchanged(file, *subject, *size);
            if (!preview)
                return ended(path, *subject, preview.error());
            if (auto stored = m_cache.store(*size, *subject, *preview); !stored)
                return notKept(path, stored.error());
        }
        m_cache.removeFailure(subject->uri);
        ++m_totals.made;
        return {};
    }

    static Result<FilePreview> previewOfUnchanged(
        const OpenedFile& file, const ThumbnailSubject& subject, const ThumbnailSize& size)
    {
        MV_TRY(preview, previewOf(file, size.pixels));
        // A picture of half of an old and half of a new state would count as one of the new.
        struct stat now { };
        if (fstat(file.descriptor(), &now) != 0 || now.st_mtime != subject.modificationTime
            || now.st_size != subject.size)
            return Error { Error::Kind::Io, "was changed while it was read" };
        return preview;
    }

    /// What is the file's own fault is remembered; what is not, as a worker that cannot be had, is tried again.
    WorkResult ended(const std::string& path, const ThumbnailSubject& subject, const Error& error) const
    {
        if (error.kind == Error::Kind::State)
            m_totals.hasNoWorker = true;
        bool isOfFile = error.kind == Error::Kind::Format || error.kind == Error::Kind::NotFound;
        if (!isOfFile || subjectAt(path).value_or(subject).modificationTime != subject.modificationTime)
            return failed(path, error);
        std::string reason = error.kind == Error::Kind::NotFound ? NoPicture : error.text;
        if (auto stored = m_cache.storeFailure(subject, reason); !stored)
            return notKept(path, stored.error());
        return without(path, reason);
    }

    const ThumbnailCache& m_cache;
    const std::vector<ThumbnailSize>& m_sizes;
    Totals& m_totals;
};

std::string summary(const Totals& totals)
{
    std::string text = formatText("%zu made, %zu there already", totals.made.load(), totals.there.load());
    if (totals.withoutPicture > 0)
        text += formatText(", %zu without a picture", totals.withoutPicture.load());
    if (totals.failed > 0)
        text += formatText(", %zu failed", totals.failed.load());
    return text + "\n";
}

/// All media files of the folders by their whole names, each once.
ExitStatus collect(
    const std::vector<std::string>& folders, const ThumbnailCache& cache, std::vector<std::string>& files)
{
    ExitStatus status = ExitStatus::Done;
    auto complainOf = [&](const std::string& name, const Error& error) {
        complain(Name, name, error.text);
        status = ExitStatus::SomeFailed;
    };
    for (const std::string& folder : folders) {
        if (auto found = mediaFilesBelow(folder, cache.folder().text(), files, complainOf); !found)
            complainOf(folder, found.error());
    }
    std::ranges::sort(files);
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return status;
}

} // namespace

Result<std::vector<ThumbnailSize>> thumbnailSizesFrom(const std::string& names)
{
    std::vector<ThumbnailSize> sizes;
    for (const ThumbnailSize& size : ThumbnailSizes) {
        std::string asked = "," + names + ",";
        if (names == "all" || asked.find("," + std::string(size.name) + ",") != std::string::npos)
            sizes.push_back(size);
    }
    auto count = static_cast<std::size_t>(1 + std::ranges::count(names, ','));
    if (names != "all" && sizes.size() != count)
        return Error { Error::Kind::Format, "--size takes normal, large, x-large and xx-large, or all, in a cache" };
    return sizes;
}

ExitStatus cacheThumbnails(const std::vector<std::string>& folders, const std::vector<ThumbnailSize>& sizes)
{
    auto cache = ThumbnailCache::ofUser();
    if (!cache) {
        complain(Name, cache.error().text);
        return ExitStatus::SomeFailed;
    }
    Interruption interruption;
    std::vector<std::string> files;
    ExitStatus status = collect(folders, *cache, files);
    Totals totals;
    ProgressCount progress(files.size());
    std::size_t asked = 0;
    OrderedWork work;
    work.workers = std::clamp(std::thread::hardware_concurrency(), 1U, MaxFilesInFlight);
    work.next = [&]() -> std::optional<std::string> {
        bool ends = interruption.asked() || totals.hasNoWorker;
        return asked < files.size() && !ends ? std::optional(files[asked++]) : std::nullopt;
    };
    work.makeWorker = [&]() -> OrderedWork::Work {
        return [caching = Caching(*cache, sizes, totals)](
                   std::size_t, const std::string& file) { return caching.cache(file); };
    };
    work.emit = [&](std::size_t index, const WorkResult& result) {
        if (!result.complaint.empty()) {
            progress.hide();
            complain(Name, result.complaint);
        }
        progress.show(index + 1);
    };
    status = worse(status, work.run());
    progress.hide();
    print(summary(totals));
    return interruption.asked() ? ExitStatus::Interrupted : status;
}

} // namespace mv::cli
