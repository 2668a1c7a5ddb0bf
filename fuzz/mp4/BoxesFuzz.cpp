// A whole file: its structure, its lengths and its rates.
#include "mp4/mp4.h"

#include <cstddef>
#include <cstdint>

using namespace mv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto file = Mp4File::open(StructureReader(ByteView(data, size)));
    if (!file.ok())
        return 0;
    for (const TrackFacts& track : file->facts().tracks) {
        MP4GetTrackBitRate(*file, track.id);
        (void)track.displayWidth();
    }
    MP4FindTrackId(*file, 0, "soun", 0x40);
    (void)tagsFromItems(file->items());
    return 0;
}
