#include "cli/ExportJob.h"

#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/JobOutput.h"
#include "cli/Output.h"
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

ExitStatus runOnService(const ExportJob& job, const Arguments& arguments, const Path& source, const JobOutput& output)
{
    auto service = openService(job.command, arguments);
    if (!service)
        return ExitStatus::NoService;
    const std::string& name = arguments.files()[1];
    ProgressDisplay display({ { std::string(Path(name).lastPathComponent()), playLength(*service->bus, source) } },
        errorTakesDrawing(), terminalWidth());
    Interruption interruption;
    Listener listener(display, interruption);
    display.start(0);
    auto made = make(job, *service->bus, source, output, listener);
    if (!made && interruption.asked()) {
        display.finish(0, "cancelled");
        return ExitStatus::Interrupted;
    }
    auto delivered = made ? output.deliver() : Result<void>();
    display.finish(0, made && delivered ? "done" : "failed");
    if (!made)
        return failed(job.command, arguments.files()[0], made.error());
    return delivered ? ExitStatus::Done : failed(job.command, name, delivered.error());
}

} // namespace

ExitStatus ExportJob::run(const Arguments& arguments) const
{
    auto overwriting = overwritingFrom(arguments);
    if (!overwriting)
        return misuse(command, overwriting.error().text);
    const std::string& input = arguments.files()[0];
    const std::string& name = arguments.files()[1];
    auto source = inputPath(input);
    if (!source)
        return failed(command, input, source.error());
    JobOutputs outputs(*overwriting, ending);
    auto output = outputs.placeFor(*source, name);
    if (!output)
        return failed(command, name, output.error());
    if (!*output) {
        printToError(terminalText(name) + ": is there already, skipped\n");
        return ExitStatus::Done;
    }
    return runOnService(*this, arguments, *source, **output);
}

} // namespace mv::cli
