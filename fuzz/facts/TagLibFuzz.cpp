// TagLib through our stream: the first byte says which of its readers is to read the rest.
#include "facts/reading/Readers.h"

using namespace mv;

// Files that make TagLib read for ever are left by an exception, which its own allocations do not survive.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr Reader* Readers[] = { readAsf, readMonkey, readWavPack, readMusepack, readTrueAudio };
    if (size == 0)
        return 0;
    SharedSource source = sourceOfBytes(Bytes(data + 1, data + size));
    Facts facts;
    TagSink tags;
    tags.wantsPictures = true;
    Reading reading { source, *source, "a", {}, { .pictures = true }, facts, tags };
    static_cast<void>(Readers[data[0] % std::size(Readers)](reading));
    tags.putInto(facts);
    return 0;
}
