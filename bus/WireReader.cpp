#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "bus/Wire.h"

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

std::string WireReader::string() { return read<const char*>('s'); }

bool WireReader::boolean() { return read<int>('b') != 0; }

std::int32_t WireReader::integer() { return read<std::int32_t>('i'); }

double WireReader::real() { return read<double>('d'); }

std::string WireReader::objectPath() { return read<const char*>('o'); }

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
    Value result = value(signature);
    leave();
    return result;
}

Value WireReader::value(const std::string& signature)
{
    if (signature.size() == 1)
        return basicValue(signature[0]);
    if (signature == "ay") {
        const void* data = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_read_array(m_message, 'y', &data, &size) < 0)
            failArguments("data");
        auto first = static_cast<const std::uint8_t*>(data);
        return Bytes(first, first + size);
    }
    if (signature == "(x)") {
        Date date;
        enter('r', "x");
        basic('x', &date.microseconds);
        leave();
        return date;
    }
    return skipped(signature);
}

Value WireReader::basicValue(char type)
{
    switch (type) {
    case 'y':
        return std::int32_t { read<std::uint8_t>(type) };
    case 'n':
        return std::int32_t { read<std::int16_t>(type) };
    case 'q':
        return std::int32_t { read<std::uint16_t>(type) };
    case 'i':
        return read<std::int32_t>(type);
    case 'u':
        return narrowest(read<std::uint32_t>(type));
    case 'x':
        return narrowest(read<std::int64_t>(type));
    case 't':
        return narrowest(static_cast<std::int64_t>(
            std::min<std::uint64_t>(read<std::uint64_t>(type), std::numeric_limits<std::int64_t>::max())));
    case 'b':
        return read<int>(type) != 0;
    case 'd':
        return read<double>(type);
    case 's':
        return read<const char*>(type);
    case 'g':
        return *read<const char*>(type) ? Value(OtherKind {}) : Value(NullObject {});
    default:
        return skipped(std::string(1, type));
    }
}

Value WireReader::skipped(const std::string& signature)
{
    if (sd_bus_message_skip(m_message, signature.c_str()) < 0)
        failArguments(signature.c_str());
    return OtherKind {};
}

} // namespace mv
