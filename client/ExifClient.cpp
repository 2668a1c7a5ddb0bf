#include "client/ExifClient.h"

#include "bus/BusError.h"
#include "bus/BusName.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

#include <array>
#include <cstring>

namespace mv {

namespace {

constexpr std::array kTextProperties {
    ExifTextProperty { "vendor", &MVExifInfo::vendor },
    ExifTextProperty { "model", &MVExifInfo::model },
    ExifTextProperty { "orientation", &MVExifInfo::orientation },
    ExifTextProperty { "maxAperture", &MVExifInfo::maxAperture },
    ExifTextProperty { "focalLength", &MVExifInfo::focalLength },
    ExifTextProperty { "shutterSpeed", &MVExifInfo::shutterSpeed },
    ExifTextProperty { "F_value", &MVExifInfo::F_value },
    ExifTextProperty { "exposureBias", &MVExifInfo::exposureBias },
    ExifTextProperty { "exposureProgram", &MVExifInfo::exposureProgram },
    ExifTextProperty { "meteringMode", &MVExifInfo::meteringMode },
    ExifTextProperty { "iso", &MVExifInfo::iso },
    ExifTextProperty { "whiteBalance", &MVExifInfo::whiteBalance },
    ExifTextProperty { "flash", &MVExifInfo::flash },
    ExifTextProperty { "flashMode", &MVExifInfo::flashMode },
    ExifTextProperty { "colorSpace", &MVExifInfo::colorSpace },
    ExifTextProperty { "sceneCaptureType", &MVExifInfo::sceneCaptureType },
    ExifTextProperty { "version", &MVExifInfo::version },
    ExifTextProperty { "redEyeReduction", &MVExifInfo::redEyeReduction },
};

bool enterVariant(sd_bus_message* message, std::string& signature)
{
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0 || type != 'v')
        return false;
    signature = contents;
    return sd_bus_message_enter_container(message, 'v', signature.c_str()) > 0;
}

void storeText(MVExifInfo& info, std::string_view name, WireReader& reader)
{
    std::optional<std::string> text = reader.optionalString();
    for (const ExifTextProperty& property : kTextProperties) {
        if (name == property.name)
            info.*property.field = text;
    }
}

/// Reads one property with its name; false when the message is not of the form.
bool readProperty(sd_bus_message* message, MVExifInfo& info)
{
    const char* name = nullptr;
    std::string signature;
    if (sd_bus_message_read_basic(message, 's', &name) <= 0 || !enterVariant(message, signature))
        return false;
    WireReader reader(message);
    if (signature == "as")
        storeText(info, name, reader);
    else if (signature == "a(x)")
        info.date = reader.optionalDate();
    else if (signature == "i")
        info.versionNumber = reader.integer();
    else
        return false;
    return sd_bus_message_exit_container(message) >= 0;
}

bool readProperties(sd_bus_message* message, MVExifInfo& info)
{
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0)
        return false;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        if (!readProperty(message, info) || sd_bus_message_exit_container(message) < 0)
            return false;
    }
    return true;
}

} // namespace

std::span<const ExifTextProperty> exifTextProperties() { return kTextProperties; }

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
    MVExifInfo info;
    try {
        if (readProperties(answer.get(), info))
            return info;
    } catch (const BusError&) {
    }
    return Error { Error::Kind::Format, "the EXIF record has not the form that clients know" };
}

} // namespace mv
