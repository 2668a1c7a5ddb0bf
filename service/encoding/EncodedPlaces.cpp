#include "service/encoding/EncodedPlaces.h"

#include "Base/Media/TagLimits.h"
#include "mp4/MetadataEdit.h"
#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace mv {

namespace {

Error notAsked() { return { Error::Kind::Unsupported, "not how such a file is made" }; }

UniqueFd copyOf(int descriptor) { return UniqueFd(fcntl(descriptor, F_DUPFD_CLOEXEC, 0)); }

Result<InputFile> contentOf(const OutputFile& output) { return InputFile::adopt(copyOf(output.fd())); }

/// Makes new content of a file where it is: there is room, so nothing of what it has moves.
Result<void> rewrite(OutputFile& output, const FileContent& content)
{
    std::uint64_t at = 0;
    for (const FileSegment& segment : content) {
        if (segment.isCopy && segment.offset != at)
            return Error { Error::Kind::State, "the sound would move" };
        if (!segment.isCopy)
            MV_TRY_VOID(output.writeAt(at, segment.bytes));
        at += segment.length;
    }
    return {};
}

/// What the items take in a list, and the boxes around it.
std::uint32_t roomFor(const MP4ItmfItemList& items)
{
    constexpr std::size_t Around = 4096;
    std::size_t room = Around;
    for (const MP4ItmfItem& item : items)
        room += serializedItem(item).size();
    return static_cast<std::uint32_t>(std::min<std::size_t>(room, MaxTagBytes));
}

Result<void> putItems(OutputFile& output, const MP4ItmfItemList& items)
{
    MetadataEdit edit([&](const MP4ItmfItemList&) { return items; });
    {
        MV_TRY(written, contentOf(output));
        MV_TRY(content, edit.plan(StructureReader::borrowing(written)));
        if (!content)
            return {};
        MV_TRY_VOID(rewrite(output, *content));
    }
    MV_TRY(made, contentOf(output));
    return edit.check(StructureReader::borrowing(made));
}

} // namespace

void EncodedPlace::fail(Error error)
{
    if (!m_failure)
        m_failure = std::move(error);
}

Result<std::unique_ptr<OutputFile>> EncodedPlace::make()
{
    auto made = m_place->create();
    if (!made)
        fail(made.error());
    return made;
}

Result<void> EncodedPlace::keep(Result<void> done)
{
    if (!done)
        fail(done.error());
    return done;
}

/// What an encoder writes, behind the tag.
class TaggedMp3Place::Sound final : public FileInPlace {
public:
    Sound(TaggedMp3Place& place, std::unique_ptr<FileInPlace> file)
        : m_place(place)
        , m_file(std::move(file))
        , m_begin(place.m_tag.size())
    {
    }

    bool begin() { return write(m_place.m_tag); }
    bool write(ByteView bytes) override { return note(m_file->write(bytes)); }
    bool seek(std::uint64_t offset) override { return note(m_file->seek(m_begin + offset)); }
    bool close() override { return note(m_file->close()); }

private:
    bool note(bool isWell)
    {
        if (!isWell)
            m_place.fail(systemError(errno, "cannot write"));
        return isWell;
    }

    TaggedMp3Place& m_place;
    std::unique_ptr<FileInPlace> m_file;
    const std::uint64_t m_begin;
};

Result<std::unique_ptr<OutputFile>> TaggedMp3Place::create() { return notAsked(); }

std::unique_ptr<FileInPlace> TaggedMp3Place::openInPlace(const OpenedFile&)
{
    auto made = make();
    if (!made)
        return nullptr;
    m_output = std::move(*made);
    auto file = FileInPlace::of(copyOf(m_output->fd()));
    if (!file)
        return nullptr;
    auto sound = std::make_unique<Sound>(*this, std::move(file));
    return sound->begin() ? std::move(sound) : nullptr;
}

Result<void> TaggedMp3Place::commit()
{
    return m_output ? keep(m_output->commit()) : Error { Error::Kind::State, "nothing was made" };
}

class TaggedM4aPlace::Output final : public OutputFile {
public:
    Output(TaggedM4aPlace& place, std::unique_ptr<OutputFile> file)
        : OutputFile(copyOf(file->fd()))
        , m_place(place)
        , m_file(std::move(file))
    {
    }
    Result<void> commit() override
    {
        if (!m_place.m_items.empty())
            MV_TRY_VOID(m_place.keep(putItems(*this, m_place.m_items)));
        return m_place.keep(m_file->commit());
    }

    std::uint32_t metadataRoom() const override { return m_place.m_items.empty() ? 0 : roomFor(m_place.m_items); }

private:
    TaggedM4aPlace& m_place;
    std::unique_ptr<OutputFile> m_file;
};

Result<std::unique_ptr<OutputFile>> TaggedM4aPlace::create()
{
    MV_TRY(made, make());
    return std::unique_ptr<OutputFile>(std::make_unique<Output>(*this, std::move(made)));
}

} // namespace mv
