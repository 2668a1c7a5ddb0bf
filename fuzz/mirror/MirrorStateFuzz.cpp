// Any text as the state of a mirror: what is read of it is written so that it reads the same, and leads nowhere.
#include "Base/Core/Bytes.h"
#include "cli/mirror/MirrorState.h"

#include <cstdlib>

using namespace mv;
using namespace mv::cli;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto state = MirrorState::parse(charsOf(ByteView(data, size)));
    if (!state)
        return 0;
    for (const auto& [to, entry] : state->entries()) {
        if (to.empty() || to.front() == '/' || ("/" + to + "/").find("/../") != std::string::npos)
            std::abort();
    }
    auto again = MirrorState::parse(state->text());
    if (!again || again->source() != state->source() || !(again->entries() == state->entries()))
        std::abort();
    return 0;
}
