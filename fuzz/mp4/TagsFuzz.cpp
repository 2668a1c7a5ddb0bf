// The content of a metadata list: fields, and items made of them again.
#include "mp4/Tags.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace mv;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    MP4ItmfItemList items = parseItems(ByteView(data, size));
    MP4Tags tags = tagsFromItems(items);
    // Unchanged tags change no item; items written are the items read.
    require(itemsWithTags(items, tags) == items);
    Bytes list;
    for (const MP4ItmfItem& item : items) {
        Bytes box = serializedItem(item);
        list.insert(list.end(), box.begin(), box.end());
    }
    require(parseItems(list) == items);
    // A changed field is what was set, and the only change.
    MP4TagsSetName(tags, "fuzz");
    MP4TagsSetTrack(tags, MP4TagTrack { 3, 4 });
    if (!tags.artwork.empty())
        MP4TagsRemoveArtwork(tags, 0);
    require(tagsFromItems(itemsWithTags(items, tags)) == tags);
    return 0;
}
