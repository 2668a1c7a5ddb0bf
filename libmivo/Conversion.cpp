#include "libmivo/Conversion.h"

#include "libmivo/ValueContent.h"

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

} // namespace

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

Error errorFrom(const mv::Error& error)
{
    // The bus tried to start the service.
    bool failedStart = error.name.starts_with("org.freedesktop.DBus.Error.Spawn.");
    return { failedStart ? Error::Kind::NoService : kindFrom(error.kind), error.text, error.name, error.code };
}

} // namespace mivo
