#include "facts/reading/RiffTags.h"

#include <algorithm>

namespace mv {

void addInfoList(TagSink& sink, ByteView list)
{
    constexpr std::size_t EntryHeader = 8;
    ByteReader reader(list);
    if (reader.u32be() != fourCC("INFO"))
        return;
    sink.texts.beginTag();
    while (reader.remaining() >= EntryHeader) {
        std::uint32_t id = reader.u32be();
        std::uint32_t size = reader.u32le();
        ByteView text = reader.take(std::min<std::size_t>(size, reader.remaining()));
        if (const RiffField* field = riffField(InfoFields, id))
            sink.texts.addUtf8OrLegacy(field->field, text);
        if (size % 2 != 0 && reader.remaining() > 0)
            reader.skip(1);
    }
}

void addAiffText(TagSink& sink, std::uint32_t id, ByteView content)
{
    if (const RiffField* field = riffField(AiffFields, id))
        sink.texts.addUtf8OrLegacy(field->field, content);
}

} // namespace mv
