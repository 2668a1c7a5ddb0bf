#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"

#include <string>

namespace mv {

/// An exception that left an operation in another process.
struct RaisedException {
    std::string name; ///< empty for one that is not of the platform's family
    std::string reason;

    bool operator==(const RaisedException&) const = default;
};

void encodeRaised(const RaisedException& raised, Bytes& out);
/// Format for an exception of a name that no operation raises.
Result<RaisedException> decodeRaised(ByteView bytes);

} // namespace mv
