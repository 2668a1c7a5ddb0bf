#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "bus/Wire.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <utility>

namespace mv {

namespace {

[[noreturn]] void failArguments(const char* what)
{
    throw BusError(BusErrorInvalidArgs, formatText("the message has no %s where one is expected", what));
}

template <class T> Value narrowest(T value)
{
    if (std::in_range<std::int32_t>(value))
        return static_cast<std::int32_t>(value);
    using Widest = std::numeric_limits<std::int64_t>;
    return std::in_range<std::int64_t>(value) ? static_cast<std::int64_t>(value) : Widest::max();
}

} // namespace

template <class T> T WireReader::read(char type)
{
    T value {};
    int code = sd_bus_message_read_basic(m_message, type, &value);
    if (code == -EBADMSG && type == SD_BUS_TYPE_STRING)
        throw BusError(BusErrorInvalidArgs, "the message has a text with a noncharacter, as U+FFFF is one");
    if (code <= 0)
        failArguments(std::string("value of type ").append(1, type).c_str());
    return value;
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

bool WireReader::atEnd() { return sd_bus_message_at_end(m_message, 0) != 0; }

std::string WireReader::string() { return read<const char*>('s'); }

bool WireReader::boolean() { return read<int>('b') != 0; }

std::int32_t WireReader::integer() { return read<std::int32_t>('i'); }

std::uint32_t WireReader::unsignedInteger() { return read<std::uint32_t>('u'); }

std::int64_t WireReader::longInteger() { return read<std::int64_t>('x'); }

std::uint64_t WireReader::unsignedLongInteger() { return read<std::uint64_t>('t'); }

double WireReader::real() { return read<double>('d'); }

std::string WireReader::objectPath() { return read<const char*>('o'); }

UniqueFd WireReader::handle()
{
    // The message keeps its own.
    UniqueFd copy(fcntl(read<int>('h'), F_DUPFD_CLOEXEC, 0));
    if (!copy)
        throw BusError(BusErrorLimitsExceeded, formatText("no descriptor can be had: %s", std::strerror(errno)));
    return copy;
}

std::vector<std::string> WireReader::strings()
{
    std::vector<std::string> texts;
    list("s", [&] { texts.push_back(string()); });
    return texts;
}

Bytes WireReader::bytes()
{
    const void* data = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_read_array(m_message, 'y', &data, &size) < 0)
        failArguments("data");
    auto first = static_cast<const std::uint8_t*>(data);
    return Bytes(first, first + size);
}

bool WireReader::isNullObject() { return *read<const char*>('g') == '\0'; }

std::string WireReader::sender() const
{
    const char* name = sd_bus_message_get_sender(m_message);
    return name ? name : "";
}

void WireReader::skip(const std::string& signature)
{
    if (sd_bus_message_skip(m_message, signature.c_str()) < 0)
        failArguments(signature.c_str());
}

Path WireReader::path()
{
    std::string text = string();
    return text.empty() ? Path() : Path(std::move(text));
}

std::pair<double, double> WireReader::realPair()
{
    enter('r', "dd");
    double first = real();
    double second = real();
    leave();
    return { first, second };
}

std::pair<std::string, std::string> WireReader::stringPair()
{
    enter('r', "ss");
    std::string first = string();
    std::string second = string();
    leave();
    return { std::move(first), std::move(second) };
}

std::pair<std::string, std::int32_t> WireReader::stringAndInteger()
{
    enter('r', "si");
    std::string text = string();
    std::int32_t number = integer();
    leave();
    return { std::move(text), number };
}

Date WireReader::date()
{
    enter('r', "x");
    Date date { longInteger() };
    leave();
    return date;
}

void WireReader::entries(const std::function<void(const std::string& key, const std::string& signature)>& read)
{
    enter('a', "{sv}");
    while (enterNext('e', "sv")) {
        std::string key = string();
        char type = 0;
        const char* contents = nullptr;
        if (sd_bus_message_peek_type(m_message, &type, &contents) <= 0 || type != 'v')
            failArguments("variant");
        std::string signature = contents;
        enter('v', signature.c_str());
        read(key, signature);
        leave();
        leave();
    }
    leave();
}

void WireReader::list(const char* contents, const std::function<void()>& take)
{
    enter('a', contents);
    while (!atEnd())
        take();
    leave();
}

Record WireReader::record()
{
    Record record;
    entries([&](const std::string& key, const std::string& signature) { record.set(key, value(signature)); });
    return record;
}

template <class T> std::optional<T> WireReader::noneOrOne(const char* contents, T (WireReader::*readOne)())
{
    std::optional<T> result;
    enter('a', contents);
    if (!atEnd())
        result = (this->*readOne)();
    if (!atEnd())
        failArguments("end after one value");
    leave();
    return result;
}

std::optional<Record> WireReader::optionalRecord() { return noneOrOne("a{sv}", &WireReader::record); }

std::optional<std::string> WireReader::optionalString() { return noneOrOne("s", &WireReader::string); }

std::optional<Date> WireReader::optionalDate() { return noneOrOne("(x)", &WireReader::date); }

/// How the values that records have are read, by their signatures.
struct WireReader::ValueForm {
    std::string_view signature;
    Value (*read)(WireReader&);

    template <class T, char Type> static Value integer(WireReader& in) { return narrowest(in.read<T>(Type)); }
    static Value null(WireReader& in) { return in.isNullObject() ? Value(NullObject {}) : OtherKind {}; }
    static Value data(WireReader& in) { return in.bytes(); }
};

Value WireReader::value(const std::string& signature)
{
    static constexpr ValueForm Forms[] {
        { "y", ValueForm::integer<std::uint8_t, 'y'> },
        { "n", ValueForm::integer<std::int16_t, 'n'> },
        { "q", ValueForm::integer<std::uint16_t, 'q'> },
        { "i", ValueForm::integer<std::int32_t, 'i'> },
        { "u", ValueForm::integer<std::uint32_t, 'u'> },
        { "x", ValueForm::integer<std::int64_t, 'x'> },
        { "t", ValueForm::integer<std::uint64_t, 't'> },
        { "b", [](WireReader& in) -> Value { return in.boolean(); } },
        { "d", [](WireReader& in) -> Value { return in.real(); } },
        { "s", [](WireReader& in) -> Value { return in.string(); } },
        { "g", ValueForm::null },
        { "ay", ValueForm::data },
        { "(x)", [](WireReader& in) -> Value { return in.date(); } },
    };
    for (const ValueForm& form : Forms) {
        if (form.signature == signature)
            return form.read(*this);
    }
    skip(signature);
    return OtherKind {};
}

} // namespace mv
