#pragma once

#include <systemd/sd-bus.h>

namespace mv::test {

/// Mivo.MVAudioEncoderDelegate as a client serves it, with a function for each message.
template <auto Start, auto Stop, auto Progress, auto Fail, auto End>
inline constexpr sd_bus_vtable EncoderDelegateMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("encoderDidStart", "o", "", Start, 0),
    SD_BUS_METHOD("shouldEncodeStop", "", "b", Stop, 0),
    SD_BUS_METHOD("encoderProgress", "od", "", Progress, 0),
    SD_BUS_METHOD("encoderDidFailWithError", "o(si)", "", Fail, 0),
    SD_BUS_METHOD("encoderDidEnd", "o", "", End, 0),
    SD_BUS_VTABLE_END,
};

} // namespace mv::test
