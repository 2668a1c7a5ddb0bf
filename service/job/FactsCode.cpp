#include "service/job/FactsCode.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <bit>
#include <cmath>

namespace mv {

namespace {

class Encoder {
public:
    explicit Encoder(Bytes& out)
        : m_out(out)
    {
    }

    void row(std::size_t number) { m_out.u8(static_cast<std::uint8_t>(number)); }
    void count(std::size_t number) { m_out.u32le(static_cast<std::uint32_t>(number)); }
    void sized(ByteView bytes)
    {
        count(bytes.size());
        m_out.bytes(bytes);
    }

    void operator()(const std::string& text) { sized(bytesOf(text)); }
    void operator()(const std::vector<std::string>& texts)
    {
        count(texts.size());
        for (const std::string& text : texts)
            sized(bytesOf(text));
    }
    void operator()(std::int32_t number) { m_out.u32le(static_cast<std::uint32_t>(number)); }
    void operator()(std::uint32_t number) { m_out.u32le(number); }
    void operator()(std::int64_t number) { wide(static_cast<std::uint64_t>(number)); }
    void operator()(std::uint64_t number) { wide(number); }
    void operator()(double number) { wide(std::bit_cast<std::uint64_t>(number)); }
    void operator()(bool flag) { m_out.u8(flag ? 1 : 0); }

private:
    void wide(std::uint64_t number)
    {
        m_out.u32le(static_cast<std::uint32_t>(number));
        m_out.u32le(static_cast<std::uint32_t>(number >> 32));
    }

    ByteWriter m_out;
};

Error wrong(const char* what) { return { Error::Kind::Format, formatText("facts with %s", what) }; }

Result<std::string> decodeText(ByteReader& in)
{
    std::string_view text = charsOf(in.take(in.u32le()));
    if (in.failed())
        return wrong("a text that is not there");
    if (!isSendableText(text))
        return wrong("a text that is none");
    return std::string(text);
}

Result<FactValue> decodeTexts(ByteReader& in)
{
    std::uint32_t count = in.u32le();
    if (count > MaxFactTexts)
        return Error { Error::Kind::Limit, "facts with too many texts" };
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; i < count; ++i) {
        MV_TRY(text, decodeText(in));
        texts.push_back(std::move(text));
    }
    return FactValue(std::move(texts));
}

Result<FactValue> decodeReal(ByteReader& in)
{
    auto number = std::bit_cast<double>(in.u64le());
    return std::isfinite(number) ? Result<FactValue>(FactValue(number)) : wrong("a number that is none");
}

Result<FactValue> decodeFlag(ByteReader& in)
{
    std::uint8_t flag = in.u8();
    return flag <= 1 ? Result<FactValue>(FactValue(flag == 1)) : wrong("a flag of a third kind");
}

Result<FactValue> decodeValue(FactType type, ByteReader& in)
{
    switch (type) {
    case FactType::Text: {
        MV_TRY(text, decodeText(in));
        return FactValue(std::move(text));
    }
    case FactType::Texts:
        return decodeTexts(in);
    case FactType::Integer:
        return FactValue(static_cast<std::int32_t>(in.u32le()));
    case FactType::Unsigned:
        return FactValue(in.u32le());
    case FactType::Long:
        return FactValue(static_cast<std::int64_t>(in.u64le()));
    case FactType::UnsignedLong:
        return FactValue(in.u64le());
    case FactType::Real:
        return decodeReal(in);
    case FactType::Flag:
        return decodeFlag(in);
    }
    return wrong("a value of no kind");
}

bool isWithin(const FactValue& value, double least, double most)
{
    const double* number = std::get_if<double>(&value);
    return number && *number >= least && *number <= most;
}

/// What a key's type alone does not say of its values.
bool isPossible(std::string_view key, const FactValue& value)
{
    if (key == fact::Kind) {
        const auto* text = std::get_if<std::string>(&value);
        return text && (*text == "audio" || *text == "video" || *text == "picture");
    }
    if (key == fact::Orientation) {
        const auto* number = std::get_if<std::uint32_t>(&value);
        return number && *number >= 1 && *number <= 8;
    }
    if (key == fact::Length) {
        const auto* number = std::get_if<std::int64_t>(&value);
        return number && *number >= 0;
    }
    if (key == fact::Latitude)
        return isWithin(value, -90, 90);
    if (key == fact::Longitude)
        return isWithin(value, -180, 180);
    return true;
}

Result<void> decodeEntries(ByteReader& in, Facts& facts)
{
    std::size_t least = 0; // the rows come in their order, each once
    std::uint32_t count = in.u32le();
    if (count > FactRows.size())
        return Error { Error::Kind::Limit, "facts claim too many entries" };
    for (std::uint32_t i = 0; i < count; ++i) {
        std::size_t row = in.u8();
        if (in.failed() || row >= FactRows.size() || row < least)
            return wrong("a key that there is not, or out of order");
        least = row + 1;
        MV_TRY(value, decodeValue(FactRows[row].type, in));
        if (in.failed() || !isPossible(FactRows[row].key, value))
            return wrong("a value that there cannot be");
        facts.set(FactRows[row].key, std::move(value));
    }
    return {};
}

Result<FactPicture> decodePicture(ByteReader& in)
{
    FactPicture picture;
    picture.type = in.u32le();
    if (picture.type > LastPictureType)
        return wrong("a picture of no type");
    MV_TRY(mimeType, decodeText(in));
    MV_TRY(description, decodeText(in));
    ByteView data = in.take(in.u32le());
    if (in.failed() || data.empty())
        return wrong("a picture that is not there");
    picture.mimeType = std::move(mimeType);
    picture.description = std::move(description);
    picture.data.assign(data.begin(), data.end());
    return picture;
}

} // namespace

void encodeFacts(const Facts& facts, Bytes& out)
{
    Encoder encoder(out);
    encoder.count(facts.entries().size());
    for (const auto& [key, value] : facts.entries()) {
        encoder.row(*factRowOf(key));
        std::visit(encoder, value);
    }
    encoder.count(facts.pictures.size());
    for (const FactPicture& picture : facts.pictures) {
        encoder(picture.type);
        encoder(picture.mimeType);
        encoder(picture.description);
        encoder.sized(picture.data);
    }
}

Result<Facts> decodeFacts(ByteView bytes)
{
    static_assert(FactRows.size() <= 256, "a row's number is one byte");
    ByteReader in(bytes);
    Facts facts;
    MV_TRY_VOID(decodeEntries(in, facts));
    std::uint32_t pictures = in.u32le();
    if (pictures > MaxFactPictures)
        return Error { Error::Kind::Limit, "facts claim too many pictures" };
    for (std::uint32_t i = 0; i < pictures; ++i) {
        MV_TRY(picture, decodePicture(in));
        facts.pictures.push_back(std::move(picture));
    }
    if (in.failed() || !in.atEnd())
        return wrong("a wrong length");
    return facts;
}

} // namespace mv
