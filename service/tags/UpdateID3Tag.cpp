#include "service/tags/UpdateID3Tag.h"

#include "mp4/FrontEdit.h"
#include "service/tags/Id3PodcastFrames.h"
#include "service/tags/Id3TagEdit.h"
#include "service/tags/Id3TagLayout.h"
#include "service/tags/PictureLeftOut.h"

namespace mv {

namespace {

/// One rewriting of a tag: what to write, and whether it reads back.
class TagRewriting {
public:
    explicit TagRewriting(const Id3TagEdit& edit)
        : m_edit(edit)
    {
    }

    Result<std::optional<FileContent>> plan(const InputFile& current)
    {
        MV_TRY(tags, readTags(current));
        m_frames = Id3FrameList::carriedFrom(tags);
        m_hasPictureLeftOut = !m_edit.apply(m_frames);
        MV_TRY(frames, m_frames.rendered());
        MV_TRY(layout, layOutTag(tags, frames.size()));
        Bytes tag = layout.newSize > 0 ? tagBytes(frames, layout.newSize) : Bytes();
        MV_TRY(content, m_front.plan(StructureReader::borrowing(current), layout.oldSize, std::move(tag)));
        return std::optional(std::move(content));
    }

    Result<void> check(const InputFile& made) const
    {
        MV_TRY(tags, readTags(made));
        tags.id3v1.reset(); // at the end still, but the new tag alone is asked about
        if (Id3FrameList::carriedFrom(tags).frames() != m_frames.frames())
            return Error { Error::Kind::Format, "the new tag does not read back as it was written" };
        return m_front.check(StructureReader::borrowing(made));
    }

    bool hasPictureLeftOut() const { return m_hasPictureLeftOut; }

private:
    const Id3TagEdit& m_edit;
    Id3FrameList m_frames;
    FrontEdit m_front;
    bool m_hasPictureLeftOut = false;
};

} // namespace

bool UpdateID3Tag::updateTagWithDictionary(EditableFile& file, const Record& record)
{
    if (!file.opened().exists())
        return false;
    const Id3TagEdit edit(record);
    TagRewriting rewriting(edit);
    // Deliberate: the answer does not tell whether the update worked; the replacement has logged a failure.
    (void)file.replace([&](const InputFile& current) { return rewriting.plan(current); },
        [&](const InputFile& made) { return rewriting.check(made); });
    if (rewriting.hasPictureLeftOut())
        logPictureLeftOut(file.opened().path());
    return true;
}

std::optional<Record> UpdateID3Tag::podcastInfo(const OpenedFile& file)
{
    return file.content() ? podcastFramesOf(**file.content()) : std::nullopt;
}

} // namespace mv
