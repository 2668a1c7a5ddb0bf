#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Path.h"
#include "Base/Media/Record.h"

#include <functional>
#include <optional>
#include <string>
#include <systemd/sd-bus.h>
#include <utility>
#include <vector>

namespace mv {

/// Replies and arguments above this many bytes of content are refused with LimitsExceeded; the message bus would
/// disconnect a sender at twice that.
inline constexpr std::size_t WireMaxBytes = 32u << 20;

/// True for text that goes over the bus as it is: valid UTF-8 without NUL and what buses refuse. WireWriter changes
/// every other one on the way.
bool isWireText(std::string_view text);

/// Takes values out of a message, in order. Throws BusError (InvalidArgs) where another type stands. Keeps no
/// ownership: the message outlives the reader.
class WireReader {
public:
    explicit WireReader(sd_bus_message* message)
        : m_message(message)
    {
    }

    std::string string();
    bool boolean();
    std::int32_t integer();
    std::uint32_t unsignedInteger();
    std::int64_t longInteger();
    std::uint64_t unsignedLongInteger();
    double real();
    std::string objectPath();
    /// h: a descriptor of the caller's own, of the file that the sender has opened.
    UniqueFd handle();
    /// as
    std::vector<std::string> strings();
    /// ay
    Bytes bytes();
    /// g: true for the null object, an empty signature.
    bool isNullObject();
    /// The connection that has sent the message; empty where that is not known.
    std::string sender() const;
    /// Whatever has that signature is left out.
    void skip(const std::string& signature);
    /// s, of which the empty one is a nil path.
    Path path();
    /// A structure of two doubles.
    std::pair<double, double> realPair();
    /// A structure of a string and an integer.
    std::pair<std::string, std::int32_t> stringAndInteger();
    /// A structure of two strings.
    std::pair<std::string, std::string> stringPair();
    /// a{sv}. Integers of every type are taken: what fits 32 bits becomes a 32-bit value, the rest a 64-bit one. What
    /// is of no kind that records have (lists, dictionaries, structures, paths, descriptors) becomes an OtherKind.
    Record record();
    /// a{sv} of other kinds: `read` is given every key with its value's signature, and takes the value.
    void entries(const std::function<void(const std::string& key, const std::string& signature)>& read);
    /// An array of `contents`, of which `take` takes one element.
    void list(const char* contents, const std::function<void()>& take);
    /// aa{sv}: none or one.
    std::optional<Record> optionalRecord();
    /// as: none or one.
    std::optional<std::string> optionalString();
    /// a(x): none or one.
    std::optional<Date> optionalDate();

private:
    struct ValueForm;

    template <class T> T read(char type);
    template <class T> std::optional<T> noneOrOne(const char* contents, T (WireReader::*readOne)());
    void enter(char type, const char* contents);
    bool enterNext(char type, const char* contents);
    void leave();
    bool atEnd();
    Date date();
    Value value(const std::string& signature);

    sd_bus_message* m_message;
};

/// Puts values into a message, in order. Text is cleaned on the way: ill-formed UTF-8 and NUL bytes become U+FFFD.
/// Throws BusError (LimitsExceeded) above WireMaxBytes. Of a record's values, what has no form on the bus is left out.
class WireWriter {
public:
    explicit WireWriter(sd_bus_message* message)
        : m_message(message)
    {
    }

    WireWriter& string(std::string_view text);
    WireWriter& boolean(bool value);
    WireWriter& integer(std::int32_t value);
    WireWriter& unsignedInteger(std::uint32_t value);
    WireWriter& longInteger(std::int64_t value);
    WireWriter& unsignedLongInteger(std::uint64_t value);
    WireWriter& real(double value);
    WireWriter& objectPath(const std::string& path);
    /// ay
    WireWriter& bytes(ByteView bytes);
    /// g, empty.
    WireWriter& nullObject();
    /// h: the descriptor is copied.
    WireWriter& handle(int descriptor);
    /// An array of `contents`, which `fill` puts in.
    template <class Fill> WireWriter& list(const char* contents, const Fill& fill)
    {
        open('a', contents);
        fill();
        close();
        return *this;
    }
    /// An entry of a{sv}, whose value `fill` puts in.
    template <class Fill> WireWriter& entry(std::string_view key, const char* signature, const Fill& fill)
    {
        open('e', "sv");
        string(key);
        open('v', signature);
        fill();
        close();
        close();
        return *this;
    }
    /// Bytes of content up to here, as they count against WireMaxBytes.
    std::size_t written() const { return m_bytes; }
    WireWriter& path(const Path& path) { return string(path.text()); }
    WireWriter& realPair(double first, double second);
    WireWriter& stringPair(std::string_view first, std::string_view second);
    WireWriter& stringAndInteger(std::string_view text, std::int32_t number);
    WireWriter& record(const Record& record);
    WireWriter& optionalRecord(const std::optional<Record>& record);
    WireWriter& optionalString(const std::optional<std::string>& text);
    WireWriter& optionalDate(const std::optional<Date>& date);

private:
    class VariantEncoder;

    void count(std::size_t bytes);
    void basic(char type, const void* value);
    void open(char type, const char* contents);
    void close();
    void date(Date date);
    void variant(const Value& value);

    sd_bus_message* m_message;
    std::size_t m_bytes = 0;
};

} // namespace mv
