#include "Base/Core/Text.h"
#include "platform/ipc/BusError.h"
#include "platform/ipc/Wire.h"

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

} // namespace

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

} // namespace mv
