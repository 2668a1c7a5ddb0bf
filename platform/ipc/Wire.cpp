#include "platform/ipc/Wire.h"

#include "Base/Core/Text.h"
#include "platform/ipc/BusError.h"

#include <limits>

namespace mv {

namespace {

[[noreturn]] void failArguments(const char* what)
{
    throw BusError(BusErrorInvalidArgs, formatText("the message has no %s where one is expected", what));
}

Value narrowest(std::int64_t value)
{
    using Narrow = std::numeric_limits<std::int32_t>;
    if (value >= Narrow::min() && value <= Narrow::max())
        return static_cast<std::int32_t>(value);
    return value;
}

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

std::string cleaned(std::string_view text)
{
    std::string out = isValidUtf8(text) ? std::string(text) : cleanedUtf8(text);
    constexpr std::string_view Replacement = "\xEF\xBF\xBD";
    for (std::size_t at = 0; at < out.size(); ++at) {
        auto lead = static_cast<unsigned char>(out[at]);
        if (lead != 0 && lead < 0xEF)
            continue;
        if (std::size_t length = lead == 0 ? 1 : noncharacterLength(std::string_view(out).substr(at)))
            out.replace(at, length, Replacement);
    }
    return out;
}

} // namespace

// ---- WireReader

void WireReader::basic(char type, void* target)
{
    if (sd_bus_message_read_basic(m_message, type, target) <= 0)
        failArguments(std::string("value of type ").append(1, type).c_str());
}

void WireReader::enter(char type, const char* contents)
{
    if (!enterNext(type, contents))
        failArguments(contents);
}

bool WireReader::enterNext(char type, const char* contents)
{
    int code = sd_bus_message_enter_container(m_message, type, contents);
    if (code < 0)
        failArguments(contents);
    return code > 0;
}

void WireReader::leave()
{
    if (sd_bus_message_exit_container(m_message) < 0)
        failArguments("end of the list");
}

void WireReader::leaveOptional()
{
    if (!atEnd())
        failArguments("end after one value");
    leave();
}

bool WireReader::atEnd() { return sd_bus_message_at_end(m_message, 0) != 0; }

std::string WireReader::string()
{
    const char* text = nullptr;
    basic('s', &text);
    return text;
}

bool WireReader::boolean()
{
    int value = 0;
    basic('b', &value);
    return value != 0;
}

std::int32_t WireReader::integer()
{
    std::int32_t value = 0;
    basic('i', &value);
    return value;
}

double WireReader::real()
{
    double value = 0;
    basic('d', &value);
    return value;
}

std::string WireReader::objectPath()
{
    const char* path = nullptr;
    basic('o', &path);
    return path;
}

std::pair<double, double> WireReader::realPair()
{
    enter('r', "dd");
    double first = real();
    double second = real();
    leave();
    return { first, second };
}

std::pair<std::string, std::int32_t> WireReader::stringAndInteger()
{
    enter('r', "si");
    std::string text = string();
    std::int32_t number = integer();
    leave();
    return { std::move(text), number };
}

Record WireReader::record()
{
    Record record;
    enter('a', "{sv}");
    while (enterNext('e', "sv")) {
        std::string key = string();
        record.set(key, variant());
        leave();
    }
    leave();
    return record;
}

std::optional<Record> WireReader::optionalRecord()
{
    std::optional<Record> result;
    enter('a', "a{sv}");
    if (!atEnd())
        result = record();
    leaveOptional();
    return result;
}

std::optional<std::string> WireReader::optionalString()
{
    std::optional<std::string> result;
    enter('a', "s");
    if (!atEnd())
        result = string();
    leaveOptional();
    return result;
}

std::optional<Date> WireReader::optionalDate()
{
    std::optional<Date> result;
    enter('a', "(x)");
    if (enterNext('r', "x")) {
        result.emplace();
        basic('x', &result->microseconds);
        leave();
    }
    leaveOptional();
    return result;
}

Value WireReader::variant()
{
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(m_message, &type, &contents) <= 0 || type != 'v')
        failArguments("variant");
    std::string signature = contents;
    enter('v', signature.c_str());
    Value value;
    union {
        std::uint8_t y;
        std::int16_t n;
        std::uint16_t q;
        std::int32_t i;
        std::uint32_t u;
        std::int64_t x;
        std::uint64_t t;
        int b;
        double d;
        const char* text;
    } read {};
    if (signature == "ay") {
        const void* data = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_read_array(m_message, 'y', &data, &size) < 0)
            failArguments("data");
        auto first = static_cast<const std::uint8_t*>(data);
        value = Bytes(first, first + size);
    } else if (signature == "(x)") {
        enter('r', "x");
        basic('x', &read.x);
        leave();
        value = Date { read.x };
    } else if (signature.size() == 1) {
        basic(signature[0], &read);
        switch (signature[0]) {
        case 'y':
            value = std::int32_t { read.y };
            break;
        case 'n':
            value = std::int32_t { read.n };
            break;
        case 'q':
            value = std::int32_t { read.q };
            break;
        case 'i':
            value = read.i;
            break;
        case 'u':
            value = narrowest(read.u);
            break;
        case 'x':
            value = narrowest(read.x);
            break;
        case 't':
            value = narrowest(
                static_cast<std::int64_t>(std::min<std::uint64_t>(read.t, std::numeric_limits<std::int64_t>::max())));
            break;
        case 'b':
            value = read.b != 0;
            break;
        case 'd':
            value = read.d;
            break;
        case 's':
            value = read.text;
            break;
        case 'g':
            if (*read.text)
                failArguments("known kind of value in the record");
            value = NullObject {};
            break;
        default:
            failArguments("known kind of value in the record");
        }
    } else {
        failArguments("known kind of value in the record");
    }
    leave();
    return value;
}

// ---- WireWriter

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

WireWriter& WireWriter::real(double value)
{
    basic('d', &value);
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
        open('e', "sv");
        string(key);
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

WireWriter& WireWriter::optionalDate(const std::optional<Date>& date)
{
    open('a', "(x)");
    if (date) {
        open('r', "x");
        basic('x', &date->microseconds);
        close();
    }
    close();
    return *this;
}

void WireWriter::variant(const Value& value)
{
    struct Encoder {
        WireWriter& writer;

        void scalar(const char* signature, const void* target)
        {
            writer.open('v', signature);
            writer.basic(signature[0], target);
            writer.close();
        }
        void operator()(NullObject) { scalar("g", ""); }
        void operator()(bool flag)
        {
            int number = flag;
            scalar("b", &number);
        }
        void operator()(std::int32_t number) { scalar("i", &number); }
        void operator()(std::int64_t number) { scalar("x", &number); }
        void operator()(double number) { scalar("d", &number); }
        void operator()(const std::string& text)
        {
            writer.open('v', "s");
            writer.string(text);
            writer.close();
        }
        void operator()(Date date)
        {
            writer.open('v', "(x)");
            writer.open('r', "x");
            writer.basic('x', &date.microseconds);
            writer.close();
            writer.close();
        }
        void operator()(const Bytes& data)
        {
            writer.count(data.size());
            writer.open('v', "ay");
            if (int code = sd_bus_message_append_array(writer.m_message, 'y', data.data(), data.size()); code < 0)
                throw BusError(BusErrorFailed, formatText("cannot encode data (%d)", code));
            writer.close();
        }
    };
    std::visit(Encoder { *this }, value.storage());
}

} // namespace mv
