#include "service/tagedit/Splices.h"

#include <algorithm>
#include <utility>

namespace mv {

Result<FileContent> splicedContent(std::uint64_t fileSize, Splices splices)
{
    std::stable_sort(
        splices.begin(), splices.end(), [](const Splice& a, const Splice& b) { return a.offset < b.offset; });
    FileContent content;
    std::uint64_t place = 0;
    for (Splice& splice : splices) {
        if (splice.offset < place || splice.offset > fileSize || splice.length > fileSize - splice.offset)
            return Error { Error::Kind::Format, "the parts of this file overlap" };
        if (splice.offset > place)
            content.push_back(FileSegment::copy(place, splice.offset - place));
        if (!splice.bytes.empty())
            content.push_back(FileSegment::literal(std::move(splice.bytes)));
        place = splice.end();
    }
    if (place < fileSize)
        content.push_back(FileSegment::copy(place, fileSize - place));
    return content;
}

} // namespace mv
