// Any bytes as a file of any name: what is said of it can be handed on, with pictures and without.
#include "facts/reading/Describe.h"
#include "fuzz/OpenedBytes.h"
#include "service/job/FactsCode.h"

#include <cstdlib>

using namespace mv;

namespace {

Result<Facts> described(const OpenedFile& file, bool withPictures)
{
    auto facts = describe(file, "a.mp3", { .pictures = withPictures });
    if (!facts)
        return facts;
    Bytes bytes;
    encodeFacts(*facts, bytes);
    auto back = decodeFacts(bytes);
    if (!back || !(*back == *facts))
        std::abort();
    return facts;
}

} // namespace

// Files that make TagLib read for ever are left by an exception, which its own allocations do not survive.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    OpenedFile file = fuzz::openedBytes(data, size, "file");
    auto plain = described(file, false);
    auto whole = described(file, true);
    // That pictures are stepped over changes nothing else.
    if (plain.ok() != whole.ok())
        std::abort();
    return 0;
}
