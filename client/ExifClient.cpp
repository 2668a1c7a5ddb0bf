#include "client/ExifClient.h"

#include "Base/Core/Handle.h"
#include "bus/BusError.h"

namespace mv {

namespace {

void storeText(MVExifInfo& info, const std::string& name, const MVExifInfo::Text& text)
{
    for (const ExifTextProperty& property : ExifTextProperties) {
        if (name == property.name)
            info.*property.field = text;
    }
}

void readProperties(WireReader& reader, MVExifInfo& info)
{
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
}

} // namespace

std::shared_ptr<MVExifInfo> ExifClient::extractExif(const Path& path)
{
    std::string object = m_service.ask(
        wire::ExifExtractorBase::extractExif, &WireReader::objectPath, [&](WireWriter& out) { out.path(path); });
    if (object == "/")
        return nullptr;
    // What was read counts: an object that cannot be released goes with this connection.
    ScopeGuard release([&] {
        RemoteObject info = m_bus.object(ExifExtractorService, wire::ExifInfo::Interface, object);
        (void)resultOf([&] { info.call(wire::ExifInfo::release, CallWithoutTimeout); }).ok();
    });
    auto info = std::make_shared<MVExifInfo>();
    m_bus.object(ExifExtractorService, "org.freedesktop.DBus.Properties", object)
        .call(
            "GetAll", CallWithoutTimeout, [](WireWriter& out) { out.string(wire::ExifInfo::Interface); },
            [&](WireReader& in) { readProperties(in, *info); });
    return info;
}

} // namespace mv
