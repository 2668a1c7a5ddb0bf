#include "client/Media1Client.h"

#include "bus/BusError.h"
#include "client/MediaJobs.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

Media1Client::Media1Client(ServiceBus& bus)
    : m_bus(bus)
    , m_service(bus.object(Media1Service, wire::Media1::Interface, Media1Path))
    , m_jobs(std::make_unique<MediaJobs>(bus, m_guard))
{
}

Media1Client::~Media1Client() = default;

MediaCallNumber Media1Client::send(
    const char* member, const RemoteObject::Encode& arguments, RemoteObject::Answered answered)
{
    MediaCallNumber number = ++m_last;
    m_calls[number].slot
        = m_service.send(member, arguments, [this, number, answered = std::move(answered)](const CallAnswer& answer) {
              // The slot keeps this function until it has returned.
              auto call = m_calls.extract(number);
              auto orphan = m_orphans.extract(number);
              m_guard.run([&] { answered(answer); });
          });
    return number;
}

void Media1Client::forget(MediaCallNumber number)
{
    auto call = m_calls.extract(number);
    if (call.empty() || !call.mapped().orphan)
        return;
    call.mapped().orphan();
    m_orphans[number] = std::move(call.mapped().slot);
}

Result<std::unique_ptr<MediaJob>> Media1Client::encode(
    const std::string& source, const std::string& destination, const MediaEncoding& encoding)
{
    MV_TRY_VOID(resultOf([&] { m_jobs->watch(); }));
    MV_TRY(place, call(encodeRequest(source, destination, encoding)));
    return mediaResultOf([&] { return m_jobs->add(std::move(place)); });
}

MediaCallNumber Media1Client::beginEncode(const std::string& source, const std::string& destination,
    const MediaEncoding& encoding, MediaCallback<std::unique_ptr<MediaJob>> callback)
{
    auto wanted = std::make_shared<MediaCallback<std::unique_ptr<MediaJob>>>(std::move(callback));
    if (auto watched = resultOf([&] { m_jobs->watch(); }); !watched) {
        (*wanted)(watched.error());
        return 0;
    }
    auto begun = [this, wanted](Result<MediaJobPlace> place) {
        Result<std::unique_ptr<MediaJob>> job = place ? mediaResultOf([&] { return m_jobs->add(std::move(*place)); })
                                                      : Result<std::unique_ptr<MediaJob>>(place.error());
        if (*wanted)
            (*wanted)(std::move(job));
    };
    MediaCallNumber number = begin<MediaJobPlace>(encodeRequest(source, destination, encoding), begun);
    if (number != 0)
        m_calls[number].orphan = [wanted] { *wanted = {}; };
    return number;
}

Result<bool> Media1Client::serveUntil(const std::function<bool()>& done, std::chrono::steady_clock::time_point until)
{
    auto doneOrThrown = [&] {
        m_guard.rethrow();
        return done();
    };
    // What is thrown inside comes out as it is, but for what the bus says.
    try {
        return mv::serveUntil(m_bus.bus(), doneOrThrown, until);
    } catch (const BusError&) {
        Error error = errorOfCall();
        m_jobs->fail(error);
        m_guard.rethrow();
        return error;
    }
}

} // namespace mv
