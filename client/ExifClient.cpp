#include "client/ExifClient.h"

#include "bus/BusError.h"
#include "bus/BusName.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

void storeText(MVExifInfo& info, const std::string& name, const MVExifInfo::Text& text)
{
    for (const ExifTextProperty& property : kExifTextProperties) {
        if (name == property.name)
            info.*property.field = text;
    }
}

MVExifInfo infoFrom(WireReader& reader)
{
    MVExifInfo info;
    reader.entries([&](const std::string& name, const std::string& signature) {
        if (signature == "as")
            storeText(info, name, reader.optionalString());
        else if (signature == "a(x)")
            info.date = reader.optionalDate();
        else if (signature == "i")
            info.versionNumber = reader.integer();
        else
            throw BusError(BusErrorInvalidArgs, "the EXIF record has not the form that clients know");
    });
    return info;
}

} // namespace

Result<std::optional<MVExifInfo>> ExifClient::extractExif(const Path& path)
{
    std::string object;
    MV_TRY_VOID(m_bus.call(
        { ExifExtractorService, wire::ExifExtractorBase::Interface, wire::ExifExtractorBase::extractExif },
        [&](WireWriter& to) { to.string(path.text()); }, [&](WireReader& from) { object = from.objectPath(); }));
    if (object == "/")
        return std::optional<MVExifInfo>();
    auto info = readInfo(object);
    MV_TRY_VOID(
        m_bus.call({ ExifExtractorService, wire::ExifInfo::Interface, wire::ExifInfo::release, object.c_str() }));
    if (!info)
        return info.error();
    return std::optional(std::move(info).value());
}

Result<MVExifInfo> ExifClient::readInfo(const std::string& objectPath)
{
    BusErrorHolder error;
    sd_bus_message* answered = nullptr;
    int code = sd_bus_call_method(m_bus.bus(), busNameForService(ExifExtractorService).c_str(), objectPath.c_str(),
        "org.freedesktop.DBus.Properties", "GetAll", error.get(), &answered, "s", wire::ExifInfo::Interface);
    BusMessage answer(answered);
    if (code < 0)
        return Error { Error::Kind::Io, error.message(), -code, error.name() };
    try {
        WireReader reader(answer.get());
        return infoFrom(reader);
    } catch (const BusError&) {
        return Error { Error::Kind::Format, "the EXIF record has not the form that clients know" };
    }
}

} // namespace mv
