#include "Base/Core/Text.h"
#include "cli/Command.h"
#include "cli/Output.h"
#include "cli/RecordText.h"
#include "cli/Terminal.h"
#include "cli/text/JsonText.h"
#include "client/ServiceBus.h"
#include "service/include/ServiceNames.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr const char* Name = "status";
constexpr std::size_t NameColumns = 34;

/// Seconds since the process started, from the kernel's process table.
std::optional<std::int64_t> uptimeOf(int processId)
{
    std::ifstream statFile("/proc/" + std::to_string(processId) + "/stat");
    std::ifstream uptimeFile("/proc/uptime");
    std::string line;
    double sinceBoot = 0;
    if (!std::getline(statFile, line) || !(uptimeFile >> sinceBoot))
        return std::nullopt;
    // The program's name may hold blanks and parentheses; the fields behind it are numbers.
    std::istringstream fields(line.substr(std::min(line.rfind(')') + 1, line.size())));
    constexpr int FieldsBeforeStart = 19;
    std::string skipped;
    for (int i = 0; i < FieldsBeforeStart; ++i)
        fields >> skipped;
    long long startTicks = 0;
    if (!(fields >> startTicks))
        return std::nullopt;
    double started = static_cast<double>(startTicks) / static_cast<double>(sysconf(_SC_CLK_TCK));
    return static_cast<std::int64_t>(std::max(0.0, sinceBoot - started));
}

struct Row {
    std::string_view service;
    int processId = 0; ///< 0 when nobody answers
    bool startsWhenCalled = false; ///< the bus knows how to start it
};

std::vector<Row> askAll(ServiceBus& bus)
{
    std::vector<Row> rows;
    for (std::string_view service : ServiceNames) {
        auto processId = bus.processIdOf(service);
        rows.push_back({ service, processId ? *processId : 0, bus.isActivatable(service) });
    }
    return rows;
}

std::string readableRow(const Row& row)
{
    std::string text = padded(row.service, NameColumns);
    if (row.processId == 0)
        return text + (row.startsWhenCalled ? "not running, starts when it is called\n" : "not running\n");
    text += "process " + std::to_string(row.processId);
    if (auto uptime = uptimeOf(row.processId))
        text += ", up " + readableLength(*uptime);
    return text + "\n";
}

std::string jsonRow(const Row& row)
{
    JsonObject object;
    object.text("service", row.service).add("running", row.processId ? "true" : "false");
    if (row.startsWhenCalled)
        object.add("startsWhenCalled", "true");
    if (row.processId)
        object.add("pid", std::to_string(row.processId));
    if (auto uptime = row.processId ? uptimeOf(row.processId) : std::nullopt)
        object.add("uptime", std::to_string(*uptime));
    return object.line() + "\n";
}

ExitStatus run(const Arguments& arguments)
{
    auto bus = ServiceBus::open();
    if (!bus) {
        complain(Name, "there is no session bus, so no service runs on it");
        return ExitStatus::NoService;
    }
    std::vector<Row> rows = askAll(**bus);
    std::string text;
    for (const Row& row : rows)
        text += arguments.has("json") ? jsonRow(row) : readableRow(row);
    print(text);
    auto missing = std::count_if(
        rows.begin(), rows.end(), [](const Row& row) { return row.processId == 0 && !row.startsWhenCalled; });
    if (missing == 0)
        return ExitStatus::Done;
    complain(
        Name, formatText("%d of %d services do not run", static_cast<int>(missing), static_cast<int>(rows.size())));
    return ExitStatus::NoService;
}

constexpr std::array Options { Option { "json", nullptr, "one JSON object a line" } };

} // namespace

const Command statusCommand {
    .name = Name,
    .synopsis = "[--json]",
    .summary = "Show which services run on the session bus",
    .details
    = "Starts nothing. The exit status is 0 when all nine services run, or are started by the bus when somebody\n"
      "calls them, else 3.",
    .options = Options,
    .files = {},
    .minimumFiles = 0,
    .maximumFiles = 0,
    .run = run,
};

} // namespace mv::cli
