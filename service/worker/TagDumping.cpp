#include "service/worker/TagDumping.h"

#include "mp4/mp4.h"
#include "service/parsers/MP4TagDump.h"

#include <algorithm>

namespace mv {

namespace {

using Kind = DumpedField::Kind;

class FieldList final : public MP4TagVisitor {
public:
    explicit FieldList(TagDump& dump)
        : m_dump(dump)
    {
    }

    void text(std::string_view name, const std::string& value) override
    {
        m_dump.push_back({ Kind::Text, std::string(name), value });
    }
    void number(std::string_view name, std::uint64_t value) override
    {
        m_dump.push_back({ Kind::Number, std::string(name), {}, value });
    }
    void pair(std::string_view name, const MP4TagTrack& value) override
    {
        m_dump.push_back({ Kind::Pair, std::string(name), {}, value.index, value.total });
    }
    void artwork(std::size_t, const MP4TagArtwork& picture) override
    {
        m_dump.push_back({ Kind::Artwork, {}, {}, static_cast<std::uint64_t>(picture.type), picture.data.size() });
    }

private:
    TagDump& m_dump;
};

void addFreeform(TagDump& dump, const MP4ItmfItem& item)
{
    if (item.name.empty())
        return;
    // Each value says the name again, and a long one may have thousands.
    constexpr std::size_t MaxBytesOfNames = std::size_t { 1 } << 20;
    const std::string name = item.mean + ":" + item.name;
    std::size_t left = std::max<std::size_t>(1, MaxBytesOfNames / name.size());
    for (const MP4ItmfData& value : item.dataList) {
        if (value.typeCode != MP4ItmfBasicType::Utf8 || left == 0)
            continue;
        --left;
        dump.push_back({ Kind::Freeform, name, std::string(charsOf(value.value)) });
    }
}

} // namespace

std::optional<TagDump> dumpTags(const OpenedFile& file)
{
    auto opened = MP4Read(file.content());
    if (!opened)
        return std::nullopt;
    TagDump dump;
    FieldList fields(dump);
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsFetch(tags, *opened);
    visitTags(tags, fields);
    for (const MP4ItmfItem& item : MP4ItmfGetItems(*opened))
        addFreeform(dump, item);
    return dump;
}

} // namespace mv
