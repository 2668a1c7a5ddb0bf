#include "facts/reading/OldTags.h"

#include "facts/reading/ApeItems.h"
#include "facts/reading/Id3Facts.h"
#include "id3/Lyrics3Tag.h"

namespace mv {

namespace {

void addLyrics3(TagSink& sink, const TagSet& tags, const ByteSource& source)
{
    auto block = source.bytesAt(tags.lyrics3->offset, tags.lyrics3->size);
    if (!block)
        return;
    Lyrics3Tag lyrics = Lyrics3Tag::parse(*block, tags.lyrics3IsVersion2);
    sink.texts.beginTag();
    sink.texts.addLegacy(TagField::Title, lyrics.title);
    sink.texts.addLegacy(TagField::Artist, lyrics.artist);
    sink.texts.addLegacy(TagField::Album, lyrics.album);
    sink.texts.addLegacy(TagField::Comment, lyrics.information);
    sink.texts.addLegacy(TagField::Lyrics, lyrics.lyrics);
}

} // namespace

void addOldTags(TagSink& sink, const TagSet& tags, const ByteSource& source)
{
    for (const auto& ape : { tags.leadingApe, tags.ape }) {
        if (ape)
            addApeItems(sink, source, ape->offset, ape->size);
    }
    if (tags.lyrics3)
        addLyrics3(sink, tags, source);
    if (tags.id3v1)
        addId3v1(sink, *tags.id3v1);
}

} // namespace mv
