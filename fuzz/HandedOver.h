#pragma once

#include "service/job/RecordCode.h"

#include <cstdlib>

namespace mv::fuzz {

/// Ends the program over a record that the host would not take from the worker that made it.
inline void handOver(const Record& record)
{
    Bytes bytes;
    encodeRecord(record, bytes);
    if (!decodeRecord(bytes))
        std::abort();
}

} // namespace mv::fuzz
