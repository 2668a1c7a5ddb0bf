#include "service/host/adaptors/ExifInfoAdaptor.h"

#include "bus/BusError.h"
#include "service/include/WireNames.h"

#include <utility>

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

template <auto Member> constexpr sd_bus_vtable property(const char* name, const char* signature)
{
    return SD_BUS_WRITABLE_PROPERTY(name, signature, getProperty<Member>, setProperty<Member>, 0, 0);
}

template <class Rows> struct Members;
template <std::size_t... Row> struct Members<std::index_sequence<Row...>> {
    static constexpr sd_bus_vtable Rows[] = {
        SD_BUS_VTABLE_START(0),
        property<ExifTextProperties[Row].field>(ExifTextProperties[Row].name, "as")...,
        property<&MVExifInfo::versionNumber>("versionNumber", "i"),
        property<&MVExifInfo::date>("date", "a(x)"),
        SD_BUS_METHOD_WITH_ARGS(wire::ExifInfo::setValues, SD_BUS_ARGS("o", source), SD_BUS_NO_RESULT,
            (servedMethod<ExifInfoAdaptor, &ExifInfoAdaptor::setValues>), 0),
        SD_BUS_METHOD_WITH_ARGS(wire::ExifInfo::release, SD_BUS_NO_ARGS, SD_BUS_NO_RESULT,
            (servedMethod<ExifInfoAdaptor, &ExifInfoAdaptor::release>), 0),
        SD_BUS_VTABLE_END,
    };
};

constexpr ServedInterface Interfaces[]
    = { { wire::ExifInfo::Interface, Members<std::make_index_sequence<ExifTextProperties.size()>>::Rows } };

} // namespace

std::span<const ServedInterface> ExifInfoAdaptor::interfaces() const { return Interfaces; }

void ExifInfoAdaptor::setValues(Call& call)
{
    std::string path = call.arguments().objectPath();
    // Every object that this service hands out is an info.
    auto* source = static_cast<ExifInfoAdaptor*>(call.host().objectAt(path));
    if (!source)
        throw BusError(BusErrorUnknownObject, "no info of this service is at " + path);
    m_info->setValues(source->info());
}

void ExifInfoAdaptor::release(Call& call)
{
    if (call.sender() != m_client)
        throw BusError(BusErrorAccessDenied, "the info is another client's");
    call.host().withdraw(*this);
}

} // namespace mv
