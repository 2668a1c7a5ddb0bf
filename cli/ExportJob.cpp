#include "cli/ExportJob.h"

#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/JobOutcome.h"
#include "cli/ProgressDisplay.h"
#include "cli/Terminal.h"

namespace mv::cli {

namespace {

class Listener final : public ExportListener {
public:
    Listener(ProgressDisplay& display, const Interruption& interruption)
        : m_display(display)
        , m_interruption(interruption)
    {
    }

    bool progress(std::int32_t percent) override
    {
        m_display.progress(0, percent);
        return !m_interruption.asked();
    }

private:
    ProgressDisplay& m_display;
    const Interruption& m_interruption;
};

} // namespace

std::optional<ExportPaths> exportPaths(const char* command, const Arguments& arguments)
{
    auto source = inputPath(arguments.files()[0]);
    auto destination = outputPath(arguments.files()[1]);
    if (!source)
        complain(command, arguments.files()[0], source.error().text);
    else if (!destination)
        complain(command, arguments.files()[1], destination.error().text);
    else if (sameFile(*source, *destination))
        complain(command, arguments.files()[0], "input and output are the same file");
    else
        return ExportPaths { *source, *destination };
    return std::nullopt;
}

bool runExport(const char* command, ServiceBus& bus, const ExportPaths& paths, const ExportCall& call)
{
    std::string title(paths.destination.lastPathComponent());
    ProgressDisplay display({ { title, playLength(bus, paths.source) } }, errorIsTerminal(), terminalWidth());
    Interruption interruption;
    Listener listener(display, interruption);
    ExporterClient exporter(bus);
    display.start(0);
    auto code = call(exporter, listener);
    bool done = code.ok() && *code == 0;
    display.finish(0, done ? "done" : interruption.asked() ? "cancelled" : "failed");
    if (!done)
        complain(command, paths.source.text(), code.ok() ? exporterErrorText(*code) : sentenceFor(code.error()));
    return done;
}

} // namespace mv::cli
