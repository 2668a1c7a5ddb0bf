#include "client/ExporterClient.h"

#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr const char* DelegatePath = "/MP4ExporterDelegate";
constexpr const char* NoDelegate = "/";

class DelegateAdaptor final : public ServedObject {
public:
    explicit DelegateAdaptor(ExportListener& listener)
        : m_listener(listener)
    {
    }

    std::span<const ServedInterface> interfaces() const override;
    void progress(Call& call) { call.reply().boolean(m_listener.progress(call.arguments().integer())); }

private:
    ExportListener& m_listener;
};

constexpr sd_bus_vtable kMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MP4ExporterDelegate::MP4ExporterProgress, SD_BUS_ARGS("i", percent),
        SD_BUS_RESULT("b", goOn), (servedMethod<DelegateAdaptor, &DelegateAdaptor::progress>),
        SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface kInterfaces[] = { { wire::MP4ExporterDelegate::Interface, kMembers } };

std::span<const ServedInterface> DelegateAdaptor::interfaces() const { return kInterfaces; }

} // namespace

Result<std::int32_t> ExporterClient::exportToMp4(const Path& source, const Path& destination, ExportListener* listener)
{
    return run(wire::MP4ExporterBase::exportWithDelegateFromPathToMp4Path, listener,
        [&](WireWriter& to) { to.string(source.text()).string(destination.text()); });
}

Result<std::int32_t> ExporterClient::convertToAac(
    const Path& source, const Path& destination, std::int32_t bitrate, ExportListener* listener)
{
    return run(wire::MP4ExporterBase::convertToAacWithDelegateFromPathToMp4PathBitrate, listener,
        [&](WireWriter& to) { to.string(source.text()).string(destination.text()).integer(bitrate); });
}

Result<std::int32_t> ExporterClient::run(
    const char* operation, ExportListener* listener, const std::function<void(WireWriter&)>& arguments)
{
    std::optional<DelegateAdaptor> adaptor;
    std::vector<BusSlot> served;
    if (listener)
        served = m_bus.serve(adaptor.emplace(*listener), DelegatePath);
    std::int32_t code = 0;
    MV_TRY_VOID(m_bus.call(
        { MP4ExporterService, wire::MP4ExporterBase::Interface, operation },
        [&](WireWriter& to) {
            to.objectPath(listener ? DelegatePath : NoDelegate);
            arguments(to);
        },
        [&](WireReader& from) { code = from.integer(); }));
    return code;
}

Result<bool> ExporterClient::isAlacAudio(const Path& path)
{
    bool answer = false;
    MV_TRY_VOID(m_bus.call(
        { MP4ExporterService, wire::MP4ExporterBase::Interface, wire::MP4ExporterBase::isAlacAudio },
        [&](WireWriter& to) { to.string(path.text()); }, [&](WireReader& from) { answer = from.boolean(); }));
    return answer;
}

} // namespace mv
