#include "service/job/TagDump.h"

#include "Base/Core/ByteReader.h"

namespace mv {

namespace {

void putText(ByteWriter& out, std::string_view text)
{
    out.u32le(static_cast<std::uint32_t>(text.size()));
    out.text(text);
}

std::string takeText(ByteReader& in) { return std::string(charsOf(in.take(in.u32le()))); }

Error wrong(const char* what) { return { Error::Kind::Format, what }; }

Result<DumpedField> decodeField(ByteReader& in)
{
    std::uint8_t kind = in.u8();
    if (kind < static_cast<std::uint8_t>(DumpedField::Kind::Text)
        || kind > static_cast<std::uint8_t>(DumpedField::Kind::Freeform))
        return wrong("a tag's field of no kind");
    DumpedField field;
    field.kind = static_cast<DumpedField::Kind>(kind);
    field.name = takeText(in);
    field.text = takeText(in);
    field.number = in.u64le();
    field.total = in.u64le();
    return field;
}

} // namespace

void encodeTagDump(const TagDump& dump, Bytes& out)
{
    ByteWriter writer(out);
    writer.u32le(static_cast<std::uint32_t>(dump.size()));
    for (const DumpedField& field : dump) {
        writer.u8(static_cast<std::uint8_t>(field.kind));
        putText(writer, field.name);
        putText(writer, field.text);
        writer.u64le(field.number);
        writer.u64le(field.total);
    }
}

Result<TagDump> decodeTagDump(ByteView bytes)
{
    ByteReader in(bytes);
    std::uint32_t count = in.u32le();
    TagDump dump;
    for (std::uint32_t i = 0; i < count; ++i) {
        MV_TRY(field, decodeField(in));
        if (in.failed())
            return wrong("a tag's field that is not there");
        dump.push_back(std::move(field));
    }
    if (in.failed() || !in.atEnd())
        return wrong("a tag's fields with a wrong length");
    return dump;
}

} // namespace mv
