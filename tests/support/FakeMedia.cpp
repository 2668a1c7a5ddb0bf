#include "tests/support/FakeMedia.h"

#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

#include <future>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>

namespace mv::test {

WireReader FakeCall::arguments() const
{
    sd_bus_message_rewind(m_message.get(), 1);
    return WireReader(m_message.get());
}

void FakeCall::answer(const std::function<void(WireWriter&)>& fill) const
{
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_method_return(m_message.get(), &made) < 0)
        return;
    BusMessage reply(made);
    WireWriter out(made);
    fill(out);
    sd_bus_send(nullptr, made, nullptr);
}

void FakeCall::fail(const std::string& error, const std::string& text) const
{
    sd_bus_reply_method_errorf(m_message.get(), error.c_str(), "%s", text.c_str());
}

FakeMedia::FakeMedia(Answering answering)
    : m_answering(std::move(answering))
    , m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    auto bus = openSessionBus();
    if (!bus)
        throw std::runtime_error("no session bus");
    m_bus = std::move(*bus);
    sd_bus_slot* slot = nullptr;
    sd_bus_add_filter(m_bus.get(), &slot, asked, this);
    m_filter.reset(slot);
    if (sd_bus_request_name(m_bus.get(), std::string(Media1Service).c_str(), 0) < 0)
        throw std::runtime_error("the name is taken");
    m_thread = std::thread([this] { serve(); });
}

FakeMedia::~FakeMedia()
{
    m_ends = true;
    eventfd_write(m_wake.get(), 1);
    m_thread.join();
}

int FakeMedia::asked(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    std::uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    if (type != SD_BUS_MESSAGE_METHOD_CALL)
        return 0;
    auto* self = static_cast<FakeMedia*>(userdata);
    FakeCall call(message);
    {
        std::lock_guard lock(self->m_lock);
        ++self->m_calls[call.member()];
    }
    self->m_answering(std::move(call));
    return 1;
}

void FakeMedia::serve()
{
    while (!m_ends) {
        std::vector<std::function<void()>> tasks;
        {
            std::lock_guard lock(m_lock);
            tasks.swap(m_tasks);
        }
        for (const auto& task : tasks)
            task();
        while (sd_bus_process(m_bus.get(), nullptr) > 0) { }
        sd_bus_flush(m_bus.get());
        pollfd files[] { { sd_bus_get_fd(m_bus.get()), POLLIN, 0 }, { m_wake.get(), POLLIN, 0 } };
        poll(files, 2, -1);
        eventfd_t count = 0;
        eventfd_read(m_wake.get(), &count);
    }
}

void FakeMedia::run(const std::function<void()>& task)
{
    std::promise<void> done;
    {
        std::lock_guard lock(m_lock);
        m_tasks.push_back([&] {
            task();
            done.set_value();
        });
    }
    eventfd_write(m_wake.get(), 1);
    done.get_future().wait();
}

void FakeMedia::tellChange(const std::string& job, const std::function<void(WireWriter&)>& fill)
{
    run([&] {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(
            m_bus.get(), &made, job.c_str(), "org.freedesktop.DBus.Properties", "PropertiesChanged");
        BusMessage signal(made);
        WireWriter out(made);
        out.string(wire::Job1::Interface).list("{sv}", [&] { fill(out); }).list("s", [] {});
        sd_bus_send(m_bus.get(), made, nullptr);
    });
}

int FakeMedia::calls(const std::string& member) const
{
    std::lock_guard lock(m_lock);
    auto found = m_calls.find(member);
    return found == m_calls.end() ? 0 : found->second;
}

bool FakeMedia::hasLeft(const std::string& connection)
{
    bool left = false;
    run([&] { left = !busNameHasOwner(m_bus.get(), connection.c_str()); });
    return left;
}

} // namespace mv::test
