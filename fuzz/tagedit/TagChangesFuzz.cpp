// Any bytes as changes of tags: what is read of them is written as the same bytes, and dates end where they are read.
#include "Base/Core/Bytes.h"
#include "service/job/TagChanges.h"

#include <cstdlib>

using namespace mv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ByteView bytes(data, size);
    static_cast<void>(isTagDate(charsOf(bytes)));
    auto changes = decodeTagChanges(bytes);
    if (!changes)
        return 0;
    auto back = decodeTagChanges(encodeTagChanges(*changes));
    if (!back || !(*back == *changes))
        std::abort();
    return 0;
}
