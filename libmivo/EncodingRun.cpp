#include "libmivo/EncodingRun.h"

#include "client/ResultCodes.h"
#include "libmivo/EncoderUse.h"
#include "libmivo/ProgressCall.h"

#include <mivo/Keys.h>
#include <optional>

namespace mivo {

namespace {

mv::Record usualAttributes()
{
    return {
        { mv::MVAudioEncoderBitrateAttribute, std::int32_t { 192'000 } },
        { mv::MVAudioEncoderSamplingRateAttribute, std::int32_t { 0 } },
        { mv::MVAudioEncoderVBRAttribute, false },
        { mv::MVMP3EncoderStereoModeAttribte, std::int32_t { 2 } },
        { mv::MVMP3EncoderQualityAttribute, std::int32_t { 1 } },
        { mv::MVAudioEncoderExactConversionAttribute, true },
    };
}

/// Hears of the one job, on the thread that runs it.
class Listener final : public mv::EncodeListener {
public:
    Listener(const Progress& progress, std::unique_lock<std::mutex>& beginning)
        : m_progress(progress)
        , m_beginning(beginning)
    {
    }

    void started() override { m_beginning.unlock(); }
    /// Nobody else is called while the lock is held.
    bool shouldStop() override { return !m_beginning.owns_lock() && !m_progress.goesOn(m_percent); }
    void progress(double percent) override { m_percent = static_cast<int>(percent); }
    void ended(const mv::Result<mv::EncodeOutcome>& outcome) override { m_outcome.emplace(outcome); }

    JobEnd end() const
    {
        m_progress.rethrow();
        if (!*m_outcome)
            throw errorFrom(m_outcome->error());
        const mv::EncodeOutcome& outcome = **m_outcome;
        if (outcome.end == mv::EncodeOutcome::End::Failed) {
            throw Error(
                Error::Kind::JobFailed, mv::sentenceForCode(mv::encoderCodes(), outcome.code), {}, outcome.code);
        }
        return outcome.end == mv::EncodeOutcome::End::Cancelled ? JobEnd::Cancelled : JobEnd::Done;
    }

private:
    ProgressCall m_progress;
    std::unique_lock<std::mutex>& m_beginning;
    int m_percent = 0;
    std::optional<mv::Result<mv::EncodeOutcome>> m_outcome;
};

/// A job's use of the encoder; ends while no other job begins.
class EndOfUse {
public:
    EndOfUse(std::shared_ptr<EncoderUse> use, std::unique_lock<std::mutex>& beginning)
        : m_use(std::move(use))
        , m_beginning(beginning)
    {
    }
    ~EndOfUse()
    {
        if (!m_beginning.owns_lock())
            m_beginning.lock();
        m_use.reset();
    }
    EndOfUse(const EndOfUse&) = delete;
    EndOfUse& operator=(const EndOfUse&) = delete;

private:
    std::shared_ptr<EncoderUse> m_use;
    std::unique_lock<std::mutex>& m_beginning;
};

} // namespace

mv::Record encoderAttributes(const Record& wanted)
{
    mv::Record attributes = usualAttributes();
    for (const auto& [key, value] : wanted) {
        const mv::Value* usual = attributes.find(key);
        if (!usual)
            throw Error(Error::Kind::InvalidArgument, "the encoder has no attribute " + key);
        bool isFlag = usual->boolean() != nullptr;
        if (value.kind() != (isFlag ? Value::Kind::Boolean : Value::Kind::Integer))
            throw Error(Error::Kind::InvalidArgument, key + " is " + (isFlag ? "a boolean" : "an integer"));
    }
    attributes.merge(recordFrom(wanted));
    return attributes;
}

JobEnd runEncoding(ClientContent& client, const ClientContent::Turn& turn, const std::string& input,
    const std::string& output, const mv::Record& attributes, const Progress& progress)
{
    std::unique_lock beginning(EncoderUse::beginning());
    EndOfUse end(client.attempt(turn, [&] { return EncoderUse::with(attributes); }), beginning);
    Listener listener(progress, beginning);
    // A connection of the job's own: the service serves on as long as one that has set a delegate is there.
    auto bus = openServiceBus();
    mv::Mp3EncoderClient(*bus).encode({ { input, output, &listener } }, 1);
    return listener.end();
}

} // namespace mivo
