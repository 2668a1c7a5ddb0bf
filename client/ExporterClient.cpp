#include "client/ExporterClient.h"

#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

class DelegateAdaptor final : public ServedObject {
public:
    explicit DelegateAdaptor(MVMP4ExporterDelegate& delegate)
        : m_delegate(delegate)
    {
    }

    std::span<const ServedInterface> interfaces() const override;
    void progress(Call& call) { call.reply().boolean(m_delegate.MP4ExporterProgress(call.arguments().integer())); }

private:
    MVMP4ExporterDelegate& m_delegate;
};

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MP4ExporterDelegate::MP4ExporterProgress, SD_BUS_ARGS("i", percent),
        SD_BUS_RESULT("b", goOn), (servedMethod<DelegateAdaptor, &DelegateAdaptor::progress>),
        SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface Interfaces[] = { { wire::MP4ExporterDelegate::Interface, Members } };

std::span<const ServedInterface> DelegateAdaptor::interfaces() const { return Interfaces; }

} // namespace

ExporterClient::ExporterClient(ServiceBus& bus)
    : m_bus(bus)
    , m_service(bus.object(MP4ExporterService, wire::MP4ExporterBase::Interface))
{
}

std::int32_t ExporterClient::exportWithDelegateFromPathToMp4Path(
    MVMP4ExporterDelegate* delegate, const Path& source, const Path& destination)
{
    return run(wire::MP4ExporterBase::exportWithDelegateFromPathToMp4Path, delegate,
        [&](WireWriter& out) { out.path(source).path(destination); });
}

std::int32_t ExporterClient::convertToAacWithDelegateFromPathToMp4PathBitrate(
    MVMP4ExporterDelegate* delegate, const Path& source, const Path& destination, std::int32_t bitrate)
{
    return run(wire::MP4ExporterBase::convertToAacWithDelegateFromPathToMp4PathBitrate, delegate,
        [&](WireWriter& out) { out.path(source).path(destination).integer(bitrate); });
}

std::int32_t ExporterClient::run(
    const char* operation, MVMP4ExporterDelegate* delegate, const RemoteObject::Encode& arguments)
{
    std::optional<DelegateAdaptor> adaptor;
    std::vector<BusSlot> served;
    std::string path = delegate ? m_bus.freshPath() : "/";
    if (delegate)
        served = m_bus.serve(adaptor.emplace(*delegate), path);
    return m_service.ask(operation, &WireReader::integer, [&](WireWriter& out) {
        out.objectPath(path);
        arguments(out);
    });
}

bool ExporterClient::isAlacAudio(const Path& path)
{
    return m_service.ask(
        wire::MP4ExporterBase::isAlacAudio, &WireReader::boolean, [&](WireWriter& out) { out.path(path); });
}

} // namespace mv
