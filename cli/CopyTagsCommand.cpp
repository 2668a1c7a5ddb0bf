#include "arguments/Suggestion.h"
#include "cli/CallsInOrder.h"
#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/TagWork.h"
#include "cli/Terminal.h"
#include "service/job/TagChanges.h"
#include "system/InputFile.h"

#include <algorithm>

namespace mv::cli {

namespace {

constexpr const char* Name = "copy-tags";

using Fields = std::vector<const TagField*>;

/// --fields, or all of them.
Result<Fields> fieldsFrom(const Arguments& arguments)
{
    Fields fields;
    if (!arguments.has("fields")) {
        for (const TagField& field : tagFields())
            fields.push_back(&field);
        return fields;
    }
    const std::vector<std::string> known(TagFieldNames.begin(), TagFieldNames.end());
    std::string names = arguments.value("fields");
    for (std::size_t begin = 0; begin <= names.size();) {
        std::size_t end = std::min(names.find(',', begin), names.size());
        std::string name = names.substr(begin, end - begin);
        const TagField* field = tagFieldNamed(name);
        if (!field)
            return Error { Error::Kind::Format,
                "--fields: there is no field \"" + name + "\"" + didYouMean(name, known, "\"") };
        if (std::ranges::find(fields, field) == fields.end()) // "cover" and "art" are one
            fields.push_back(field);
        begin = end + 1;
    }
    return fields;
}

/// What a file has of the fields, and other files can have; with `replaces` also what it has not.
class SourceTags {
public:
    SourceTags(Fields fields, bool replaces)
        : m_fields(std::move(fields))
        , m_replaces(replaces)
    {
    }

    Result<void> read(Media1Client& media, const std::string& path)
    {
        MV_TRY(described, media.call(describeRequest(path, true)));
        for (const TagField* field : m_fields) {
            if (field->kind == TagField::Kind::Picture) {
                MV_TRY_VOID(addCover(media, described.pictures));
                continue;
            }
            add(field->key, described.facts);
            if (!field->totalKey.empty())
                add(field->totalKey, described.facts);
        }
        return {};
    }

    const MediaTags& tags() const { return m_tags; }
    const std::string& cover() const { return m_cover; }

private:
    static constexpr std::uint64_t MaxCoverBytes = 16u << 20;

    void add(std::string_view key, const Facts& facts)
    {
        if (const auto* text = facts.get<std::string>(key))
            m_tags.emplace_back(key, *text);
        else if (const auto* texts = facts.get<std::vector<std::string>>(key))
            m_tags.emplace_back(key, *texts);
        else if (const auto* number = facts.get<std::int32_t>(key); number && *number <= MaxTagNumber)
            m_tags.emplace_back(key, *number);
        else if (m_replaces)
            m_tags.emplace_back().first = key;
    }

    /// The first picture where none is the front cover: it comes first, and players show it.
    Result<void> addCover(Media1Client& media, std::vector<MediaPicture>& pictures)
    {
        if (pictures.empty()) {
            if (m_replaces)
                m_tags.emplace_back().first = FrontCoverTag;
            return {};
        }
        MV_TRY(file, InputFile::adopt(std::move(pictures.front().data)));
        if (file.size() > MaxCoverBytes)
            return Error { Error::Kind::Limit, "its cover is larger than 16 MiB; --fields can leave it out" };
        MV_TRY(bytes, file.bytesAt(0, static_cast<std::size_t>(file.size())));
        auto cover = coverFrom(std::move(bytes), true);
        if (!cover)
            return Error { cover.error().kind, "its cover " + cover.error().text + "; --fields can leave it out" };
        m_cover = coverText(media, *cover);
        m_tags.emplace_back(FrontCoverTag, std::move(*cover));
        return {};
    }

    Fields m_fields;
    bool m_replaces;
    MediaTags m_tags;
    std::string m_cover;
};

void emit(const WorkResult& result)
{
    emitFile(Name, result.output, result.complaint);
    // Nobody hears the rest.
    if (!canPrint())
        leaveNow(closeOutput(ExitStatus::SomeFailed));
}

ExitStatus failed(const std::string& file, const Error& error)
{
    complain(Name, file, sentenceFor(error));
    return statusFor(error);
}

ExitStatus copyTags(Media1Client& media, const Arguments& arguments, const SourceTags& source)
{
    std::size_t next = 1;
    auto begin = [&](const CallsInOrder::Finish& finish) {
        if (next == arguments.files().size())
            return false;
        TagOrder order;
        order.file = arguments.files()[next++];
        order.tags = [&source](const Facts& present) {
            MediaTags tags = source.tags();
            removeSmallerTotals(tags, present);
            return tags;
        };
        order.cover = source.cover();
        order.isDry = arguments.has("dry-run");
        changeTags(media, std::move(order), finish);
        return true;
    };
    return inOrder(media, begin, emit);
}

ExitStatus run(const Arguments& arguments)
{
    auto fields = fieldsFrom(arguments);
    if (!fields)
        return misuse(Name, fields.error().text);
    const std::string& sourceName = arguments.files()[0];
    auto path = inputPath(sourceName);
    if (!path)
        return failed(sourceName, path.error());
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    Media1Client media(*service->bus);
    SourceTags source(std::move(*fields), arguments.has("replace"));
    if (auto read = source.read(media, path->text()); !read)
        return failed(sourceName, read.error());
    if (source.tags().empty())
        return failed(sourceName, { Error::Kind::NotFound, "has none of the tags, so there is nothing to copy" });
    return copyTags(media, arguments, source);
}

constexpr std::array Options {
    Option { "fields", "NAMES", "copy these alone: \"album,artist,cover\", named as the options of \"mivo tag\"" },
    Option { "replace", nullptr, "also remove what SOURCE has not, of the same fields" },
    Option { "dry-run", nullptr, "show what would change, and change nothing" },
};

constexpr std::array FileValues { aFile() };

} // namespace

const Command copyTagsCommand {
    .name = Name,
    .synopsis = "[OPTION...] SOURCE FILE...",
    .summary = "Copy tags and cover of one file to others, of any format",
    .details = "SOURCE can be any file whose tags are read, videos too; the others are what \"mivo tag\" writes. What\n"
               "SOURCE has not stays as the others have it. A cover that is neither JPEG nor PNG becomes a JPEG.\n"
               "Each file is rewritten whole or not at all.",
    .options = Options,
    .files = FileValues,
    .minimumFiles = 2,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
