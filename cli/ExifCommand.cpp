#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/RecordText.h"
#include "cli/Terminal.h"
#include "cli/text/JsonText.h"
#include "client/ExifClient.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "exif";
constexpr std::size_t NameColumns = 18;

std::string jsonInfo(const std::string& file, const MVExifInfo& info)
{
    JsonObject object;
    object.text("path", file);
    for (const ExifTextProperty& property : ExifTextProperties) {
        if (const auto& text = info.*property.field)
            object.text(property.name, *text);
    }
    object.add("versionNumber", std::to_string(info.versionNumber));
    if (info.date)
        object.text("date", isoDate(*info.date));
    return object.line() + "\n";
}

std::string readableInfo(const std::string& file, const MVExifInfo& info)
{
    std::string out = terminalText(file) + "\n";
    auto row = [&](std::string_view name, const std::string& text) {
        out += "  " + padded(name, NameColumns) + terminalText(text) + "\n";
    };
    for (const ExifTextProperty& property : ExifTextProperties) {
        if (const auto& text = info.*property.field)
            row(property.name, *text);
    }
    if (info.versionNumber != 0)
        row("versionNumber", std::to_string(info.versionNumber));
    if (info.date)
        row("date", localDate(*info.date));
    return out;
}

Result<std::string> exifOf(ServiceBus& bus, const std::string& file, bool json)
{
    MV_TRY(path, inputPath(file));
    MV_TRY(info, resultOf([&] { return ExifClient(bus).extractExif(path); }));
    if (!info)
        return Error { Error::Kind::Format, "has no EXIF data" };
    return json ? jsonInfo(file, *info) : readableInfo(file, *info);
}

ExitStatus run(const Arguments& arguments) { return printFileTexts(Name, arguments, exifOf); }

constexpr std::array Options { Option { "json", nullptr, "one JSON object a line" } };

constexpr std::array Files { aFile() };

} // namespace

const Command exifCommand {
    .name = Name,
    .synopsis = "[--json] FILE...",
    .summary = "Show the camera and exposure facts of pictures",
    .details = "",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
