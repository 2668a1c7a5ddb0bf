#include "Base/Core/Text.h"
#include "cli/CallsInOrder.h"
#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/Interruption.h"
#include "cli/NameList.h"
#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/TagChange.h"
#include "cli/TagJson.h"
#include "cli/TagWork.h"
#include "cli/Terminal.h"

#include <filesystem>
#include <set>

namespace mv::cli {

namespace {

constexpr const char* Name = "tag";

void emit(const WorkResult& result)
{
    emitFile(Name, result.output, result.complaint);
    // Nobody hears the rest.
    if (!canPrint())
        leaveNow(closeOutput(ExitStatus::SomeFailed));
}

/// The files of the command line, all with the same changes.
ExitStatus tagFiles(ServiceBus& bus, const Arguments& arguments, const std::vector<TagChange>& changes)
{
    Media1Client media(bus);
    std::string cover;
    for (const TagChange& change : changes) {
        if (const auto* picture = std::get_if<Bytes>(&change.value))
            cover = coverText(media, *picture);
    }
    std::size_t next = 0;
    auto begin = [&](const CallsInOrder::Finish& finish) {
        if (next == arguments.files().size())
            return false;
        TagOrder order;
        order.file = arguments.files()[next++];
        order.tags = [&changes](const Facts& present) { return tagsFor(changes, present); };
        order.cover = cover;
        order.isDry = arguments.has("dry-run");
        changeTags(media, std::move(order), finish);
        return true;
    };
    return inOrder(media, begin, emit);
}

/// One name for all that lead to a file.
std::string realName(const std::string& file)
{
    std::error_code failed;
    std::string name = std::filesystem::canonical(file, failed).native();
    return failed ? file : name;
}

/// The lines of a list, each a file with its tags.
class JsonTagging {
public:
    JsonTagging(Media1Client& media, NameList list, bool isDry)
        : m_media(media)
        , m_list(std::move(list))
        , m_isDry(isDry)
    {
    }

    bool begin(const CallsInOrder::Finish& finish)
    {
        auto line = m_list.next();
        if (!line)
            m_failure = line.error();
        if (!line || !*line)
            return false;
        auto tags = jsonTagsOf(**line);
        if (!tags)
            finish(failedFile(formatText("line %zu", m_list.line()), tags.error(), false));
        else if (tags->tags.empty())
            finish({});
        else
            change(std::move(*tags), finish);
        return true;
    }

    /// Whether begin() need not wait for whoever writes the list.
    bool isReady() { return m_list.isReady(); }

    const std::optional<Error>& failure() const { return m_failure; }

private:
    void change(JsonTags tags, const CallsInOrder::Finish& finish)
    {
        // What a later line says of the same file is said last.
        std::string name = realName(tags.file);
        if (m_underWay.contains(name))
            static_cast<void>(m_media.serveUntil([&] { return !m_underWay.contains(name); }));
        m_underWay.insert(name);
        TagOrder order;
        order.file = tags.file;
        order.tags = [wanted = std::move(tags.tags)](const Facts& present) {
            MediaTags all = wanted;
            removeSmallerTotals(all, present);
            return all;
        };
        order.onlyDifferent = true;
        order.isDry = m_isDry;
        changeTags(m_media, std::move(order), [this, finish, name](WorkResult result) {
            m_underWay.erase(name);
            finish(std::move(result));
        });
    }

    Media1Client& m_media;
    NameList m_list;
    bool m_isDry;
    std::set<std::string> m_underWay; ///< by their real names
    std::optional<Error> m_failure;
};

ExitStatus tagFromJson(ServiceBus& bus, NameList list, bool isDry)
{
    Media1Client media(bus);
    JsonTagging tagging(media, std::move(list), isDry);
    ExitStatus status = inOrder(
        media, [&](const CallsInOrder::Finish& finish) { return tagging.begin(finish); }, emit,
        [&] { return tagging.isReady(); });
    if (!tagging.failure())
        return status;
    complain(Name, tagging.failure()->text);
    return worse(status, ExitStatus::SomeFailed);
}

const char* slipIn(const Arguments& arguments, const std::vector<TagChange>& changes)
{
    if (!arguments.has("from-json"))
        return arguments.files().empty() ? "there is a file name missing" : nullptr;
    if (!arguments.files().empty())
        return "with --from-json the files are named in LIST";
    return changes.empty() ? nullptr : "with --from-json the tags are in LIST, and not among the options";
}

ExitStatus run(const Arguments& arguments)
{
    auto changes = tagChanges(arguments);
    if (!changes && changes.error().kind == Error::Kind::Format)
        return misuse(Name, changes.error().text);
    if (!changes) {
        complain(Name, changes.error().text);
        return ExitStatus::SomeFailed;
    }
    if (const char* slip = slipIn(arguments, *changes))
        return misuse(Name, slip);
    std::optional<NameList> list;
    if (arguments.has("from-json")) {
        auto opened = NameList::open(arguments.value("from-json"), false);
        if (!opened) {
            complain(Name, opened.error().text);
            return ExitStatus::SomeFailed;
        }
        list = std::move(*opened);
    }
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    if (list)
        return tagFromJson(*service->bus, std::move(*list), arguments.has("dry-run"));
    return tagFiles(*service->bus, arguments, *changes);
}

constexpr const char* Pictures = "jpg jpeg png gif bmp tif tiff webp heic avif";

constexpr std::array Options {
    Option { "title", "TEXT", "the song's title" },
    Option { "artist", "TEXT", "who plays or sings it; may be given several times", 0, {}, true },
    Option { "album", "TEXT", "the album's title" },
    Option { "album-artist", "TEXT", "whose album it is; may be given several times", 0, {}, true },
    Option { "composer", "TEXT", "who wrote it; may be given several times", 0, {}, true },
    Option { "genre", "TEXT", "any text; may be given several times", 0, {}, true },
    Option { "date", "TEXT", "of release: a year, or YYYY-MM-DD, or with a time behind" },
    Option { "comment", "TEXT", "a remark; may be given several times", 0, {}, true },
    Option { "track", "NUMBER", "its place on the album: 3, or 3/12" },
    Option { "disc", "NUMBER", "the disc's place among several: 1, or 1/2" },
    Option {
        "cover", "PICTURE", "the front cover: JPEG and PNG as they are; others are made JPEG", 0, aFile(Pictures) },
    Option { "art", "PICTURE", "like --cover, but whatever is no JPEG is made one", 0, aFile(Pictures) },
    Option { "remove", "FIELD", "empty a field, named like its option; may be given several times", 0,
        oneOf(TagFieldNames), true },
    Option { "clear", "FIELD", "another name of --remove", 0, oneOf(TagFieldNames), true },
    Option { "from-json", "LIST", "files and tags from LIST, one JSON object a line; - is standard input", 0,
        aFile("json jsonl") },
    Option { "dry-run", nullptr, "show what would change, and change nothing" },
};

constexpr std::array Files { aFile("mp3 m4a m4b mp4 flac ogg oga opus wav aif aiff") };

} // namespace

const Command tagCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE... | [--dry-run] --from-json LIST",
    .summary = "Change the tags of MP3, M4A, FLAC, Ogg Vorbis, Opus, WAV and AIFF files",
    .details = "Shows every field before and after. Fields that are not named keep their values. Without a change the\n"
               "fields are only shown. A file is rewritten whole or not at all.\n\n"
               "An option that may be given several times gives a field several values. A track or disc without a\n"
               "total keeps the one that the file has, unless that is smaller.\n\n"
               "--from-json takes lines as \"mivo describe --format jsonl\" writes them: \"path\" (or xesam:url), and\n"
               "the tags by their whole keys; null removes, other keys are ignored, and what a file says already is\n"
               "not written again:\n"
               "  mivo describe --format jsonl *.mp3 | sed 's/Beetles/Beatles/' | mivo tag --from-json -",
    .options = Options,
    .files = Files,
    .minimumFiles = 0,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
