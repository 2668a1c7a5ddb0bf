#include "service/tagedit/WritableTexts.h"

#include "facts/Facts.h"
#include "facts/reading/OldTags.h"

namespace mv {

TagChanges writableTexts(TagSink& sink)
{
    Facts facts;
    sink.putInto(facts);
    TagChanges all;
    for (std::size_t i = 0; i < TagKeyCount; ++i) {
        const FactValue* value = facts.find(TagKeyFacts[i]);
        if (!value)
            continue;
        if (const auto* texts = std::get_if<std::vector<std::string>>(value))
            all.values[i] = *texts;
        else if (const auto* text = std::get_if<std::string>(value))
            all.values[i] = TagChanges::Values { *text };
        else if (const auto* number = std::get_if<std::int32_t>(value);
                 number && *number > 0 && *number <= MaxTagNumber)
            all.values[i] = TagChanges::Values { std::to_string(*number) };
    }
    return all;
}

TagChanges oldTexts(const ByteSource& file, const TagSet& tags)
{
    TagSink sink;
    addOldTags(sink, tags, file);
    return writableTexts(sink);
}

} // namespace mv
