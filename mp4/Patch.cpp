#include "mp4/Patch.h"

#include <algorithm>

namespace mv {

FileContent patchedContent(std::vector<Patch> patches, std::uint64_t fileSize)
{
    std::stable_sort(
        patches.begin(), patches.end(), [](const Patch& a, const Patch& b) { return a.offset < b.offset; });
    FileContent content;
    std::uint64_t position = 0;
    auto copyTo = [&](std::uint64_t end) {
        if (position < end)
            content.push_back(FileSegment::copy(position, end - position));
        position = end;
    };
    for (Patch& patch : patches) {
        copyTo(patch.offset);
        position += patch.replaced;
        if (!patch.bytes.empty())
            content.push_back(FileSegment::literal(std::move(patch.bytes)));
    }
    copyTo(fileSize);
    return content;
}

} // namespace mv
