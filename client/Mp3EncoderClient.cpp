#include "client/Mp3EncoderClient.h"

#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

#include <algorithm>

namespace mv {

/// A job's delegate: hands what the service says on to the job's listener, and knows how far the job is.
class Mp3EncoderClient::Delegate final : public ServedObject {
public:
    Delegate(EncodeListener& listener, std::string path)
        : m_listener(listener)
        , m_path(std::move(path))
    {
    }

    std::span<const ServedInterface> interfaces() const override;
    const std::string& path() const { return m_path; }
    bool hasStarted() const { return m_started || m_ended; }
    bool hasEnded() const { return m_ended; }

    void end(const Result<EncodeOutcome>& outcome)
    {
        if (std::exchange(m_ended, true))
            return;
        m_listener.ended(outcome);
    }

    void encoderDidStart(Call&)
    {
        m_started = true;
        m_listener.started();
    }
    void shouldEncodeStop(Call& call)
    {
        bool stop = m_listener.shouldStop();
        call.reply().boolean(stop);
        // A cancelled job sends nothing more.
        if (stop)
            end(EncodeOutcome { EncodeOutcome::End::Cancelled });
    }
    void encoderProgress(Call& call)
    {
        call.arguments().objectPath();
        m_listener.progress(call.arguments().real());
    }
    void encoderDidFailWithError(Call& call)
    {
        call.arguments().objectPath();
        end(EncodeOutcome { EncodeOutcome::End::Failed, call.arguments().stringAndInteger().second });
    }
    void encoderDidEnd(Call&) { end(EncodeOutcome { EncodeOutcome::End::Done }); }

private:
    static const sd_bus_vtable s_members[];

    EncodeListener& m_listener;
    std::string m_path;
    bool m_started = false;
    bool m_ended = false;
};

const sd_bus_vtable Mp3EncoderClient::Delegate::s_members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderDidStart, SD_BUS_ARGS("o", encoder), SD_BUS_NO_RESULT,
        (servedMethod<Delegate, &Delegate::encoderDidStart>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::shouldEncodeStop, SD_BUS_NO_ARGS, SD_BUS_RESULT("b", stop),
        (servedMethod<Delegate, &Delegate::shouldEncodeStop>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderProgress, SD_BUS_ARGS("o", encoder, "d", percent),
        SD_BUS_NO_RESULT, (servedMethod<Delegate, &Delegate::encoderProgress>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderDidFailWithError,
        SD_BUS_ARGS("o", encoder, "(si)", error), SD_BUS_NO_RESULT,
        (servedMethod<Delegate, &Delegate::encoderDidFailWithError>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_ARGS(wire::AudioEncoderDelegate::encoderDidEnd, SD_BUS_ARGS("o", encoder), SD_BUS_NO_RESULT,
        (servedMethod<Delegate, &Delegate::encoderDidEnd>), SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

std::span<const ServedInterface> Mp3EncoderClient::Delegate::interfaces() const
{
    static constexpr ServedInterface kInterfaces[] = { { wire::AudioEncoderDelegate::Interface, s_members } };
    return kInterfaces;
}

Result<void> Mp3EncoderClient::setAttributes(const Record& attributes)
{
    return m_bus.call({ Mp3EncoderService, wire::AudioEncoderBase::Interface, wire::AudioEncoderBase::setAttributes },
        [&](WireWriter& to) { to.record(attributes); });
}

Result<Record> Mp3EncoderClient::attributes()
{
    Record record;
    MV_TRY_VOID(m_bus.call({ Mp3EncoderService, wire::AudioEncoderBase::Interface, wire::AudioEncoderBase::attributes },
        {}, [&](WireReader& from) { record = from.record(); }));
    return record;
}

Result<void> Mp3EncoderClient::start(const EncodeJob& job, const std::string& delegatePath)
{
    MV_TRY_VOID(
        m_bus.call({ Mp3EncoderService, wire::AudioEncoderBase::Interface, wire::AudioEncoderBase::setDelegate },
            [&](WireWriter& to) { to.objectPath(delegatePath); }));
    return m_bus.call(
        { Mp3EncoderService, wire::AudioEncoderBase::Interface, wire::AudioEncoderBase::encodeOnThreadFileOutputFile },
        [&](WireWriter& to) { to.string(job.input.text()).string(job.output.text()); });
}

void Mp3EncoderClient::encode(const std::vector<EncodeJob>& jobs, std::size_t atOnce)
{
    std::vector<std::unique_ptr<Delegate>> delegates;
    std::vector<BusSlot> served;
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
        std::string path = "/encoderDelegate/" + std::to_string(delegates.size());
        auto& delegate = *delegates.emplace_back(std::make_unique<Delegate>(*job.listener, path));
        for (BusSlot& slot : m_bus.serve(delegate, path))
            served.push_back(std::move(slot));
        if (auto started = start(job, path); !started.ok())
            delegate.end(started.error());
        // The service hands a job's paths to its thread through the shared attributes, so the next pair must not
        // come before this one was taken.
        serveUntil([&] { return delegate.hasStarted(); });
        serveUntil([&] { return running() < atOnce; });
    }
    serveUntil([&] { return running() == 0; });
}

} // namespace mv
