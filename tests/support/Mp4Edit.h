#pragma once

#include "mp4/MetadataEdit.h"
#include "mp4/Tags.h"
#include "system/FileReplacement.h"

// Edits of MPEG-4 files, in memory and on the disk.

namespace mv::test {

using TagChange = std::function<void(MP4Tags&)>;

/// The edit that changes the tags like that.
inline MetadataEdit tagEdit(const TagChange& change)
{
    return MetadataEdit([change](const MP4ItmfItemList& before) {
        MP4Tags tags = tagsFromItems(before);
        change(tags);
        return itemsWithTags(before, tags);
    });
}

/// Edits a file in its place.
inline Result<FileReplacement::Outcome> editTags(const std::string& path, const TagChange& change)
{
    MetadataEdit edit = tagEdit(change);
    return FileReplacement::perform(
        path, [&](const InputFile& current) { return edit.plan(StructureReader::borrowing(current)); },
        [&](const InputFile& made) { return edit.check(StructureReader::borrowing(made)); });
}

/// The planned content of a source in memory.
inline Bytes performed(const FileContent& content, ByteView source)
{
    Bytes result;
    for (const FileSegment& segment : content) {
        ByteView part = segment.isCopy
            ? source.subspan(static_cast<std::size_t>(segment.offset), static_cast<std::size_t>(segment.length))
            : ByteView(segment.bytes);
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

} // namespace mv::test
