#include "cli/ExportJob.h"

#include "cli/Interruption.h"
#include "cli/PlayLength.h"
#include "cli/ProgressDisplay.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/ResultCodes.h"

namespace mv::cli {

namespace {

class Listener final : public MVMP4ExporterDelegate {
public:
    Listener(ProgressDisplay& display, const Interruption& interruption)
        : m_display(display)
        , m_interruption(interruption)
    {
    }

    bool MP4ExporterProgress(std::int32_t percent) override
    {
        m_display.progress(0, percent);
        return !m_interruption.asked();
    }

private:
    ProgressDisplay& m_display;
    const Interruption& m_interruption;
};

/// Everything up to the finished file.
Result<void> make(
    const ExportJob& job, ServiceBus& bus, const Path& source, const JobOutput& output, Listener& listener)
{
    Path known = source;
    if (job.hidesSource) {
        MV_TRY(link, output.folder->linkTo(source));
        known = link;
    }
    ExporterClient exporter(bus);
    MV_TRY(code, resultOf([&] { return job.call(exporter, listener, known, output.made); }));
    if (code != 0)
        return Error { Error::Kind::State, sentenceForCode(exporterCodes(), code), code };
    return job.finish ? job.finish(source, output.made) : Result<void>();
}

ExitStatus failed(const char* command, const std::string& file, const Error& error)
{
    complain(command, file, sentenceFor(error));
    return statusFor(error);
}

} // namespace

ExitStatus ExportJob::runPlaced(ServiceBus& bus, const PlacedJob& placed) const
{
    const std::string& name = placed.names.output;
    ProgressDisplay display({ { std::string(Path(name).lastPathComponent()), playLength(bus, placed.source) } },
        errorTakesDrawing(), terminalWidth());
    Interruption interruption;
    Listener listener(display, interruption);
    display.start(0);
    auto made = make(*this, bus, placed.source, placed.place, listener);
    if (!made && interruption.asked()) {
        display.finish(0, "cancelled");
        return ExitStatus::Interrupted;
    }
    auto delivered = made ? placed.place.deliver() : Result<void>();
    display.finish(0, made && delivered ? "done" : "failed");
    if (!made)
        return failed(command, placed.names.input, made.error());
    return delivered ? ExitStatus::Done : failed(command, name, delivered.error());
}

ExitStatus ExportJob::run(const Arguments& arguments) const
{
    auto [jobs, status] = placedJobs(command, arguments, ending);
    if (jobs.empty())
        return status;
    auto service = openService(command, arguments);
    return service ? runPlaced(*service->bus, jobs.front()) : ExitStatus::NoService;
}

} // namespace mv::cli
