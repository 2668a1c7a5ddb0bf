#include "cli/IndexRun.h"

#include "cli/FactBatches.h"
#include "cli/FactReading.h"
#include "cli/Interruption.h"
#include "cli/OrderedPipe.h"
#include "cli/Output.h"
#include "cli/Terminal.h"
#include "service/include/MediaErrors.h"

#include <algorithm>

namespace mv::cli {

namespace {

using Kind = IndexStep::Kind;

/// Of lines that are handed on, and of their bytes.
constexpr std::size_t MostSteps = 4096;
constexpr std::size_t MostBytes = std::size_t { 1 } << 20;

/// Steps that belong together, and how much of the index's front comes before them.
struct IndexBatch {
    std::vector<IndexStep> steps;
    std::uint64_t kept = 0;
};

/// What became of a batch.
struct IndexPiece {
    std::string lines;
    std::uint64_t kept = 0;
    IndexCounts counts;
    std::string told; ///< for standard output
    std::vector<std::string> complaints;
    std::optional<Error> stop; ///< why nothing can be read any more
    std::size_t files = 0;
};

/// Takes steps for one call of the service: few at first, so that something is there soon.
class IndexBatches {
public:
    explicit IndexBatches(IndexMerge& merge)
        : m_merge(merge)
    {
    }

    std::optional<IndexBatch> next()
    {
        IndexBatch batch;
        std::size_t reads = 0;
        std::size_t bytes = 0;
        while (reads < m_most && bytes < MostBytes && batch.steps.size() < MostSteps) {
            auto step = m_merge.next();
            if (!step)
                break;
            reads += step->kind == Kind::Read ? 1 : 0;
            bytes += step->line.size();
            batch.steps.push_back(std::move(*step));
        }
        batch.kept = m_merge.keptBytes();
        if (reads > 0)
            m_most = std::min(m_most * 2, FactBatches::MostFiles);
        return batch.steps.empty() ? std::nullopt : std::optional(std::move(batch));
    }

private:
    IndexMerge& m_merge;
    std::size_t m_most = FactBatches::FirstFiles;
};

/// What a file's failure cannot be: then it is the service's.
bool isOfService(const Result<DescribedFile>& described) { return !described && !mediaErrorKind(described.error()); }

/// A thread's own way to the service.
class IndexWorker {
public:
    explicit IndexWorker(bool isUpdate)
        : m_isUpdate(isUpdate)
    {
    }

    IndexPiece work(const IndexBatch& batch)
    {
        IndexPiece piece;
        piece.kept = batch.kept;
        auto described = describe(batch);
        auto next = described.begin();
        for (const IndexStep& step : batch.steps) {
            if (step.kind != Kind::Read)
                pass(step, piece);
            else if (isOfService(*next))
                piece.stop = next->error();
            else
                read(step, *next, piece);
            next += step.kind == Kind::Read ? 1 : 0;
            if (piece.stop)
                break;
        }
        return piece;
    }

private:
    /// A service that ended is asked for once more: the bus may have another.
    std::vector<Result<DescribedFile>> describe(const IndexBatch& batch)
    {
        std::vector<std::string> names;
        for (const IndexStep& step : batch.steps) {
            if (step.kind == Kind::Read)
                names.push_back(step.path);
        }
        auto described = tryDescribe(names);
        if (std::ranges::any_of(described, isOfService)) {
            m_reading.reset();
            described = tryDescribe(names);
        }
        return described;
    }
    std::vector<Result<DescribedFile>> tryDescribe(const std::vector<std::string>& names)
    {
        if (names.empty())
            return {};
        if (!m_reading) {
            auto opened = FactReading::open();
            if (!opened)
                return std::vector<Result<DescribedFile>>(names.size(), opened.error());
            m_reading = std::move(*opened);
        }
        return m_reading->describe(names);
    }

    void tell(const char* what, const std::string& path, IndexPiece& piece) const
    {
        if (m_isUpdate)
            piece.told += std::string(what) + " " + terminalText(path) + "\n";
    }

    void pass(const IndexStep& step, IndexPiece& piece) const
    {
        switch (step.kind) {
        case Kind::Kept:
            ++piece.counts.unchanged;
            break;
        case Kind::Known:
            count(step, true, piece);
            break;
        case Kind::Removed:
            ++piece.counts.removed;
            tell("removed", step.path, piece);
            return;
        case Kind::Missed:
            ++piece.counts.missed;
            break;
        case Kind::Unreadable:
            ++piece.counts.failed;
            piece.complaints.push_back(step.path + ": " + step.failure->text);
            return;
        case Kind::Read:
            return;
        }
        ++piece.files;
        piece.lines += step.line;
    }

    void count(const IndexStep& step, bool isNew, IndexPiece& piece) const
    {
        if (!step.wasThere) {
            ++piece.counts.added;
            tell("added", step.path, piece);
        } else if (isNew) {
            ++piece.counts.changed;
            tell("changed", step.path, piece);
        } else {
            ++piece.counts.unchanged;
        }
    }

    void read(const IndexStep& step, const Result<DescribedFile>& described, IndexPiece& piece) const
    {
        std::string line;
        if (described) {
            line = indexLine(*described, step.stamp);
        } else {
            FactFailure failure = failureOf(step.path, described.error());
            line = indexLine(step.path, failure, step.stamp);
            bool isOther = isNotMedia(described.error());
            ++(isOther ? piece.counts.notMedia : piece.counts.failed);
            if (!isOther)
                piece.complaints.push_back(step.path + ": " + failure.sentence);
        }
        line += '\n';
        count(step, line != step.line, piece);
        ++piece.files;
        piece.lines += line;
    }

    bool m_isUpdate;
    std::unique_ptr<FactReading> m_reading;
};

/// Puts the pieces into the index, in their order, until something stops it.
class IndexEmitter {
public:
    IndexEmitter(const char* command, IndexWriter& writer, FileProgress& progress)
        : m_command(command)
        , m_writer(writer)
        , m_progress(progress)
    {
    }

    void emit(const IndexPiece& piece)
    {
        if (m_stopped)
            return;
        {
            UncutText whole;
            if (auto written = m_writer.add(piece.lines, piece.kept); !written)
                return stop(written.error());
        }
        tell(piece);
        m_outcome.counts += piece.counts;
        m_files += piece.files;
        m_progress.show(m_files);
        if (piece.stop)
            stop(*piece.stop);
    }

    void finish(std::uint64_t kept)
    {
        if (auto finished = m_writer.finish(kept); !finished)
            stop(finished.error());
    }

    bool hasStopped() const { return m_stopped; }
    IndexOutcome& outcome() { return m_outcome; }

private:
    void tell(const IndexPiece& piece)
    {
        if (piece.told.empty() && piece.complaints.empty())
            return;
        m_progress.hide();
        print(piece.told);
        for (const std::string& complaint : piece.complaints)
            complain(m_command, complaint);
        if (!piece.complaints.empty())
            m_outcome.status = worse(m_outcome.status, ExitStatus::SomeFailed);
    }
    void stop(const Error& error)
    {
        m_stopped = true;
        m_progress.hide();
        complain(m_command, sentenceFor(error));
        m_outcome.status = worse(m_outcome.status, statusFor(error));
    }

    const char* m_command;
    IndexWriter& m_writer;
    FileProgress& m_progress;
    IndexOutcome m_outcome;
    std::atomic<bool> m_stopped = false;
    std::size_t m_files = 0;
};

} // namespace

IndexCounts& IndexCounts::operator+=(const IndexCounts& other)
{
    for (auto member : { &IndexCounts::added, &IndexCounts::changed, &IndexCounts::removed, &IndexCounts::unchanged,
             &IndexCounts::missed, &IndexCounts::notMedia, &IndexCounts::failed })
        this->*member += other.*member;
    return *this;
}

IndexOutcome runIndex(const char* command, IndexFile& file, const IndexWish& wish, FileProgress& progress,
    const std::function<bool()>& shallStop)
{
    IndexWriter writer(file, wish.isUpdate ? IndexWriter::Way::Update : IndexWriter::Way::Add);
    IndexEmitter emitter(command, writer, progress);
    UniqueFd unfinished;
    if (wish.isUpdate) {
        if (auto taken = file.takeUnfinished(); taken)
            unfinished = std::move(*taken);
        else
            complain(command, taken.error().text);
    }
    IndexMerge merge({ wish.folder, IndexReader(file.descriptor()), IndexReader(unfinished.get()) },
        wish.isUpdate ? IndexMerge::Way::Update : IndexMerge::Way::Add,
        [&](const std::string& path) { return file.isAt(path); });
    IndexBatches batches(merge);
    OrderedPipe<IndexBatch, IndexPiece> pipe;
    pipe.next = [&] { return shallStop() || emitter.hasStopped() ? std::nullopt : batches.next(); };
    pipe.workers = wish.jobs;
    pipe.ahead = 2 * wish.jobs;
    pipe.makeWorker = [&]() -> decltype(pipe)::Work {
        auto worker = std::make_shared<IndexWorker>(wish.isUpdate);
        return [worker](std::size_t, const IndexBatch& batch) { return worker->work(batch); };
    };
    pipe.emit = [&](std::size_t, const IndexPiece& piece) { emitter.emit(piece); };
    pipe.run();
    bool isWhole = !shallStop() && !emitter.hasStopped();
    // What has been added is on the disk; an update that is not whole takes nobody's place.
    if (isWhole || !wish.isUpdate)
        emitter.finish(merge.keptBytes());
    progress.hide();
    emitter.outcome().damagedLine = isWhole ? merge.index().damagedLine() : 0;
    return emitter.outcome();
}

} // namespace mv::cli
