#include "service/host/adaptors/TagsOnWire.h"

#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"
#include "bus/BusError.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

[[noreturn]] void failArguments(std::string sentence) { throw BusError(BusErrorInvalidArgs, std::move(sentence)); }

constexpr std::string_view signatureOf(FactType type)
{
    return type == FactType::Texts ? "as" : type == FactType::Integer ? "i" : "s";
}

TagChanges::Values numberValue(WireReader& in, const std::string& key)
{
    std::int32_t number = in.integer();
    if (number < 0 || number > MaxTagNumber)
        failArguments(formatText("\"%s\" is from 0 to %d", key.c_str(), MaxTagNumber));
    return number == 0 ? TagChanges::Values() : TagChanges::Values { std::to_string(number) };
}

TagChanges::Values valuesOf(WireReader& in, TagKey tag, const std::string& key)
{
    FactType type = typeOf(tag);
    if (type == FactType::Integer)
        return numberValue(in, key);
    TagChanges::Values values;
    if (type == FactType::Texts)
        values = in.strings();
    else
        values.push_back(in.string());
    std::erase(values, std::string());
    if (tag == TagKey::Date && !values.empty() && !isTagDate(values.front()))
        failArguments(formatText("\"%s\" is no date of ISO 8601", key.c_str()));
    return values;
}

/// What the caller has opened, from its beginning.
Bytes contentOf(MediaInput& handle)
{
    const OpenedFile file = handle.open();
    const SharedSource& source = *file.content();
    if (source->size() > MaxTagBytes)
        throw MediaError(MediaErrorKind::TooLarge, "The picture is larger than can be written.");
    auto bytes = source->bytesAt(0, source->size());
    if (!bytes)
        throw mediaError(MediaErrorKind::Failed, handle.shownName());
    return std::move(*bytes);
}

/// True for the null object, which takes its key out.
bool isNull(WireReader& in, const std::string& signature, const std::string& key)
{
    if (signature != "g")
        return false;
    if (!in.isNullObject())
        failArguments(formatText("\"%s\" is of another type", key.c_str()));
    return true;
}

} // namespace

void refuseCover() { failArguments("a cover is a JPEG or a PNG"); }

TagOrder::TagOrder(WireReader& in)
{
    in.entries([&](const std::string& key, const std::string& signature) {
        auto tag = tagKeyOf(key);
        if (key == FrontCoverKey) {
            takeCover(in, signature);
        } else if (!tag) {
            in.skip(signature);
        } else if (isNull(in, signature, key)) {
            m_changes[*tag] = TagChanges::Values();
        } else {
            if (signature != signatureOf(typeOf(*tag)))
                failArguments(formatText("\"%s\" is of another type", key.c_str()));
            m_changes[*tag] = valuesOf(in, *tag, key);
        }
    });
}

void TagOrder::takeCover(WireReader& in, const std::string& signature)
{
    m_handle.reset();
    m_changes.frontCover = Bytes();
    if (signature == "h") {
        m_handle = MediaInput::handed(in.handle(), "the picture");
    } else if (signature == "ay") {
        m_changes.frontCover = in.bytes();
        if (!m_changes.frontCover->empty() && coverMimeType(*m_changes.frontCover).empty())
            refuseCover();
    } else if (!isNull(in, signature, std::string(FrontCoverKey))) {
        failArguments(formatText("\"%s\" is bytes or a handle", FrontCoverKey.data()));
    }
}

TagChanges TagOrder::take()
{
    if (m_handle) {
        Bytes picture = contentOf(*m_handle);
        m_isRefused = coverMimeType(picture).empty();
        if (m_isRefused)
            throw mediaError(MediaErrorKind::Failed, m_handle->shownName());
        m_changes.frontCover = std::move(picture);
    }
    return std::move(m_changes);
}

} // namespace mv
