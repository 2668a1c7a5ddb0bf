#include "cli/Command.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/JsonText.h"
#include "cli/RecordText.h"
#include "cli/Terminal.h"
#include "mp4/mp4.h"
#include "service/parsers/MP4TagDump.h"
#include "system/OpenedFile.h"

#include "Base/Core/Text.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "dump";

const char* formOf(MP4TagArtworkType type)
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
    case MP4_ART_UNDEFINED:
        break;
    }
    return "unknown";
}

/// A line for each field, for people.
class Lines final : public MP4TagVisitor {
public:
    void text(std::string_view name, const std::string& value) override { line(name, terminalText(value)); }
    void number(std::string_view name, std::uint64_t value) override { line(name, std::to_string(value)); }
    void pair(std::string_view name, const MP4TagTrack& value) override
    {
        line(name, formatText("index=%u total=%u", unsigned { value.index }, unsigned { value.total }));
    }
    void artwork(std::size_t index, const MP4TagArtwork& picture) override
    {
        line("art[" + std::to_string(index) + "]",
            std::string(formOf(picture.type)) + " picture, "
                + readableSize(static_cast<std::int64_t>(picture.data.size())));
    }
    void freeform(const MP4ItmfItem& item, std::string_view value)
    {
        line(terminalText(item.mean + ":" + item.name), terminalText(value));
    }

    std::string text() { return m_text; }

private:
    void line(std::string_view name, const std::string& value) { m_text += std::string(name) + ": " + value + "\n"; }

    std::string m_text;
};

/// The same as members of an object.
class Members final : public MP4TagVisitor {
public:
    explicit Members(const std::string& file) { m_object.text("path", file); }

    void text(std::string_view name, const std::string& value) override { m_object.text(name, value); }
    void number(std::string_view name, std::uint64_t value) override { m_object.add(name, std::to_string(value)); }
    void pair(std::string_view name, const MP4TagTrack& value) override
    {
        m_object.add(name,
            JsonObject().add("index", std::to_string(value.index)).add("total", std::to_string(value.total)).line());
    }
    void artwork(std::size_t index, const MP4TagArtwork& picture) override
    {
        m_art += (index == 0 ? "" : ",")
            + JsonObject().text("form", formOf(picture.type)).add("bytes", std::to_string(picture.data.size())).line();
    }
    void freeform(const MP4ItmfItem& item, std::string_view value)
    {
        m_object.text(item.mean + ":" + item.name, value);
    }

    std::string text()
    {
        if (!m_art.empty())
            m_object.add("art", "[" + m_art + "]");
        return m_object.line() + "\n";
    }

private:
    JsonObject m_object;
    std::string m_art;
};

template <class Visitor> std::string visited(Mp4File& file, Visitor visitor)
{
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsFetch(tags, file);
    visitTags(tags, visitor);
    // What programs add under names of their own.
    for (const MP4ItmfItem& item : MP4ItmfGetItems(file)) {
        bool isText = !item.dataList.empty() && item.dataList.front().typeCode == MP4ItmfBasicType::Utf8;
        if (isText && !item.name.empty())
            visitor.freeform(item, charsOf(item.dataList.front().value));
    }
    return visitor.text();
}

Result<std::string> dumpOf(const std::string& file, bool json)
{
    MV_TRY(path, inputPath(file));
    auto opened = MP4Read(OpenedFile::at(path).content());
    if (!opened)
        return Error { Error::Kind::Format, "is no MPEG-4 file that can be read" };
    return json ? visited(*opened, Members(file)) : visited(*opened, Lines());
}

ExitStatus run(const Arguments& arguments) { return printFileTexts(Name, arguments, dumpOf); }

constexpr std::array Options { Option { "json", nullptr, "one JSON object a line" } };

} // namespace

const Command dumpCommand {
    .name = Name,
    .synopsis = "[--json] FILE...",
    .summary = "Print every tag field of MPEG-4 files (MP4, M4A, M4V)",
    .details = "Fields that programs have added under names of their own are at the end.",
    .options = Options,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
