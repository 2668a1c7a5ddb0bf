#include "service/job/RecordCode.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/TiffForm.h"

#include <bit>

namespace mv {

namespace {

// The letters of the kinds.
constexpr std::uint8_t Null = 'n';
constexpr std::uint8_t Flag = 'b';
constexpr std::uint8_t Integer = 'i';
constexpr std::uint8_t LongInteger = 'x';
constexpr std::uint8_t Real = 'd';
constexpr std::uint8_t Text = 's';
constexpr std::uint8_t Moment = 't';
constexpr std::uint8_t Data = 'y';
constexpr std::uint8_t Picture = 'p';
constexpr std::uint8_t Other = 'o';

class Encoder {
public:
    Encoder(Bytes& out, bool anyText)
        : m_anyText(anyText)
        , m_out(out)
    {
    }

    void operator()(NullObject) { m_out.u8(Null); }
    void operator()(OtherKind) { m_out.u8(Other); }
    void operator()(bool value)
    {
        m_out.u8(Flag);
        m_out.u8(value ? 1 : 0);
    }
    void operator()(std::int32_t value)
    {
        m_out.u8(Integer);
        m_out.u32le(static_cast<std::uint32_t>(value));
    }
    void operator()(std::int64_t value) { number(LongInteger, static_cast<std::uint64_t>(value)); }
    void operator()(double value) { number(Real, std::bit_cast<std::uint64_t>(value)); }
    void operator()(Date value) { number(Moment, static_cast<std::uint64_t>(value.microseconds)); }
    void operator()(const std::string& value)
    {
        m_out.u8(Text);
        text(value);
    }
    void operator()(const Bytes& value)
    {
        if (auto pixels = pixelsOfTiff(value))
            return picture(*pixels);
        m_out.u8(Data);
        sized(value);
    }
    void text(std::string_view value)
    {
        if (m_anyText || isSendableText(value))
            sized(bytesOf(value));
        else
            sized(bytesOf(sendableText(value)));
    }
    void sized(ByteView bytes)
    {
        m_out.u32le(static_cast<std::uint32_t>(bytes.size()));
        m_out.bytes(bytes);
    }
    void count(std::size_t entries) { m_out.u32le(static_cast<std::uint32_t>(entries)); }

private:
    void picture(const TiffPixels& picture)
    {
        m_out.u8(Picture);
        m_out.u32le(static_cast<std::uint32_t>(picture.width));
        m_out.u32le(static_cast<std::uint32_t>(picture.height));
        m_out.bytes(picture.pixels);
    }
    void number(std::uint8_t kind, std::uint64_t value)
    {
        m_out.u8(kind);
        m_out.u64le(value);
    }

    bool m_anyText;
    ByteWriter m_out;
};

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a record with %s", what) }; }

/// What a record may have.
struct Bounds {
    std::size_t entries;
    std::size_t keyBytes;
    bool anyText;
};

Result<std::string> decodeText(ByteReader& in, const Bounds& bounds)
{
    std::string_view text = charsOf(in.take(in.u32le()));
    if (in.failed())
        return wrong("a text that is not there");
    if (!bounds.anyText && !isSendableText(text))
        return wrong("a text that is none");
    return std::string(text);
}

Result<Value> decodeFlag(ByteReader& in)
{
    std::uint8_t flag = in.u8();
    return flag <= 1 ? Result<Value>(Value(flag == 1)) : wrong("a flag of a third kind");
}

Result<Value> decodePicture(ByteReader& in)
{
    std::uint64_t width = in.u32le();
    std::uint64_t height = in.u32le();
    if (width < 1 || height < 1 || width > MaxTiffPixels || height > MaxTiffPixels / width)
        return wrong("a picture of no size");
    ByteView pixels = in.take(static_cast<std::size_t>(width * height) * TiffPixelBytes);
    if (in.failed())
        return wrong("a picture that is not there");
    return Value(tiffOfPixels({ static_cast<int>(width), static_cast<int>(height), pixels }));
}

Result<Value> decodeValue(ByteReader& in, const Bounds& bounds)
{
    switch (in.u8()) {
    case Null:
        return Value(NullObject {});
    case Other:
        return Value(OtherKind {});
    case Flag:
        return decodeFlag(in);
    case Integer:
        return Value(static_cast<std::int32_t>(in.u32le()));
    case LongInteger:
        return Value(static_cast<std::int64_t>(in.u64le()));
    case Real:
        return Value(std::bit_cast<double>(in.u64le()));
    case Moment:
        return Value(Date { static_cast<std::int64_t>(in.u64le()) });
    case Text: {
        MV_TRY(text, decodeText(in, bounds));
        return Value(std::move(text));
    }
    case Data: {
        ByteView data = in.take(in.u32le());
        return Value(Bytes(data.begin(), data.end()));
    }
    case Picture:
        return decodePicture(in);
    default:
        return wrong("a value of no kind");
    }
}

Result<Record> decode(ByteView bytes, const Bounds& bounds)
{
    ByteReader in(bytes);
    std::uint32_t count = in.u32le();
    if (count > bounds.entries)
        return Error { Error::Kind::Limit, "a record claims too many entries" };
    Record record;
    for (std::uint32_t i = 0; i < count; ++i) {
        MV_TRY(key, decodeText(in, bounds));
        if (key.size() > bounds.keyBytes || record.contains(key))
            return wrong("a key that is too long or there twice");
        MV_TRY(value, decodeValue(in, bounds));
        if (in.failed())
            return wrong("a value that is not there");
        record.set(key, std::move(value));
    }
    if (in.failed() || !in.atEnd())
        return wrong("a wrong length");
    return record;
}

/// A guess that is not too low for anything large.
std::size_t bytesFor(const Record& record)
{
    constexpr std::size_t BytesOfEntry = 64;
    std::size_t bytes = record.size() * BytesOfEntry;
    for (const auto& [key, value] : record)
        bytes += value.data() ? value.data()->size() : 0;
    return bytes;
}

void encode(const Record& record, Bytes& out, bool anyText)
{
    out.reserve(out.size() + bytesFor(record));
    Encoder encoder(out, anyText);
    encoder.count(record.size());
    for (const auto& [key, value] : record) {
        encoder.sized(bytesOf(key));
        std::visit(encoder, value.storage());
    }
}

} // namespace

void encodeRecord(const Record& record, Bytes& out) { encode(record, out, false); }

void encodeRecordOfHost(const Record& record, Bytes& out) { encode(record, out, true); }

Result<Record> decodeRecord(ByteView bytes) { return decode(bytes, { MaxRecordEntries, MaxKeyBytes, false }); }

Result<Record> decodeRecordOfHost(ByteView bytes) { return decode(bytes, { bytes.size(), bytes.size(), true }); }

} // namespace mv
