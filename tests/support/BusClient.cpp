#include "tests/support/BusClient.h"

#include <cstring>
#include <stdexcept>

namespace mv::test {

namespace {

constexpr std::uint64_t TimeoutMicroseconds = std::chrono::microseconds(Patience).count();

struct Pending {
    bool done = false;
    Answer answer;
};

int answered(sd_bus_message* reply, void* userdata, sd_bus_error*)
{
    auto* pending = static_cast<Pending*>(userdata);
    pending->done = true;
    if (const sd_bus_error* error = sd_bus_message_get_error(reply)) {
        pending->answer.error = error->name;
        pending->answer.text = error->message ? error->message : "";
    } else {
        pending->answer.message.reset(sd_bus_message_ref(reply));
    }
    return 1;
}

} // namespace

BusClient::BusClient()
{
    auto opened = openSessionBus();
    if (!opened)
        throw std::runtime_error("no session bus: " + opened.error().text);
    m_bus = std::move(*opened);
}

std::string BusClient::uniqueName() const
{
    const char* name = nullptr;
    sd_bus_get_unique_name(bus(), &name);
    return name ? name : "";
}

BusMessage BusClient::request(const std::string& destination, const std::string& path, const std::string& interface,
    const std::string& member, const Encode& arguments)
{
    sd_bus_message* message = nullptr;
    const char* named = interface.empty() ? nullptr : interface.c_str();
    int code
        = sd_bus_message_new_method_call(bus(), &message, destination.c_str(), path.c_str(), named, member.c_str());
    if (code < 0)
        throw std::runtime_error(std::strerror(-code));
    BusMessage holder(message);
    if (arguments) {
        WireWriter writer(message);
        arguments(writer);
    }
    return holder;
}

Answer BusClient::call(const std::string& destination, const std::string& path, const std::string& interface,
    const std::string& member, const Encode& arguments)
{
    BusMessage message = request(destination, path, interface, member, arguments);
    BusErrorHolder error;
    sd_bus_message* reply = nullptr;
    Answer answer;
    if (sd_bus_call(bus(), message.get(), TimeoutMicroseconds, error.get(), &reply) < 0) {
        answer.error = error.name();
        answer.text = error.message();
    }
    answer.message.reset(reply);
    return answer;
}

Answer BusClient::callAndServe(const std::string& destination, const std::string& path, const std::string& interface,
    const std::string& member, const Encode& arguments)
{
    BusMessage message = request(destination, path, interface, member, arguments);
    Pending pending;
    sd_bus_slot* slot = nullptr;
    if (sd_bus_call_async(bus(), &slot, message.get(), answered, &pending, TimeoutMicroseconds) < 0)
        throw std::runtime_error("cannot send");
    BusSlot holder(slot);
    serveUntil([&] { return pending.done; });
    return std::move(pending.answer);
}

void BusClient::serveUntil(const std::function<bool()>& done, std::chrono::milliseconds patience)
{
    auto end = std::chrono::steady_clock::now() + patience;
    while (!done() && std::chrono::steady_clock::now() < end) {
        int code = sd_bus_process(bus(), nullptr);
        if (code < 0)
            return;
        if (code == 0)
            sd_bus_wait(bus(), 20'000);
    }
}

void BusClient::serveWhatCame()
{
    // The bus's answer comes behind everything that it has sent before.
    ownerOf("org.freedesktop.DBus");
    while (sd_bus_process(bus(), nullptr) > 0) { }
}

std::string BusClient::ownerOf(const std::string& name)
{
    Answer answer = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
        [&](WireWriter& out) { out.string(name); });
    return answer.ok() ? answer.reader().string() : "";
}

std::optional<std::optional<Record>> BusClient::build(const std::string& busName, const std::string& path)
{
    Answer answer = call(busName, "/", "Mivo.MVMediaInfoBuilder", "build", [&](WireWriter& out) { out.string(path); });
    if (!answer.ok())
        return std::nullopt;
    return answer.reader().optionalRecord();
}

} // namespace mv::test
