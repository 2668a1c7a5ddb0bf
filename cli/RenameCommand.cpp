#include "Base/Core/Text.h"
#include "cli/Command.h"
#include "cli/FactReading.h"
#include "cli/FileMover.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "cli/naming/FileMoves.h"
#include "cli/naming/FileName.h"
#include "cli/naming/NameFields.h"
#include "cli/naming/NamePattern.h"
#include "cli/text/ReadableText.h"

#include <algorithm>
#include <filesystem>

namespace mv::cli {

namespace {

constexpr const char* Name = "rename";

/// A file of the command line.
struct File {
    std::string given;
    PlannedMove move;
    std::string shownFolder; ///< of the new name, as people see it
};

class Renaming {
public:
    Renaming(NamePattern pattern, const Arguments& arguments)
        : m_pattern(std::move(pattern))
        , m_rules(arguments.has("portable") ? NameRules::Portable : NameRules::Here)
        , m_isDry(arguments.has("dry-run"))
    {
    }

    /// Fails where --to names no folder.
    Result<void> findFolder(const std::string& to)
    {
        m_shownTo = to;
        std::error_code failed;
        m_to = std::filesystem::canonical(to, failed).native();
        if (failed || !std::filesystem::is_directory(m_to, failed))
            return Error { Error::Kind::NotFound, "is no folder" };
        return {};
    }

    void add(const std::string& given)
    {
        std::error_code failed;
        const Path path(std::filesystem::absolute(given, failed).native());
        if (auto good = checkInput(path.text()); !good)
            return fail(given, good.error());
        // The name itself may be a link, which is what gets another name.
        std::string folder = std::filesystem::canonical(std::string(path.directory()), failed).native();
        if (failed)
            return fail(given, { Error::Kind::NotFound, failed.message() });
        std::string shown = m_to.empty() ? std::string(Path(given).directory()) : m_shownTo;
        std::string from = folder + (folder.ends_with('/') ? "" : "/") + std::string(path.lastPathComponent());
        m_files.push_back({ given, { from, m_to.empty() ? folder : m_to, "" }, shown });
    }

    /// Asks the service for what the names are made of.
    void nameFiles(FactReading& reading)
    {
        std::vector<std::string> paths;
        for (const File& file : m_files)
            paths.push_back(file.move.from);
        auto answers = reading.describe(paths);
        std::vector<File> named;
        for (std::size_t i = 0; i < m_files.size(); ++i)
            nameFile(m_files[i], answers[i], named);
        m_files = std::move(named);
    }

    void moveFiles(const Interruption& interruption)
    {
        std::vector<FileMove> moves;
        for (const File& file : m_files)
            moves.push_back({ file.move.from, file.move.to() });
        MoveOrder order = orderOf(moves, [&](std::size_t i) { return isInTheWay(m_files[i].move); });
        for (std::size_t i = 0; i < m_files.size(); ++i) {
            if (!order.refusals[i].empty())
                fail(m_files[i].given, { Error::Kind::State, order.refusals[i] + " (" + newName(m_files[i]) + ")" });
        }
        for (const auto& step : order.steps) {
            if (interruption.asked()) {
                m_status = worse(m_status, ExitStatus::Interrupted);
                return;
            }
            take(step);
        }
    }

    ExitStatus status() const { return m_status; }

private:
    void fail(const std::string& file, const Error& error)
    {
        complain(Name, file, sentenceFor(error));
        m_status = worse(m_status, statusFor(error));
    }

    void nameFile(File& file, const Result<DescribedFile>& described, std::vector<File>& named)
    {
        if (!described)
            return fail(file.given, described.error());
        const Path given(file.given);
        std::string_view present = given.lastPathComponent();
        std::string_view ending = endingOf(present);
        std::string_view stem = present.substr(0, present.size() - ending.size() - (ending.empty() ? 0 : 1));
        // Of its bytes some would be lost.
        bool losesName = false;
        auto pieces = m_pattern.fill([&](std::string_view field) {
            losesName |= field == PresentName && !isValidUtf8(stem);
            return nameFieldValue(field, described->facts(), stem);
        });
        if (losesName)
            return fail(file.given, { Error::Kind::Format, "its name is not UTF-8, so {name} cannot stand for it" });
        auto below = pieces ? relativePathOf(*pieces, ending, m_rules) : Result<std::string>(pieces.error());
        if (!below)
            return fail(file.given, below.error());
        file.move.below = std::move(below).value();
        named.push_back(std::move(file));
    }

    static std::string newName(const File& file)
    {
        return file.shownFolder.empty() ? file.move.below : Path(file.shownFolder).appending(file.move.below).text();
    }

    void take(const std::vector<std::size_t>& step)
    {
        Result<void> done;
        if (m_isDry)
            done = checkedFolders(step);
        else if (step.size() == 1)
            done = moveFile(m_files[step[0]].move);
        else
            done = circle(step);
        for (std::size_t i : step) {
            const File& file = m_files[i];
            if (done)
                print(terminalText(file.given) + " -> " + terminalText(newName(file)) + "\n");
            else
                fail(file.given, { done.error().kind, done.error().text + " (" + newName(file) + ")" });
        }
    }

    Result<void> checkedFolders(const std::vector<std::size_t>& step) const
    {
        for (std::size_t i : step)
            MV_TRY_VOID(checkFolders(m_files[i].move));
        return {};
    }

    Result<void> circle(const std::vector<std::size_t>& step) const
    {
        std::vector<const PlannedMove*> moves;
        moves.reserve(step.size());
        for (std::size_t i : step)
            moves.push_back(&m_files[i].move);
        return moveInCircle(moves);
    }

    NamePattern m_pattern;
    NameRules m_rules;
    bool m_isDry;
    std::string m_to; ///< whole, without links; empty where each file stays below its own folder
    std::string m_shownTo;
    std::vector<File> m_files;
    ExitStatus m_status = ExitStatus::Done;
};

ExitStatus run(const Arguments& arguments)
{
    auto pattern = NamePattern::parse(arguments.files()[0], checkNameField);
    if (!pattern)
        return misuse(Name, pattern.error().text);
    Renaming renaming(std::move(pattern).value(), arguments);
    if (arguments.has("to")) {
        if (auto found = renaming.findFolder(arguments.value("to")); !found) {
            complain(Name, arguments.value("to"), found.error().text);
            return ExitStatus::SomeFailed;
        }
    }
    for (std::size_t i = 1; i < arguments.files().size(); ++i)
        renaming.add(arguments.files()[i]);
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    auto reading = FactReading::open();
    if (!reading) {
        complain(Name, reading.error().text);
        return ExitStatus::NoService;
    }
    renaming.nameFiles(**reading);
    Interruption interruption;
    renaming.moveFiles(interruption);
    return renaming.status();
}

constexpr std::array Options {
    Option { "to", "FOLDER", "put the files below FOLDER (default: each stays below its own folder)", 0, aFolder() },
    Option { "portable", nullptr, "names that other systems and cards of phones take as well" },
    Option { "dry-run", nullptr, "show the new names, and change nothing" },
};

constexpr std::array Files { aFile() };

} // namespace

const Command renameCommand {
    .name = Name,
    .synopsis = "[OPTION...] PATTERN FILE...",
    .summary = "Name files by what their tags and streams say",
    .details
    = "PATTERN is the new name without its ending, which stays:\n"
      "  mivo rename --dry-run '{artist}/{track:02} {title}' *.mp3\n\n"
      "A field is a fact by its key, or by the key's last part: title, artist, album, albumArtist, composer,\n"
      "genre, trackNumber (track), trackTotal, discNumber (disc), contentCreated (date, year), audioCodec,\n"
      "width, cameraModel and so on; name is the present name. {track:02} has at least two digits. A file\n"
      "without a field is an error, but where there is another text: {albumArtist|{artist|Unknown}}.\n"
      "{{ and }} are braces.\n\n"
      "A \"/\" makes folders. Whatever is in tags, files stay below the folder, and no file is ever replaced.\n"
      "Files may take each other's names.",
    .options = Options,
    .files = Files,
    .minimumFiles = 2,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
