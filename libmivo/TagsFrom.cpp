#include "libmivo/TagsFrom.h"

#include "facts/TagNames.h"
#include "system/SealedFile.h"

#include <limits>
#include <mivo/Error.h>
#include <utility>

namespace mivo {

namespace {

// A message with a larger one would be copied more often, and has a bound.
constexpr std::size_t LargestSentWithin = 1u << 20;

[[noreturn]] void fail(const std::string& key, const char* what)
{
    throw Error(Error::Kind::InvalidArgument, key + " " + what);
}

mv::TagValue textValue(const std::string& key, const Value& value)
{
    if (value.kind() != Value::Kind::Text)
        fail(key, "is a text");
    return value.text();
}

mv::TagValue textsValue(const std::string& key, const Value& value)
{
    if (value.kind() == Value::Kind::Text)
        return std::vector<std::string> { value.text() };
    if (value.kind() != Value::Kind::Texts)
        fail(key, "is a list of texts");
    return value.texts();
}

mv::TagValue numberValue(const std::string& key, const Value& value)
{
    if (value.kind() != Value::Kind::Integer)
        fail(key, "is an integer");
    if (!std::in_range<std::int32_t>(value.integer()))
        fail(key, "is out of range");
    return static_cast<std::int32_t>(value.integer());
}

mv::TagValue valueOf(mv::TagKey tag, const std::string& key, const Value& value)
{
    if (value.isNull())
        return std::monostate();
    switch (mv::typeOf(tag)) {
    case mv::FactType::Texts:
        return textsValue(key, value);
    case mv::FactType::Integer:
        return numberValue(key, value);
    default:
        return textValue(key, value);
    }
}

mv::TagValue coverValue(const std::string& key, const Value& value, std::shared_ptr<mv::UniqueFd>& kept)
{
    if (value.isNull())
        return std::monostate();
    if (value.kind() != Value::Kind::Data)
        fail(key, "is data");
    if (value.data().size() <= LargestSentWithin)
        return value.data();
    auto file = mv::sealedFile(value.data());
    if (!file)
        throw Error(Error::Kind::Failed, file.error().text, {}, file.error().code);
    kept = std::make_shared<mv::UniqueFd>(std::move(*file));
    return mv::BorrowedFile { kept->get() };
}

} // namespace

TagsToSend tagsFrom(const Record& changes)
{
    TagsToSend made;
    for (const auto& [key, value] : changes) {
        auto tag = mv::tagKeyOf(key);
        if (key == mv::FrontCoverKey)
            made.tags.emplace_back(key, coverValue(key, value, made.cover));
        else if (tag)
            made.tags.emplace_back(key, valueOf(*tag, key, value));
        else
            fail(key, "is no tag that is written");
    }
    return made;
}

} // namespace mivo
