#include "service/tagedit/Id3Change.h"

#include "service/tagedit/Id3NewTag.h"
#include "service/tagedit/OldTagChange.h"
#include "service/tagedit/WritableTexts.h"
#include "service/tags/Id3TagLayout.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

/// A tag at the end of a file, whose frames a tag at the front repeats, without what is named.
Result<Splice> withoutNamed(const ByteSource& file, const Id3v2Tag& tag, const TagChanges& changes)
{
    const TagExtent extent = tag.extent();
    MV_TRY(bytes, file.bytesAt(extent.offset, extent.size));
    if (!tag.complete() || !tag.header().hasFooter() || extent.size < tag.header().totalSize())
        return Error { Error::Kind::Unsupported, "the ID3v2 tag at the end cannot be read whole" };
    TagSet alone;
    auto body = bytes.begin() + Id3v2Tag::HeaderSize;
    alone.prependedTags.push_back(Id3v2Tag::parse(tag.header(), extent.offset, file.size(),
        Bytes(body, body + static_cast<std::ptrdiff_t>(tag.header().bodySize)), TagSet::MaxBytesUnpacked));
    MV_TRY(left, changedId3(alone, changes.removalOfTexts()));
    if (left.frames.empty())
        return Splice { extent.offset, extent.size, {} };
    bytes = tagBytes(left.frames, Id3v2Tag::HeaderSize + left.frames.size(), left.version);
    bytes[5] = Id3v2Tag::Header::FooterFlag;
    Bytes footer(bytes.begin(), bytes.begin() + Id3v2Tag::FooterSize);
    std::copy_n("3DI", 3, footer.begin());
    bytes.insert(bytes.end(), footer.begin(), footer.end());
    return Splice { extent.offset, extent.size, std::move(bytes) };
}

} // namespace

Result<Splices> id3Splices(const ByteSource& file, const TagSet& tags, const TagChanges& changes, bool makesNew)
{
    Splices splices;
    if ((makesNew && changes.setsAnything()) || !tags.prependedTags.empty()) {
        MV_TRY(tag, changedId3(tags, changes, oldTexts(file, tags)));
        MV_TRY(layout, layOutTag(tags, tag.frames.size()));
        Bytes bytes = layout.newSize > 0 ? tagBytes(tag.frames, layout.newSize, tag.version) : Bytes();
        splices.push_back({ 0, layout.oldSize, std::move(bytes) });
    }
    for (const Id3v2Tag& tag : tags.appendedTags) {
        MV_TRY(splice, withoutNamed(file, tag, changes));
        splices.push_back(std::move(splice));
    }
    for (const auto& ape : { tags.leadingApe, tags.ape }) {
        if (!ape)
            continue;
        MV_TRY(old, file.bytesAt(ape->offset, ape->size));
        if (auto changed = changedApe(old, changes))
            splices.push_back({ ape->offset, ape->size, std::move(*changed) });
    }
    if (tags.lyrics3 && tags.lyrics3IsVersion2) {
        MV_TRY(old, file.bytesAt(tags.lyrics3->offset, static_cast<std::size_t>(tags.lyrics3->size)));
        if (auto changed = changedLyrics3(old, changes))
            splices.push_back({ tags.lyrics3->offset, tags.lyrics3->size, std::move(*changed) });
    }
    if (tags.id3v1) {
        std::uint64_t place = file.size() - Id3v1Tag::Size;
        MV_TRY(old, file.bytesAt(place, Id3v1Tag::Size));
        splices.push_back({ place, Id3v1Tag::Size, changedId3v1(std::move(old), changes) });
    }
    return splices;
}

} // namespace mv
