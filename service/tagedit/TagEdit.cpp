#include "service/tagedit/TagEdit.h"

#include "mp4/MetadataEdit.h"
#include "service/tagedit/FlacChange.h"
#include "service/tagedit/Id3Change.h"
#include "service/tagedit/Mp4Change.h"
#include "service/tagedit/OggChange.h"
#include "service/tagedit/RiffChange.h"

#include <new>
#include <utility>

namespace mv {

namespace {

using Planned = Result<std::optional<FileContent>>;

Error noMemory() { return { Error::Kind::Limit, "changing this file takes more memory than there is" }; }

Error notReadBack() { return { Error::Kind::Format, "the new tag does not read back as it was written" }; }

Planned contentOf(const ByteSource& file, Splices splices)
{
    MV_TRY(content, splicedContent(file.size(), std::move(splices)));
    return std::optional(std::move(content));
}

/// A second cover in place of one that was taken away is no fault.
TagChanges lastingChanges(const TagChanges& changes)
{
    TagChanges lasting = changes;
    if (lasting.frontCover && lasting.frontCover->empty())
        lasting.frontCover.reset();
    return lasting;
}

/// Whether the segment is what the file has at that place; copies of what is elsewhere are short.
Result<bool> isAt(const ByteSource& file, std::uint64_t place, const FileSegment& segment)
{
    if (segment.isCopy && segment.offset == place)
        return true;
    MV_TRY(present, file.bytesAt(place, segment.length));
    if (!segment.isCopy)
        return present == segment.bytes;
    MV_TRY(copied, file.bytesAt(segment.offset, segment.length));
    return present == copied;
}

/// A tag that is changed once more stays as it is.
Result<void> checkSettled(const ByteSource& made, Result<Splices> again)
{
    if (!again)
        return again.error();
    MV_TRY(content, splicedContent(made.size(), std::move(*again)));
    if (lengthOf(content) != made.size())
        return notReadBack();
    std::uint64_t place = 0;
    for (const FileSegment& segment : content) {
        MV_TRY(isThere, isAt(made, place, segment));
        if (!isThere)
            return notReadBack();
        place += segment.length;
    }
    return {};
}

Result<Splices> mpegSplices(const ByteSource& file, const TagChanges& changes)
{
    MV_TRY(tags, readTags(file));
    return id3Splices(file, tags, changes, true);
}

} // namespace

/// One family of files.
class TagEdit::Format {
public:
    virtual ~Format() = default;
    virtual Planned plan(const ByteSource& current) = 0;
    virtual Result<void> check(const ByteSource& made) const = 0;
};

/// A file whose sound no splice touches.
class TagEdit::Spliced final : public Format {
public:
    using SplicesOf = Result<Splices>(const ByteSource& file, const TagChanges& changes);

    Spliced(SplicesOf* splicesOf, const TagChanges& changes)
        : m_splicesOf(splicesOf)
        , m_changes(changes)
    {
    }
    Planned plan(const ByteSource& current) override
    {
        MV_TRY(splices, m_splicesOf(current, m_changes));
        return contentOf(current, std::move(splices));
    }
    Result<void> check(const ByteSource& made) const override
    {
        return checkSettled(made, m_splicesOf(made, lastingChanges(m_changes)));
    }

private:
    SplicesOf* const m_splicesOf;
    const TagChanges& m_changes;
};

class TagEdit::Ogg final : public Format {
public:
    explicit Ogg(const TagChanges& changes)
        : m_changes(changes)
    {
    }
    Planned plan(const ByteSource& current) override
    {
        MV_TRY(planned, oggPlan(current, m_changes));
        m_sound = planned.sound;
        return contentOf(current, std::move(planned.splices));
    }
    Result<void> check(const ByteSource& made) const override
    {
        MV_TRY(sound, oggSound(made));
        if (sound != m_sound)
            return Error { Error::Kind::Format, "the new file has other sound" };
        auto again = oggPlan(made, lastingChanges(m_changes));
        return checkSettled(made, again ? Result<Splices>(std::move(again->splices)) : again.error());
    }

private:
    const TagChanges& m_changes;
    OggSound m_sound;
};

class TagEdit::Riff final : public Format {
public:
    Riff(RiffForm form, const TagChanges& changes)
        : m_form(form)
        , m_changes(changes)
    {
    }
    Planned plan(const ByteSource& current) override
    {
        MV_TRY(outline, riffOutline(current, m_form));
        m_outline = std::move(outline);
        MV_TRY(splices, riffSplices(current, m_form, m_changes));
        return contentOf(current, std::move(splices));
    }
    Result<void> check(const ByteSource& made) const override
    {
        MV_TRY(outline, riffOutline(made, m_form));
        if (outline != m_outline)
            return Error { Error::Kind::Format, "the new file has other parts" };
        return checkSettled(made, riffSplices(made, m_form, lastingChanges(m_changes)));
    }

private:
    const RiffForm m_form;
    const TagChanges& m_changes;
    std::vector<std::uint64_t> m_outline;
};

class TagEdit::Mp4 final : public Format {
public:
    explicit Mp4(const TagChanges& changes)
        : m_edit(
            [&changes](const MP4ItmfItemList& before) { return changedItems(before, changes); }, changedTexts(changes))
    {
    }
    Planned plan(const ByteSource& current) override { return m_edit.plan(StructureReader::borrowing(current)); }
    Result<void> check(const ByteSource& made) const override { return m_edit.check(StructureReader::borrowing(made)); }

private:
    MetadataEdit m_edit;
};

TagEdit::TagEdit(const TagChanges& changes, std::string name)
    : m_changes(changes)
    , m_name(std::move(name))
{
}

TagEdit::~TagEdit() = default;

/// Null for a format whose tags are not written.
std::unique_ptr<TagEdit::Format> TagEdit::formatOf(FileFamily family) const
{
    const TagChanges& changes = m_changes;
    switch (family) {
    case FileFamily::MpegAudio:
        return std::make_unique<Spliced>(&mpegSplices, changes);
    case FileFamily::Flac:
        return std::make_unique<Spliced>(&flacSplices, changes);
    case FileFamily::Ogg:
        return std::make_unique<Ogg>(changes);
    case FileFamily::Wave:
        return std::make_unique<Riff>(RiffForm::Wave, changes);
    case FileFamily::Aiff:
        return std::make_unique<Riff>(RiffForm::Aiff, changes);
    case FileFamily::IsoMedia:
        return std::make_unique<Mp4>(changes);
    default:
        return nullptr;
    }
}

Planned TagEdit::plan(const ByteSource& current)
{
    try {
        m_family = contentType(current, m_name).family;
        m_format = formatOf(m_family);
        if (!m_format)
            return Error { Error::Kind::Unsupported, "tags of this format are not written" };
        return m_format->plan(current);
    } catch (const std::bad_alloc&) {
        return noMemory();
    }
}

Result<void> TagEdit::check(const ByteSource& made) const
{
    if (!m_format)
        return notReadBack();
    try {
        // Where the tag was all that told what the file is.
        if (contentType(made, m_name).family != m_family)
            return Error { Error::Kind::Format, "the new file would be taken for another kind" };
        return m_format->check(made);
    } catch (const std::bad_alloc&) {
        return noMemory();
    }
}

} // namespace mv
