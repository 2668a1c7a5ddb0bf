#include "client/Mp3EncoderClient.h"

#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

/// A job's delegate: hands what the service says on to the job's listener, and knows how far the job is.
class JobDelegate final : public ClientAudioEncoderDelegate {
public:
    explicit JobDelegate(EncodeListener& listener)
        : m_listener(listener)
    {
    }

    bool hasStarted() const { return m_started || m_ended; }
    bool hasEnded() const { return m_ended; }

    void end(const Result<EncodeOutcome>& outcome)
    {
        if (!std::exchange(m_ended, true))
            m_listener.ended(outcome);
    }

    void encoderDidStart(ClientAudioEncoder&) override
    {
        m_started = true;
        m_listener.started();
    }
    bool shouldEncodeStop() override
    {
        bool stop = m_listener.shouldStop();
        // A cancelled job sends nothing more.
        if (stop)
            end(EncodeOutcome { EncodeOutcome::End::Cancelled });
        return stop;
    }
    void encoderProgress(ClientAudioEncoder&, float percent) override
    {
        m_listener.progress(static_cast<double>(percent));
    }
    void encoderDidFailWithError(ClientAudioEncoder&, const NSError& error) override
    {
        end(EncodeOutcome { EncodeOutcome::End::Failed, error.code });
    }
    void encoderDidEnd(ClientAudioEncoder&) override { end(EncodeOutcome { EncodeOutcome::End::Done }); }

private:
    EncodeListener& m_listener;
    bool m_started = false;
    bool m_ended = false;
};

RemoteObject::Encode paths(const Path& input, const Path& output)
{
    return [&](WireWriter& out) { out.path(input).path(output); };
}

} // namespace

/// A delegate as the service sees it.
class Mp3EncoderClient::ServedDelegate final : public ServedObject {
public:
    ServedDelegate(
        Mp3EncoderClient& encoder, std::shared_ptr<ClientAudioEncoderDelegate> delegate, const std::string& path)
        : m_encoder(encoder)
        , m_delegate(std::move(delegate))
        , m_slots(encoder.m_bus.serve(*this, path))
    {
    }

    std::span<const ServedInterface> interfaces() const override;

    void encoderDidStart(Call&) { m_delegate->encoderDidStart(m_encoder); }
    void shouldEncodeStop(Call& call) { call.reply().boolean(m_delegate->shouldEncodeStop()); }
    void encoderProgress(Call& call)
    {
        call.arguments().objectPath();
        m_delegate->encoderProgress(m_encoder, static_cast<float>(call.arguments().real()));
    }
    void encoderDidFailWithError(Call& call)
    {
        call.arguments().objectPath();
        auto [domain, code] = call.arguments().stringAndInteger();
        m_delegate->encoderDidFailWithError(m_encoder, { domain, code });
    }
    void encoderDidEnd(Call&) { m_delegate->encoderDidEnd(m_encoder); }

private:
    static const sd_bus_vtable s_members[];

    Mp3EncoderClient& m_encoder;
    std::shared_ptr<ClientAudioEncoderDelegate> m_delegate;
    std::vector<BusSlot> m_slots;
};

const sd_bus_vtable Mp3EncoderClient::ServedDelegate::s_members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderDidStart, SD_BUS_ARGS("o", encoder), SD_BUS_NO_RESULT,
        (servedMethod<ServedDelegate, &ServedDelegate::encoderDidStart>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::shouldEncodeStop, SD_BUS_NO_ARGS, SD_BUS_RESULT("b", stop),
        (servedMethod<ServedDelegate, &ServedDelegate::shouldEncodeStop>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderProgress, SD_BUS_ARGS("o", encoder, "d", percent),
        SD_BUS_NO_RESULT, (servedMethod<ServedDelegate, &ServedDelegate::encoderProgress>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderDidFailWithError,
        SD_BUS_ARGS("o", encoder, "(si)", error), SD_BUS_NO_RESULT,
        (servedMethod<ServedDelegate, &ServedDelegate::encoderDidFailWithError>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderDidEnd, SD_BUS_ARGS("o", encoder), SD_BUS_NO_RESULT,
        (servedMethod<ServedDelegate, &ServedDelegate::encoderDidEnd>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

std::span<const ServedInterface> Mp3EncoderClient::ServedDelegate::interfaces() const
{
    static constexpr ServedInterface Interfaces[] = { { wire::AudioEncoderDelegate::Interface, s_members } };
    return Interfaces;
}

Mp3EncoderClient::Mp3EncoderClient(ServiceBus& bus)
    : m_bus(bus)
    , m_service(bus.object(Mp3EncoderService, wire::AudioEncoderBase::Interface))
{
}

Mp3EncoderClient::~Mp3EncoderClient() = default;

void Mp3EncoderClient::setAttributes(const Record& attributes)
{
    m_service.call(
        wire::AudioEncoderBase::setAttributes, CallWithoutTimeout, [&](WireWriter& out) { out.record(attributes); });
}

Record Mp3EncoderClient::attributes() const
{
    return m_service.ask(wire::AudioEncoderBase::attributes, &WireReader::record);
}

void Mp3EncoderClient::setDelegate(std::shared_ptr<ClientAudioEncoderDelegate> delegate)
{
    std::string path = "/";
    if (delegate) {
        path = m_bus.freshPath();
        m_delegates.push_back(std::make_unique<ServedDelegate>(*this, std::move(delegate), path));
    }
    m_service.call(
        wire::AudioEncoderBase::setDelegate, CallWithoutTimeout, [&](WireWriter& out) { out.objectPath(path); });
}

void Mp3EncoderClient::encodeOnThreadFileOutputFile(const Path& input, const Path& output)
{
    m_service.call(wire::AudioEncoderBase::encodeOnThreadFileOutputFile, CallWithoutTimeout, paths(input, output));
}

bool Mp3EncoderClient::encodeFileOutputFile(const Path& input, const Path& output)
{
    return m_service.ask(wire::AudioEncoderBase::encodeFileOutputFile, &WireReader::boolean, paths(input, output));
}

void Mp3EncoderClient::encode(const std::vector<EncodeJob>& jobs, std::size_t atOnce)
{
    auto servedBefore = static_cast<std::ptrdiff_t>(m_delegates.size());
    std::vector<std::shared_ptr<JobDelegate>> delegates;
    auto running = [&] {
        return static_cast<std::size_t>(
            std::count_if(delegates.begin(), delegates.end(), [](const auto& one) { return !one->hasEnded(); }));
    };
    auto serveUntil = [&](const std::function<bool()>& done) {
        auto result = m_bus.serveUntil(Mp3EncoderService, done);
        for (auto& delegate : delegates) {
            if (!result.ok())
                delegate->end(result.error());
        }
    };
    for (const EncodeJob& job : jobs) {
        if (job.listener->shouldStop()) {
            job.listener->ended(EncodeOutcome { EncodeOutcome::End::Cancelled });
            continue;
        }
        auto delegate = delegates.emplace_back(std::make_shared<JobDelegate>(*job.listener));
        auto started = resultOf([&] {
            setDelegate(delegate);
            encodeOnThreadFileOutputFile(job.input, job.output);
        });
        if (!started.ok())
            delegate->end(started.error());
        // The service hands a job's paths to its thread through the shared attributes, so the next pair must not
        // come before this one was taken.
        serveUntil([&] { return delegate->hasStarted(); });
        serveUntil([&] { return running() < atOnce; });
    }
    serveUntil([&] { return running() == 0; });
    // The service keeps the last one, and a job of another client may call it when its listener is long gone.
    m_delegates.erase(m_delegates.begin() + servedBefore, m_delegates.end());
}

} // namespace mv
