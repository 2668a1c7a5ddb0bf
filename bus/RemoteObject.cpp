#include "bus/RemoteObject.h"

#include "Base/Core/NSException.h"
#include "bus/BusError.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>

namespace mv {

namespace {

using Clock = std::chrono::steady_clock;

thread_local sd_bus* t_servingBus = nullptr;
thread_local BusTurn* t_turn = nullptr;

[[noreturn]] void raise(std::string_view name, const char* message)
{
    if (name.starts_with(BusErrorExceptionPrefix))
        throw NSException(std::string(name.substr(std::strlen(BusErrorExceptionPrefix))), message);
    throw BusError(std::string(name), message);
}

[[noreturn]] void raise(int code) { throw BusError(BusErrorFailed, std::strerror(-code), -code); }

void raiseErrorOf(sd_bus_message* answer)
{
    if (const sd_bus_error* error = sd_bus_message_get_error(answer))
        raise(error->name ? error->name : BusErrorFailed, error->message ? error->message : "");
}

int tellAnswer(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    (*static_cast<RemoteObject::Answered*>(userdata))(CallAnswer(message));
    return 1;
}

int keepAnswer(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    static_cast<BusMessage*>(userdata)->reset(sd_bus_message_ref(message));
    return 1;
}

/// Handles what has arrived, or waits for more; false when `until` has passed and nothing was there.
bool processOrWait(sd_bus* bus, Clock::time_point until)
{
    int code = sd_bus_process(bus, nullptr);
    if (code == 0) {
        auto left = std::chrono::duration_cast<std::chrono::microseconds>(until - Clock::now()).count();
        if (left <= 0)
            return false;
        code = sd_bus_wait(bus, static_cast<std::uint64_t>(left));
    }
    if (code < 0 && code != -EINTR)
        raise(code);
    return true;
}

Clock::time_point afterMicroseconds(std::uint64_t timeout)
{
    auto now = Clock::now();
    auto most = std::chrono::duration_cast<std::chrono::microseconds>(Clock::time_point::max() - now).count();
    if (timeout >= static_cast<std::uint64_t>(most))
        return Clock::time_point::max();
    return now + std::chrono::microseconds(timeout);
}

/// The time is watched here, not by the bus library: an answer that has arrived counts, however long the calls in
/// front of it took.
BusMessage sendAndServe(sd_bus* bus, sd_bus_message* message, std::uint64_t timeout)
{
    BusMessage answer;
    sd_bus_slot* waiting = nullptr;
    int code = sd_bus_call_async(bus, &waiting, message, keepAnswer, &answer, CallWithoutTimeout);
    BusSlot slot(waiting);
    if (code < 0)
        raise(code);
    if (!serveUntil(
            bus, [&] { return answer != nullptr; }, afterMicroseconds(timeout)))
        throw BusError(BusErrorNoReply, "no answer in time");
    raiseErrorOf(answer.get());
    return answer;
}

/// Inside the answer to a call the connection takes no other.
BusMessage sendAndWait(sd_bus* bus, sd_bus_message* message, std::uint64_t timeout)
{
    BusErrorHolder error;
    sd_bus_message* answered = nullptr;
    int code = sd_bus_call(bus, message, timeout, error.get(), &answered);
    BusMessage answer(answered);
    if (code < 0)
        raise(error.name(), error.message());
    return answer;
}

} // namespace

RemoteObject busDriver(sd_bus* bus)
{
    return { "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", bus };
}

bool serveUntil(sd_bus* bus, const std::function<bool()>& done, Clock::time_point until)
{
    while (!done()) {
        if (!processOrWait(bus, until))
            return false;
    }
    return true;
}

void setThreadServingBus(sd_bus* bus, BusTurn* turn)
{
    t_servingBus = bus;
    t_turn = turn;
}

BusTurn* threadBusTurn() { return t_turn; }

sd_bus* threadServingBus() { return t_servingBus; }

sd_bus* RemoteObject::busForCalls() const
{
    sd_bus* bus = m_bus ? m_bus.get() : t_servingBus;
    if (!bus)
        throw BusError(BusErrorNoServer, "there is no connection to the bus");
    return bus;
}

BusMessage RemoteObject::newCall(const char* member, const Encode& arguments) const
{
    sd_bus_message* made = nullptr;
    int code = sd_bus_message_new_method_call(
        busForCalls(), &made, m_destination.c_str(), m_path.c_str(), m_interface.c_str(), member);
    BusMessage message(made);
    if (code < 0)
        raise(code);
    if (arguments) {
        WireWriter writer(message.get());
        arguments(writer);
    }
    return message;
}

void RemoteObject::call(
    const char* member, std::uint64_t timeoutMicroseconds, const Encode& arguments, const Decode& results) const
{
    sd_bus* bus = busForCalls();
    TurnTaken turn(m_bus ? nullptr : t_turn);
    BusMessage message = newCall(member, arguments);
    bool insideAnAnswer = sd_bus_get_current_message(bus) != nullptr;
    BusMessage reply = insideAnAnswer ? sendAndWait(bus, message.get(), timeoutMicroseconds)
                                      : sendAndServe(bus, message.get(), timeoutMicroseconds);
    if (results) {
        WireReader reader(reply.get());
        results(reader);
    }
}

BusSlot RemoteObject::send(const char* member, const Encode& arguments, Answered answered) const
{
    BusMessage message = newCall(member, arguments);
    auto kept = std::make_unique<Answered>(std::move(answered));
    sd_bus_slot* waiting = nullptr;
    int code = sd_bus_call_async(busForCalls(), &waiting, message.get(), tellAnswer, kept.get(), CallWithoutTimeout);
    if (code < 0)
        raise(code);
    // The slot outlives its callback, and what is called lives as long as the slot.
    sd_bus_slot_set_destroy_callback(waiting, [](void* userdata) { delete static_cast<Answered*>(userdata); });
    (void)kept.release();
    return BusSlot(waiting);
}

void RemoteObject::post(const char* member) const noexcept
try {
    BusMessage message = newCall(member, {});
    if (sd_bus_message_set_expect_reply(message.get(), 0) >= 0)
        sd_bus_send(busForCalls(), message.get(), nullptr);
} catch (const std::exception&) {
}

WireReader CallAnswer::results() const
{
    raiseErrorOf(m_message);
    return WireReader(m_message);
}

} // namespace mv
