#include "cli/FileEncoding.h"

#include "cli/CallsInOrder.h"
#include "cli/FileTexts.h"
#include "cli/Interruption.h"
#include "cli/PlayLength.h"
#include "cli/ProgressDisplay.h"
#include "cli/SoundJobs.h"
#include "cli/Terminal.h"

namespace mv::cli {

namespace {

std::vector<ProgressDisplay::Job> titlesOf(ServiceBus& bus, const std::vector<PlacedJob>& jobs)
{
    std::vector<ProgressDisplay::Job> titles;
    titles.reserve(jobs.size());
    for (const PlacedJob& job : jobs)
        titles.push_back({ std::string(Path(job.names.output).lastPathComponent()), playLength(bus, job.source) });
    return titles;
}

/// What is no file with sound, as the service says before it begins or when it has looked closer.
bool isRefusedSource(const Error& error)
{
    auto kind = mediaErrorKind(error);
    return kind == MediaErrorKind::NotMedia || kind == MediaErrorKind::Unsupported
        || kind == MediaErrorKind::NotRegular;
}

class Run {
public:
    Run(const FileEncoding& how, ServiceBus& bus, const std::vector<PlacedJob>& jobs, CoreShares shares, bool handsBack)
        : m_how(how)
        , m_encoding(how.encoding)
        , m_media(bus)
        , m_sounds(m_media)
        , m_jobs(jobs)
        , m_atOnce(shares.jobs)
        , m_handsBack(handsBack)
        , m_hasBegun(jobs.size())
        , m_display(titlesOf(bus, jobs), errorTakesDrawing(), terminalWidth())
    {
        m_encoding.cores = shares.cores;
    }

    FileEncoding::End run()
    {
        Interruption interruption;
        std::size_t next = 0;
        auto begin = [&](const CallsInOrder::Finish& finish) {
            if (interruption.asked() || next == m_jobs.size())
                return false;
            beginOne(next++, finish);
            return true;
        };
        CallsInOrder work(m_media, m_atOnce, begin,
            [this](const WorkResult& one) { emitFile(m_how.command, one.output, one.complaint); });
        work.whileWaiting([&] {
            if (interruption.asked())
                m_sounds.cancelAll();
        });
        m_end.status = work.run();
        if (interruption.asked())
            m_end = { ExitStatus::Interrupted, {} };
        return m_end;
    }

private:
    void beginOne(std::size_t i, const CallsInOrder::Finish& finish)
    {
        const PlacedJob& job = m_jobs[i];
        m_sounds.begin(
            { job.source, job.place.made, m_encoding, m_how.carriesTags },
            [this, i](double part) {
                showBegin(i);
                m_display.progress(i, part * 100);
            },
            [this, i, finish](const Result<bool>& isCut) { finish(ended(i, isCut)); });
    }

    void showBegin(std::size_t i)
    {
        if (!m_hasBegun[i])
            m_display.start(i);
        m_hasBegun[i] = true;
    }

    WorkResult ended(std::size_t i, const Result<bool>& isCut)
    {
        const PlacedJob& job = m_jobs[i];
        if (!isCut)
            return failed(i, isCut.error());
        showBegin(i);
        m_display.progress(i, 100); // its last news may have been of less
        auto delivered = job.place.deliver();
        m_display.finish(i, delivered ? "done" : "failed");
        if (!delivered)
            return failedFile(job.names.output, delivered.error(), false);
        return { "", *isCut ? job.names.input + ": not all of its tags fit into the new file's" : "" };
    }

    WorkResult failed(std::size_t i, const Error& error)
    {
        if (error.kind == Error::Kind::Cancelled) {
            if (m_hasBegun[i])
                m_display.finish(i, "cancelled");
            return {};
        }
        if (m_handsBack && isRefusedSource(error)) {
            m_end.refused.push_back(i);
            return {};
        }
        m_display.finish(i, "failed");
        // The job's own sentence names the hidden file.
        bool isFull = mediaErrorKind(error) == MediaErrorKind::NoSpace;
        return failedFile(m_jobs[i].names.input, isFull ? Error { Error::Kind::Io, m_how.fullDisk } : error, false);
    }

    const FileEncoding& m_how;
    MediaEncoding m_encoding;
    Media1Client m_media;
    SoundJobs m_sounds;
    const std::vector<PlacedJob>& m_jobs;
    const std::size_t m_atOnce;
    const bool m_handsBack;
    std::vector<bool> m_hasBegun;
    FileEncoding::End m_end;
    ProgressDisplay m_display;
};

} // namespace

FileEncoding::End FileEncoding::run(
    ServiceBus& bus, const std::vector<PlacedJob>& jobs, CoreShares shares, bool handsBack) const
{
    return Run(*this, bus, jobs, shares, handsBack).run();
}

} // namespace mv::cli
