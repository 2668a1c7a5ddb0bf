#include "service/host/adaptors/ExifInfoAdaptor.h"

#include "bus/BusError.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

MVExifInfo& infoOf(void* userdata)
{
    return static_cast<ExifInfoAdaptor*>(static_cast<ServedObject*>(userdata))->info();
}

void encode(WireWriter& out, const MVExifInfo::Text& text) { out.optionalString(text); }
void encode(WireWriter& out, const std::optional<Date>& date) { out.optionalDate(date); }
void encode(WireWriter& out, std::int32_t number) { out.integer(number); }

void decode(WireReader& in, MVExifInfo::Text& text) { text = in.optionalString(); }
void decode(WireReader& in, std::optional<Date>& date) { date = in.optionalDate(); }
void decode(WireReader& in, std::int32_t& number) { number = in.integer(); }

template <auto Member>
int getProperty(
    sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* userdata, sd_bus_error* error)
{
    return answerGuarded(error, [&] {
        WireWriter out(reply);
        encode(out, infoOf(userdata).*Member);
        return 1;
    });
}

template <auto Member>
int setProperty(
    sd_bus*, const char*, const char*, const char*, sd_bus_message* value, void* userdata, sd_bus_error* error)
{
    return answerGuarded(error, [&] {
        WireReader in(value);
        decode(in, infoOf(userdata).*Member);
        return 1;
    });
}

#define EXIF_PROPERTY(name, signature)                                                                                 \
    SD_BUS_WRITABLE_PROPERTY(#name, signature, getProperty<&MVExifInfo::name>, setProperty<&MVExifInfo::name>, 0, 0)

constexpr sd_bus_vtable kMembers[] = {
    SD_BUS_VTABLE_START(0),
    EXIF_PROPERTY(vendor, "as"),
    EXIF_PROPERTY(model, "as"),
    EXIF_PROPERTY(orientation, "as"),
    EXIF_PROPERTY(maxAperture, "as"),
    EXIF_PROPERTY(focalLength, "as"),
    EXIF_PROPERTY(shutterSpeed, "as"),
    EXIF_PROPERTY(F_value, "as"),
    EXIF_PROPERTY(exposureBias, "as"),
    EXIF_PROPERTY(exposureProgram, "as"),
    EXIF_PROPERTY(meteringMode, "as"),
    EXIF_PROPERTY(iso, "as"),
    EXIF_PROPERTY(whiteBalance, "as"),
    EXIF_PROPERTY(flash, "as"),
    EXIF_PROPERTY(flashMode, "as"),
    EXIF_PROPERTY(colorSpace, "as"),
    EXIF_PROPERTY(sceneCaptureType, "as"),
    EXIF_PROPERTY(version, "as"),
    EXIF_PROPERTY(redEyeReduction, "as"),
    EXIF_PROPERTY(versionNumber, "i"),
    EXIF_PROPERTY(date, "a(x)"),
    SD_BUS_METHOD_WITH_ARGS(wire::ExifInfo::setValues, SD_BUS_ARGS("o", source), SD_BUS_NO_RESULT,
        (servedMethod<ExifInfoAdaptor, &ExifInfoAdaptor::setValues>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::ExifInfo::release, SD_BUS_NO_ARGS, SD_BUS_NO_RESULT,
        (servedMethod<ExifInfoAdaptor, &ExifInfoAdaptor::release>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface kInterfaces[] = { { wire::ExifInfo::Interface, kMembers } };

} // namespace

std::span<const ServedInterface> ExifInfoAdaptor::interfaces() const { return kInterfaces; }

void ExifInfoAdaptor::setValues(Call& call)
{
    std::string path = call.arguments().objectPath();
    // Every object that this service hands out is an info.
    auto* source = static_cast<ExifInfoAdaptor*>(call.host().objectAt(path));
    if (!source)
        throw BusError(BusErrorUnknownObject, "no info of this service is at " + path);
    m_info->setValues(source->info());
}

void ExifInfoAdaptor::release(Call& call) { call.host().withdraw(*this); }

} // namespace mv
