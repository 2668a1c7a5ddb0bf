#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/RecordText.h"
#include "cli/Terminal.h"
#include "cli/facts/FactForms.h"
#include "cli/text/JsonText.h"
#include "mp4/Tags.h"
#include "service/isolated/WorkerAccess.h"

#include <map>
#include <utility>
#include <vector>

namespace mv::cli {

namespace {

constexpr const char* Name = "dump";

using Kind = DumpedField::Kind;

const char* formOf(std::uint64_t type)
{
    switch (type) {
    case MP4_ART_BMP:
        return "BMP";
    case MP4_ART_GIF:
        return "GIF";
    case MP4_ART_JPEG:
        return "JPEG";
    case MP4_ART_PNG:
        return "PNG";
    default:
        return "unknown";
    }
}

std::string line(std::string_view name, const std::string& value) { return terminalText(name) + ": " + value + "\n"; }

/// A line for each field, for people.
std::string linesOf(const TagDump& dump)
{
    std::string lines;
    int pictures = 0;
    for (const DumpedField& field : dump) {
        switch (field.kind) {
        case Kind::Text:
        case Kind::Freeform:
            lines += line(field.name, terminalText(field.text));
            break;
        case Kind::Number:
            lines += line(field.name, std::to_string(field.number));
            break;
        case Kind::Pair:
            lines
                += line(field.name, "index=" + std::to_string(field.number) + " total=" + std::to_string(field.total));
            break;
        case Kind::Artwork:
            lines += line("art[" + std::to_string(pictures++) + "]",
                std::string(formOf(field.number)) + " picture, "
                    + readableSize(static_cast<std::int64_t>(field.total)));
            break;
        }
    }
    return lines;
}

/// What programs have added, by name: one of them may have several values.
std::map<std::string_view, std::vector<std::string>> addedFields(const TagDump& dump)
{
    std::map<std::string_view, std::vector<std::string>> fields;
    for (const DumpedField& field : dump) {
        if (field.kind == Kind::Freeform)
            fields[field.name].push_back(field.text);
    }
    return fields;
}

/// The same as members of an object; pictures are together at the end.
std::string objectOf(const TagDump& dump, const std::string& file)
{
    JsonObject object;
    object.text("path", file);
    std::string art;
    auto added = addedFields(dump);
    for (const DumpedField& field : dump) {
        std::string number = std::to_string(field.number);
        std::string total = std::to_string(field.total);
        switch (field.kind) {
        case Kind::Text:
            object.text(field.name, field.text);
            break;
        case Kind::Freeform:
            // All of a name stand where the first one is.
            if (auto values = added.extract(field.name); values && values.mapped().size() == 1)
                object.text(field.name, field.text);
            else if (values)
                object.add(field.name, jsonFact(std::move(values.mapped())));
            break;
        case Kind::Number:
            object.add(field.name, number);
            break;
        case Kind::Pair:
            object.add(field.name, JsonObject().add("index", number).add("total", total).line());
            break;
        case Kind::Artwork:
            art += (art.empty() ? "" : ",")
                + JsonObject().text("form", formOf(field.number)).add("bytes", total).line();
            break;
        }
    }
    if (!art.empty())
        object.add("art", "[" + art + "]");
    return object.line() + "\n";
}

Result<std::string> dumpOf(const std::string& file, bool json)
{
    MV_TRY(path, inputPath(file));
    MV_TRY(answer, askWorker({ .operation = ReadingOperation::DumpTags, .file = OpenedFile::at(path) }));
    const auto* dump = answer ? std::get_if<std::optional<TagDump>>(&*answer) : nullptr;
    if (!dump || !*dump)
        return Error { Error::Kind::Format, "is no MPEG-4 file that can be read" };
    return json ? objectOf(**dump, file) : linesOf(**dump);
}

ExitStatus run(const Arguments& arguments) { return printFileTexts(Name, arguments, dumpOf); }

constexpr std::array Options { Option { "json", nullptr, "one JSON object a line" } };

constexpr std::array Files { aFile("mp4 m4a m4v m4b mov 3gp") };

} // namespace

const Command dumpCommand {
    .name = Name,
    .synopsis = "[--json] FILE...",
    .summary = "Print every tag field of MPEG-4 files (MP4, M4A, M4V)",
    .details = "Fields that programs have added under names of their own are at the end.",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
