#pragma once

#include "Base/Core/Bytes.h"

namespace mv {

/// The settings container for the MPEG-4 movie exporter, 1,036 bytes: an MPEG-4 file of brand 'mp42', video and sound
/// passed through as they are, with hint tracks of packets of 1,450 bytes and 100 ms. The other values are what the
/// exporter's dialogue last stood at; pass-through does not look at them.
const Bytes& _mp4_export_setting();

} // namespace mv
