#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "bus/BusError.h"
#include "bus/Wire.h"

#include <algorithm>

namespace mv {

namespace {

/// Bytes of the noncharacter (U+FDD0 to U+FDEF, and the last two of every plane) at the front of well-formed UTF-8,
/// or 0. They are legal text, but buses refuse them.
std::size_t noncharacterLength(std::string_view text)
{
    auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    bool endsPlane = (byte(0) & 0xF0) == 0xF0 && (byte(1) & 0x0F) == 0x0F && byte(2) == 0xBF && byte(3) >= 0xBE;
    if (endsPlane)
        return 4;
    bool endsFirstPlane = byte(0) == 0xEF && byte(1) == 0xBF && byte(2) >= 0xBE;
    bool isReserved = byte(0) == 0xEF && byte(1) == 0xB7 && byte(2) >= 0x90 && byte(2) <= 0xAF;
    return endsFirstPlane || isReserved ? 3 : 0;
}

bool isPlain(std::string_view text)
{
    return std::ranges::all_of(text, [](char c) { return static_cast<signed char>(c) > 0; });
}

std::string cleaned(std::string_view text)
{
    if (isPlain(text))
        return std::string(text);
    constexpr std::string_view Replacement = "\xEF\xBF\xBD";
    std::string valid = isValidUtf8(text) ? std::string(text) : cleanedUtf8(text);
    std::string_view rest = valid;
    std::string out;
    out.reserve(valid.size());
    while (!rest.empty()) {
        std::size_t bad = rest.front() == 0 ? 1 : noncharacterLength(rest);
        if (bad)
            out += Replacement;
        else
            out += rest.front();
        rest.remove_prefix(bad ? bad : 1);
    }
    return out;
}

/// A file's size when it is held in 32 bits: on the bus it has 64, whichever way it came.
const std::int32_t* narrowFileSize(std::string_view key, const Value& value)
{
    return key == MediaDBCommonColumnFileSize ? std::get_if<std::int32_t>(&value.storage()) : nullptr;
}

} // namespace

bool isWireText(std::string_view text) { return isPlain(text) || cleaned(text) == text; }

void WireWriter::count(std::size_t bytes)
{
    m_bytes += bytes;
    if (m_bytes > WireMaxBytes)
        throw BusError(BusErrorLimitsExceeded, "the answer is larger than 32 MiB");
}

void WireWriter::basic(char type, const void* value)
{
    count(8);
    if (int code = sd_bus_message_append_basic(m_message, type, value); code < 0)
        throw BusError(BusErrorFailed, formatText("cannot encode a value of type %c (%d)", type, code));
}

void WireWriter::open(char type, const char* contents)
{
    count(8);
    if (int code = sd_bus_message_open_container(m_message, type, contents); code < 0)
        throw BusError(BusErrorFailed, formatText("cannot encode %s (%d)", contents, code));
}

void WireWriter::close()
{
    if (int code = sd_bus_message_close_container(m_message); code < 0)
        throw BusError(BusErrorFailed, formatText("cannot encode the end of a list (%d)", code));
}

WireWriter& WireWriter::string(std::string_view text)
{
    count(text.size());
    basic('s', cleaned(text).c_str());
    return *this;
}

WireWriter& WireWriter::boolean(bool value)
{
    int number = value;
    basic('b', &number);
    return *this;
}

WireWriter& WireWriter::integer(std::int32_t value)
{
    basic('i', &value);
    return *this;
}

WireWriter& WireWriter::unsignedInteger(std::uint32_t value)
{
    basic('u', &value);
    return *this;
}

WireWriter& WireWriter::longInteger(std::int64_t value)
{
    basic('x', &value);
    return *this;
}

WireWriter& WireWriter::unsignedLongInteger(std::uint64_t value)
{
    basic('t', &value);
    return *this;
}

WireWriter& WireWriter::handle(int descriptor)
{
    basic('h', &descriptor);
    return *this;
}

WireWriter& WireWriter::real(double value)
{
    basic('d', &value);
    return *this;
}

WireWriter& WireWriter::bytes(ByteView bytes)
{
    count(bytes.size());
    if (int code = sd_bus_message_append_array(m_message, 'y', bytes.data(), bytes.size()); code < 0)
        throw BusError(BusErrorFailed, formatText("cannot encode data (%d)", code));
    return *this;
}

WireWriter& WireWriter::nullObject()
{
    basic('g', "");
    return *this;
}

WireWriter& WireWriter::objectPath(const std::string& path)
{
    count(path.size());
    basic('o', path.c_str());
    return *this;
}

WireWriter& WireWriter::realPair(double first, double second)
{
    open('r', "dd");
    real(first).real(second);
    close();
    return *this;
}

WireWriter& WireWriter::stringPair(std::string_view first, std::string_view second)
{
    open('r', "ss");
    string(first).string(second);
    close();
    return *this;
}

WireWriter& WireWriter::stringAndInteger(std::string_view text, std::int32_t number)
{
    open('r', "si");
    string(text).integer(number);
    close();
    return *this;
}

WireWriter& WireWriter::record(const Record& record)
{
    open('a', "{sv}");
    for (const auto& [key, value] : record) {
        if (value.isOtherKind())
            continue;
        open('e', "sv");
        string(key);
        if (auto size = narrowFileSize(key, value))
            variant(std::int64_t { *size });
        else
            variant(value);
        close();
    }
    close();
    return *this;
}

WireWriter& WireWriter::optionalRecord(const std::optional<Record>& value)
{
    open('a', "a{sv}");
    if (value)
        record(*value);
    close();
    return *this;
}

WireWriter& WireWriter::optionalString(const std::optional<std::string>& text)
{
    open('a', "s");
    if (text)
        string(*text);
    close();
    return *this;
}

WireWriter& WireWriter::optionalDate(const std::optional<Date>& value)
{
    open('a', "(x)");
    if (value)
        date(*value);
    close();
    return *this;
}

void WireWriter::date(Date date)
{
    open('r', "x");
    basic('x', &date.microseconds);
    close();
}

/// Appends a value as a variant: by its kind, the signature and what it is on the wire.
class WireWriter::VariantEncoder {
public:
    explicit VariantEncoder(WireWriter& writer)
        : m_writer(writer)
    {
    }

    void operator()(NullObject) { basic("g", ""); }
    void operator()(OtherKind) { throw BusError(BusErrorFailed, "cannot encode a value of an unknown kind"); }
    void operator()(bool flag)
    {
        int number = flag;
        basic("b", &number);
    }
    void operator()(std::int32_t number) { basic("i", &number); }
    void operator()(std::int64_t number) { basic("x", &number); }
    void operator()(double number) { basic("d", &number); }
    void operator()(const std::string& text)
    {
        variant("s", [&] { m_writer.string(text); });
    }
    void operator()(Date date)
    {
        variant("(x)", [&] { m_writer.date(date); });
    }
    void operator()(const Bytes& data)
    {
        variant("ay", [&] { m_writer.bytes(data); });
    }

private:
    template <class Content> void variant(const char* signature, const Content& content)
    {
        m_writer.open('v', signature);
        content();
        m_writer.close();
    }
    void basic(const char* signature, const void* target)
    {
        variant(signature, [&] { m_writer.basic(signature[0], target); });
    }

    WireWriter& m_writer;
};

void WireWriter::variant(const Value& value) { std::visit(VariantEncoder(*this), value.storage()); }

} // namespace mv
