#include "cli/FileTexts.h"

#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "cli/text/JsonText.h"

namespace mv::cli {

namespace {

template <class TextOf> ExitStatus printAll(const char* command, const Arguments& arguments, const TextOf& textOf)
{
    bool json = arguments.has("json");
    ExitStatus status = ExitStatus::Done;
    for (const std::string& file : arguments.files()) {
        auto text = textOf(file, json);
        WorkResult result = text ? WorkResult { *text, "" } : failedFile(file, text.error(), json);
        emitFile(command, result.output, result.complaint);
        status = worse(status, result.status);
        if (!canPrint())
            break;
    }
    return status;
}

} // namespace

WorkResult failedFile(const std::string& file, const Error& error, bool json)
{
    std::string sentence = sentenceFor(error);
    std::string object = JsonObject().text("path", file).text("error", sentence).line() + "\n";
    return { json ? object : "", file + ": " + sentence, statusFor(error) };
}

void emitFile(const char* command, const std::string& output, const std::string& complaint)
{
    print(output);
    if (!complaint.empty())
        complain(command, complaint);
}

ExitStatus printFileTexts(const char* command, const Arguments& arguments, FileText textOf)
{
    auto service = openService(command, arguments);
    if (!service)
        return ExitStatus::NoService;
    return printAll(
        command, arguments, [&](const std::string& file, bool json) { return textOf(*service->bus, file, json); });
}

ExitStatus printFileTexts(const char* command, const Arguments& arguments, LocalFileText textOf)
{
    return printAll(command, arguments, textOf);
}

} // namespace mv::cli
