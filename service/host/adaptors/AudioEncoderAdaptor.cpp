#include "service/host/adaptors/AudioEncoderAdaptor.h"

#include "bus/ThreadConnection.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderBase::setAttributes, SD_BUS_ARGS("a{sv}", attributes), SD_BUS_NO_RESULT,
        (servedMethod<AudioEncoderInterface, &AudioEncoderInterface::setAttributes>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderBase::attributes, SD_BUS_NO_ARGS, SD_BUS_RESULT("a{sv}", attributes),
        (servedMethod<AudioEncoderInterface, &AudioEncoderInterface::attributes>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderBase::setDelegate, SD_BUS_ARGS("o", delegate), SD_BUS_NO_RESULT,
        (servedMethod<AudioEncoderInterface, &AudioEncoderInterface::setDelegate>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderBase::encodeFileOutputFile, SD_BUS_ARGS("s", input, "s", output),
        SD_BUS_RESULT("b", withoutError),
        (servedMethod<AudioEncoderInterface, &AudioEncoderInterface::encodeFileOutputFile>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderBase::encodeOnThreadFileOutputFile, SD_BUS_ARGS("s", input, "s", output),
        SD_BUS_NO_RESULT, (servedMethod<AudioEncoderInterface, &AudioEncoderInterface::encodeOnThreadFileOutputFile>),
        0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface Interfaces[] = { { wire::AudioEncoderBase::Interface, Members } };

constexpr const char* EncoderPath = "/";

/// A client's delegate, as one job talks to it: jobs run side by side, and what one has come to does not concern
/// another. A job's messages keep their order, because it sends them from one thread and each waits for its answer. A
/// lost delegate asks to cancel.
class DelegateProxy final : public MVAudioEncoderDelegate {
public:
    /// `connection` is the job's own; null where the thread serves one already.
    explicit DelegateProxy(ClientDelegate client, std::unique_ptr<ThreadConnection> connection = nullptr)
        : m_connection(std::move(connection))
        , m_client(std::move(client))
    {
    }

    std::shared_ptr<MVAudioEncoderDelegate> delegateOfJob(MVAudioEncoderBase& encoder) override
    {
        std::unique_ptr<ThreadConnection> connection;
        if (!threadServingBus())
            connection = ThreadConnection::open(std::make_unique<AudioEncoderInterface>(encoder, m_client.timeout()));
        return std::make_shared<DelegateProxy>(m_client.forAnotherJob(), std::move(connection));
    }
    void encoderDidStart(MVAudioEncoderBase&) override
    {
        m_client.send(
            wire::AudioEncoderDelegate::encoderDidStart, [](WireWriter& out) { out.objectPath(EncoderPath); });
    }
    bool shouldEncodeStop() override
    {
        bool stop = true;
        return !m_client.send(wire::AudioEncoderDelegate::shouldEncodeStop, {}, [&](WireReader& in) {
            stop = in.boolean();
        }) || stop;
    }
    void encoderProgress(MVAudioEncoderBase&, float percent) override
    {
        m_client.send(wire::AudioEncoderDelegate::encoderProgress,
            [&](WireWriter& out) { out.objectPath(EncoderPath).real(static_cast<double>(percent)); });
    }
    void encoderDidFailWithError(MVAudioEncoderBase&, const NSError& error) override
    {
        m_client.send(wire::AudioEncoderDelegate::encoderDidFailWithError,
            [&](WireWriter& out) { out.objectPath(EncoderPath).stringAndInteger(error.domain, error.code); });
    }
    void encoderDidEnd(MVAudioEncoderBase&) override
    {
        m_client.send(wire::AudioEncoderDelegate::encoderDidEnd, [](WireWriter& out) { out.objectPath(EncoderPath); });
    }

private:
    std::unique_ptr<ThreadConnection> m_connection;
    ClientDelegate m_client;
};

} // namespace

std::span<const ServedInterface> AudioEncoderInterface::interfaces() const { return Interfaces; }

void AudioEncoderInterface::setAttributes(Call& call)
{
    Record attributes = call.arguments().record();
    m_encoder.setAttributes(attributes);
    call.host().keepForClient("attributes", call.sender());
}

void AudioEncoderInterface::attributes(Call& call) { call.reply().record(m_encoder.attributes()); }

void AudioEncoderInterface::setDelegate(Call& call)
{
    auto client = ClientDelegate::ofCall(call, wire::AudioEncoderDelegate::Interface, m_delegateTimeout);
    call.host().keepForClient("delegate", client ? call.sender() : std::string());
    m_encoder.setDelegate(client ? std::make_shared<DelegateProxy>(std::move(*client)) : nullptr);
}

void AudioEncoderInterface::encodeFileOutputFile(Call& call)
{
    auto input = OpenedFile::at(call.arguments().path());
    auto output = OutputPlace::at(call.arguments().path());
    call.reply().boolean(m_encoder.encodeFileOutputFile(input, output));
}

void AudioEncoderInterface::encodeOnThreadFileOutputFile(Call& call)
{
    auto input = OpenedFile::at(call.arguments().path());
    auto output = OutputPlace::at(call.arguments().path());
    m_encoder.encodeOnThreadFileOutputFile(input, output);
}

} // namespace mv
