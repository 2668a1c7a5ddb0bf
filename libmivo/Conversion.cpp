#include "libmivo/Conversion.h"

#include "libmivo/ValueContent.h"

#include <limits>

namespace mivo {

namespace {

Error::Kind kindFrom(mv::Error::Kind kind)
{
    switch (kind) {
    case mv::Error::Kind::NotFound:
        return Error::Kind::NoService;
    case mv::Error::Kind::Io:
        return Error::Kind::Lost;
    case mv::Error::Kind::Format:
        return Error::Kind::InvalidArgument;
    case mv::Error::Kind::Limit:
        return Error::Kind::TooLarge;
    default:
        return Error::Kind::Failed;
    }
}

Error::Kind kindFrom(mv::MediaErrorKind kind)
{
    switch (kind) {
    case mv::MediaErrorKind::NotFound:
        return Error::Kind::NotFound;
    case mv::MediaErrorKind::AccessDenied:
        return Error::Kind::AccessDenied;
    case mv::MediaErrorKind::NotRegular:
        return Error::Kind::NotRegular;
    case mv::MediaErrorKind::NotMedia:
        return Error::Kind::NotMedia;
    case mv::MediaErrorKind::NoPicture:
        return Error::Kind::NoPicture;
    case mv::MediaErrorKind::Unsupported:
        return Error::Kind::Unsupported;
    case mv::MediaErrorKind::Exists:
        return Error::Kind::Exists;
    case mv::MediaErrorKind::TooLarge:
        return Error::Kind::TooLarge;
    case mv::MediaErrorKind::NoSpace:
        return Error::Kind::NoSpace;
    case mv::MediaErrorKind::TimedOut:
        return Error::Kind::TimedOut;
    case mv::MediaErrorKind::Crashed:
        return Error::Kind::Crashed;
    case mv::MediaErrorKind::Cancelled:
        return Error::Kind::Cancelled;
    case mv::MediaErrorKind::Failed:
        break;
    }
    return Error::Kind::Failed;
}

Error::Kind kindOf(const mv::Error& error)
{
    if (auto kind = mv::mediaErrorKind(error))
        return kindFrom(*kind);
    // The bus tried to start the service.
    if (error.name.starts_with("org.freedesktop.DBus.Error.Spawn."))
        return Error::Kind::NoService;
    return kindFrom(error.kind);
}

struct ValueOfFact {
    Value operator()(std::uint32_t number) const { return static_cast<long long>(number); }
    Value operator()(std::uint64_t number) const
    {
        constexpr auto Most = std::numeric_limits<long long>::max();
        return number > static_cast<std::uint64_t>(Most) ? Most : static_cast<long long>(number);
    }
    template <class T> Value operator()(const T& value) const { return value; }
};

} // namespace

Record recordFrom(const mv::Facts& facts)
{
    Record made;
    for (const auto& [key, value] : facts.entries())
        made.set(key, std::visit(ValueOfFact {}, value));
    return made;
}

Record recordFrom(const mv::Record& record)
{
    Record made;
    for (const auto& [key, value] : record)
        made.set(key, ValueContent::wrapped(value));
    return made;
}

std::optional<Record> recordFrom(const std::optional<mv::Record>& record)
{
    if (!record)
        return std::nullopt;
    return recordFrom(*record);
}

mv::Record recordFrom(const Record& record)
{
    mv::Record made;
    for (const auto& [key, value] : record)
        made.set(key, ValueContent::unwrapped(value));
    return made;
}

Error errorFrom(const mv::Error& error) { return { kindOf(error), error.text, error.name, error.code }; }

} // namespace mivo
