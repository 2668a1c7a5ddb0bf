#include "tests/application/ServedSample.h"

namespace mv::test {

namespace {

struct Unheard { };

template <class Exception>
int raisingProperty(sd_bus*, const char*, const char*, const char*, sd_bus_message*, void*, sd_bus_error* error)
{
    return answerGuarded(error, []() -> int { throw Exception(); });
}

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("echo", "s", "s", (servedMethod<Sample, &Sample::echo>), 0),
    SD_BUS_METHOD("raise", "", "", (servedMethod<Sample, &Sample::raise>), 0),
    SD_BUS_METHOD("fail", "", "", (servedMethod<Sample, &Sample::fail>), 0),
    SD_BUS_METHOD("throwOddly", "", "", (servedMethod<Sample, &Sample::throwOddly>), 0),
    SD_BUS_METHOD("large", "", "a{sv}", (servedMethod<Sample, &Sample::large>), 0),
    SD_BUS_METHOD("thread", "", "s", (servedMethod<Sample, &Sample::thread>), 0),
    SD_BUS_METHOD("caller", "", "s", (servedMethod<Sample, &Sample::caller>), 0),
    SD_BUS_METHOD("slow", "", "", (servedMethod<Sample, &Sample::slow>), 0),
    SD_BUS_METHOD("callBack", "o", "i", (servedMethod<Sample, &Sample::callBack>), 0),
    SD_BUS_METHOD("give", "", "o", (servedMethod<Sample, &Sample::give>), 0),
    SD_BUS_METHOD("release", "", "", (servedMethod<Sample, &Sample::release>), 0),
    SD_BUS_PROPERTY("outOfMemory", "s", raisingProperty<std::bad_alloc>, 0, 0),
    SD_BUS_PROPERTY("unheard", "s", raisingProperty<Unheard>, 0, 0),
    SD_BUS_VTABLE_END,
};
constexpr ServedInterface Interfaces[] = { { "Mivo.Test", Members } };

} // namespace

std::span<const ServedInterface> Sample::interfaces() const { return Interfaces; }

} // namespace mv::test
