#include "service/host/adaptors/MP4ExporterAdaptor.h"

#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MP4ExporterBase::exportWithDelegateFromPathToMp4Path,
        SD_BUS_ARGS("o", delegate, "s", source, "s", destination), SD_BUS_RESULT("i", status),
        (servedMethod<MP4ExporterAdaptor, &MP4ExporterAdaptor::exportWithDelegateFromPathToMp4Path>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::MP4ExporterBase::convertToAacWithDelegateFromPathToMp4PathBitrate,
        SD_BUS_ARGS("o", delegate, "s", source, "s", destination, "i", bitrate), SD_BUS_RESULT("i", status),
        (servedMethod<MP4ExporterAdaptor, &MP4ExporterAdaptor::convertToAacWithDelegateFromPathToMp4PathBitrate>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::MP4ExporterBase::isAlacAudio, SD_BUS_ARGS("s", path), SD_BUS_RESULT("b", alac),
        (servedMethod<MP4ExporterAdaptor, &MP4ExporterAdaptor::isAlacAudio>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface Interfaces[] = { { wire::MP4ExporterBase::Interface, Members } };

class DelegateProxy final : public MVMP4ExporterDelegate {
public:
    explicit DelegateProxy(ClientDelegate client)
        : m_client(std::move(client))
    {
    }
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        bool goOn = false;
        bool answered = m_client.send(
            wire::MP4ExporterDelegate::MP4ExporterProgress, [&](WireWriter& out) { out.integer(percent); },
            [&](WireReader& in) { goOn = in.boolean(); });
        return answered && goOn;
    }

private:
    ClientDelegate m_client;
};

/// Null for a nil delegate.
std::unique_ptr<DelegateProxy> delegateOf(Call& call, std::uint64_t timeout)
{
    auto client = ClientDelegate::ofCall(call, wire::MP4ExporterDelegate::Interface, timeout);
    return client ? std::make_unique<DelegateProxy>(std::move(*client)) : nullptr;
}

} // namespace

std::span<const ServedInterface> MP4ExporterAdaptor::interfaces() const { return Interfaces; }

void MP4ExporterAdaptor::exportWithDelegateFromPathToMp4Path(Call& call)
{
    auto delegate = delegateOf(call, m_delegateTimeout);
    auto source = OpenedFile::at(call.arguments().path());
    auto destination = OutputPlace::at(call.arguments().path());
    call.reply().integer(m_root->exportWithDelegateFromPathToMp4Path(delegate.get(), source, destination));
}

void MP4ExporterAdaptor::convertToAacWithDelegateFromPathToMp4PathBitrate(Call& call)
{
    auto delegate = delegateOf(call, m_delegateTimeout);
    auto source = OpenedFile::at(call.arguments().path());
    auto destination = OutputPlace::at(call.arguments().path());
    std::int32_t bitrate = call.arguments().integer();
    call.reply().integer(
        m_root->convertToAacWithDelegateFromPathToMp4PathBitrate(delegate.get(), source, destination, bitrate));
}

void MP4ExporterAdaptor::isAlacAudio(Call& call)
{
    auto file = OpenedFile::at(call.arguments().path());
    call.reply().boolean(m_root->isAlacAudio(file));
}

} // namespace mv
