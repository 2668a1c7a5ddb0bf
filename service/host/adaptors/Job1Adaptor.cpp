#include "service/host/adaptors/Job1Adaptor.h"

#include "service/host/adaptors/FactsOnWire.h"
#include "service/include/WireNames.h"

#include <array>
#include <utility>

namespace mv {

namespace {

constexpr const char* nameOf(EncodingState state)
{
    constexpr std::array Names { "running", "done", "failed", "cancelled" };
    return Names[static_cast<std::size_t>(state)];
}

using PutProperty = void (*)(WireWriter& out, const EncodingJob& job);

void putState(WireWriter& out, const EncodingJob& job) { out.string(nameOf(job.status().state)); }
void putProgress(WireWriter& out, const EncodingJob& job) { out.real(job.status().progress); }
void putSource(WireWriter& out, const EncodingJob& job) { out.string(job.order().source); }
void putDestination(WireWriter& out, const EncodingJob& job) { out.string(job.order().destination); }

void putError(WireWriter& out, const EncodingJob& job)
{
    const auto error = job.status().error;
    out.stringPair(error ? wholeNameOf(*error) : std::string(), error ? error->text() : std::string());
}

template <PutProperty Put>
int getProperty(
    sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* userdata, sd_bus_error* error)
{
    return answerGuarded(error, [&] {
        WireWriter out(reply);
        Put(out, static_cast<Job1Adaptor*>(static_cast<ServedObject*>(userdata))->job());
        return 1;
    });
}

template <void (Job1Adaptor::*Method)(Call&)> constexpr auto served = servedMethod<Job1Adaptor, Method>;

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::Job1::Cancel, SD_BUS_NO_ARGS, SD_BUS_NO_RESULT, served<&Job1Adaptor::Cancel>, 0),
    SD_BUS_METHOD_WITH_ARGS(wire::Job1::Release, SD_BUS_NO_ARGS, SD_BUS_NO_RESULT, served<&Job1Adaptor::Release>, 0),
    SD_BUS_PROPERTY(wire::Job1::State, "s", getProperty<putState>, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY(wire::Job1::Progress, "d", getProperty<putProgress>, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY(wire::Job1::Error, "(ss)", getProperty<putError>, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY(wire::Job1::Source, "s", getProperty<putSource>, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY(wire::Job1::Destination, "s", getProperty<putDestination>, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};

} // namespace

Job1Adaptor::~Job1Adaptor()
{
    m_job->setListener({});
    m_job->cancel();
    answerCancels();
}

std::span<const ServedInterface> Job1Adaptor::interfaces() const
{
    static constexpr ServedInterface Interfaces[] { { wire::Job1::Interface, Members } };
    return Interfaces;
}

void Job1Adaptor::publish(std::string path)
{
    m_path = std::move(path);
    m_job->setListener([host = host, weak = std::weak_ptr(m_self)] {
        host->post([weak] {
            if (auto self = weak.lock())
                (*self)->tellChange();
        });
    });
}

/// With the turn at the connection.
void Job1Adaptor::tellChange()
{
    if (m_hasToldEnd)
        return;
    m_hasToldEnd = m_job->status().state != EncodingState::Running;
    if (m_hasToldEnd)
        sd_bus_emit_properties_changed(host->bus(), m_path.c_str(), wire::Job1::Interface, wire::Job1::State,
            wire::Job1::Progress, wire::Job1::Error, nullptr);
    else
        sd_bus_emit_properties_changed(
            host->bus(), m_path.c_str(), wire::Job1::Interface, wire::Job1::Progress, nullptr);
    if (m_hasToldEnd)
        answerCancels();
}

void Job1Adaptor::answerCancels()
{
    for (CallNumber call : std::exchange(m_cancels, {}))
        host->answer(call, [](WireWriter&) {});
}

void Job1Adaptor::Cancel(Call& call)
{
    m_job->cancel();
    // Who asks for the state afterwards is not told that it runs.
    if (m_job->status().state != EncodingState::Running)
        return;
    if (CallNumber number = call.keepOpen([] {}))
        m_cancels.push_back(number);
}

void Job1Adaptor::Release(Call& call)
{
    m_job->cancel();
    call.host().withdraw(*this);
}

} // namespace mv
