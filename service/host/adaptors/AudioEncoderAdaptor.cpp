#include "service/host/adaptors/AudioEncoderAdaptor.h"

#include "service/host/adaptors/PathArgument.h"

#include <atomic>

namespace mv {

namespace {

constexpr sd_bus_vtable kMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS("setAttributes", SD_BUS_ARGS("a{sv}", attributes), SD_BUS_NO_RESULT,
        (servedMethod<AudioEncoderAdaptor, &AudioEncoderAdaptor::setAttributes>), 0),
    SD_BUS_METHOD_WITH_ARGS("attributes", SD_BUS_NO_ARGS, SD_BUS_RESULT("a{sv}", attributes),
        (servedMethod<AudioEncoderAdaptor, &AudioEncoderAdaptor::attributes>), 0),
    SD_BUS_METHOD_WITH_ARGS("setDelegate", SD_BUS_ARGS("o", delegate), SD_BUS_NO_RESULT,
        (servedMethod<AudioEncoderAdaptor, &AudioEncoderAdaptor::setDelegate>), 0),
    SD_BUS_METHOD_WITH_ARGS("encodeFileOutputFile", SD_BUS_ARGS("s", input, "s", output),
        SD_BUS_RESULT("b", withoutError),
        (servedMethod<AudioEncoderAdaptor, &AudioEncoderAdaptor::encodeFileOutputFile>), 0),
    SD_BUS_METHOD_WITH_ARGS("encodeOnThreadFileOutputFile", SD_BUS_ARGS("s", input, "s", output), SD_BUS_NO_RESULT,
        (servedMethod<AudioEncoderAdaptor, &AudioEncoderAdaptor::encodeOnThreadFileOutputFile>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface kInterfaces[] = { { "Mivo.MVAudioEncoderBase", kMembers } };

// The encoder is its service's root object.
constexpr const char* EncoderPath = "/";

/// A job's messages keep their order, because a job sends them from one thread and each waits for its answer. A
/// delegate that fails one is lost for the rest of the job, which it thereby asks to cancel.
class DelegateProxy final : public MVAudioEncoderDelegate {
public:
    DelegateProxy(RemoteObject remote, std::uint64_t timeout)
        : m_client(std::move(remote), timeout)
    {
    }

    void encoderDidStart(MVAudioEncoderBase&) override
    {
        m_lost = !m_client.send("encoderDidStart", [](WireWriter& out) { out.objectPath(EncoderPath); });
    }
    bool shouldEncodeStop() override
    {
        bool stop = true;
        bool lost = m_lost || !m_client.send("shouldEncodeStop", {}, [&](WireReader& in) { stop = in.boolean(); });
        // A cancelled job sends nothing more; the next one may end before it starts, and then has a failure to tell.
        m_lost = false;
        return lost || stop;
    }
    void encoderProgress(MVAudioEncoderBase&, float percent) override
    {
        sendUnlessLost("encoderProgress",
            [&](WireWriter& out) { out.objectPath(EncoderPath).real(static_cast<double>(percent)); });
    }
    void encoderDidFailWithError(MVAudioEncoderBase&, const NSError& error) override
    {
        sendUnlessLost("encoderDidFailWithError",
            [&](WireWriter& out) { out.objectPath(EncoderPath).stringAndInteger(error.domain, error.code); });
        m_lost = false;
    }
    void encoderDidEnd(MVAudioEncoderBase&) override
    {
        sendUnlessLost("encoderDidEnd", [](WireWriter& out) { out.objectPath(EncoderPath); });
        m_lost = false;
    }

private:
    void sendUnlessLost(const char* member, const RemoteObject::Encode& arguments)
    {
        m_lost = m_lost || !m_client.send(member, arguments);
    }

    ClientDelegate m_client;
    std::atomic<bool> m_lost = false; // two jobs on threads may share a delegate
};

} // namespace

std::span<const ServedInterface> AudioEncoderAdaptor::interfaces() const { return kInterfaces; }

void AudioEncoderAdaptor::setAttributes(Call& call)
{
    Record attributes = call.arguments().record();
    m_root->setAttributes(attributes);
}

void AudioEncoderAdaptor::attributes(Call& call) { call.reply().record(m_root->attributes()); }

void AudioEncoderAdaptor::setDelegate(Call& call)
{
    auto remote
        = ClientDelegate::remoteObject(call.sender(), call.arguments().objectPath(), "Mivo.MVAudioEncoderDelegate");
    m_root->setDelegate(remote ? std::make_shared<DelegateProxy>(std::move(*remote), m_delegateTimeout) : nullptr);
}

void AudioEncoderAdaptor::encodeFileOutputFile(Call& call)
{
    Path input = pathFromWire(call.arguments().string());
    Path output = pathFromWire(call.arguments().string());
    call.reply().boolean(m_root->encodeFileOutputFile(input, output));
}

void AudioEncoderAdaptor::encodeOnThreadFileOutputFile(Call& call)
{
    Path input = pathFromWire(call.arguments().string());
    Path output = pathFromWire(call.arguments().string());
    m_root->encodeOnThreadFileOutputFile(input, output);
}

} // namespace mv
