// A whole file: its structure, its lengths and its rates.
#include "mp4/mp4.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace mv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto file = Mp4File::open(StructureReader(ByteView(data, size)));
    if (!file.ok())
        return 0;
    for (const TrackFacts& track : file->facts().tracks)
        (void)track.displayWidth();
    // Every track is found by its own id and no other's.
    for (std::uint16_t i = 0; i < file->facts().tracks.size(); ++i) {
        MP4TrackId id = MP4FindTrackId(*file, i, nullptr, 0);
        if (id == MP4_INVALID_TRACK_ID || MP4GetTrackDuration(*file, id) != file->facts().tracks[i].mediaDuration)
            std::abort();
        MP4GetTrackBitRate(*file, id);
    }
    MP4FindTrackId(*file, 0, "soun", 0x40);
    (void)tagsFromItems(file->items());
    return 0;
}
