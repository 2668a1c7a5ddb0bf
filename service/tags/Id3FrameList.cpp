#include "service/tags/Id3FrameList.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/TagLimits.h"
#include "id3/EncodedText.h"
#include "id3/FrameNames.h"
#include "service/tags/CarriedFrames.h"

#include <algorithm>
#include <numeric>

namespace mv {

namespace {

bool contains(std::span<const std::string_view> ids, std::string_view id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

bool isName(std::string_view id)
{
    return std::all_of(id.begin(), id.end(), [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

/// What a frame is: its name, or the successor of a v2.2 name that was written into a v2.3 tag.
std::string kindOf(const Id3Frame& frame)
{
    if (isName(frame.id))
        return frame.id;
    constexpr int Version = 3;
    std::string successor = v23FrameId(std::string_view(frame.id).substr(0, 3), Version);
    return successor.size() == frame.id.size() && (frame.id[3] == 0 || frame.id[3] == ' ') ? successor : frame.id;
}

constexpr std::string_view RecordingTime[] = { "TYER", "TDAT", "TIME" };
constexpr std::string_view OriginalYear[] = { "TORY" };

} // namespace

Id3FrameList Id3FrameList::carriedFrom(const TagSet& tags)
{
    Id3FrameList list;
    for (const Id3v2Tag& tag : tags.countingTags())
        list.carry(carriedFrames(tag));
    // Many readers stop at what is no name: whatever they know has to come before it.
    std::stable_partition(
        list.m_frames.begin(), list.m_frames.end(), [](const Id3Frame& frame) { return isName(frame.id); });
    if (tags.id3v1)
        list.addFromId3v1(*tags.id3v1);
    return list;
}

/// The frames of one more tag. Of frames that v2.3 allows once, what comes later takes the place of what came from a
/// tag of another version, or is put beside it.
void Id3FrameList::carry(std::vector<Id3Frame> frames)
{
    replaceBy(frames, RecordingTime);
    replaceBy(frames, OriginalYear);
    for (Id3Frame& frame : frames) {
        if (!mergePeople(m_frames, frame))
            m_frames.push_back(std::move(frame));
    }
}

/// Removes the frames of a group whose first is among the new frames, when they or the new ones are converted.
void Id3FrameList::replaceBy(std::span<const Id3Frame> frames, std::span<const std::string_view> group)
{
    auto later
        = std::find_if(frames.begin(), frames.end(), [&](const Id3Frame& frame) { return frame.id == group.front(); });
    if (later == frames.end())
        return;
    std::erase_if(m_frames,
        [&](const Id3Frame& frame) { return contains(group, frame.id) && (frame.isConverted || later->isConverted); });
}

/// Title, artist, album and comment of the ID3v1 tag are not asked: each update replaces or removes those frames.
void Id3FrameList::addFromId3v1(const Id3v1Tag& tag)
{
    constexpr std::uint8_t NoGenre = 255;
    bool hasYear = std::any_of(tag.year.begin(), tag.year.end(), [](std::uint8_t c) { return c >= '1' && c <= '9'; });
    if (hasYear && !has("TYER") && !has("TDRC"))
        addLatin1("TYER", tag.year);
    if (tag.track != 0 && !has("TRCK"))
        addLatin1("TRCK", bytesOf(std::to_string(tag.track)));
    if (tag.genre != NoGenre && !has("TCON"))
        addLatin1("TCON", bytesOf("(" + std::to_string(tag.genre) + ")"));
}

bool Id3FrameList::has(std::string_view id) const
{
    return std::any_of(m_frames.begin(), m_frames.end(), [&](const Id3Frame& frame) { return kindOf(frame) == id; });
}

void Id3FrameList::add(Id3Frame frame)
{
    auto odd = std::find_if(m_frames.begin(), m_frames.end(), [](const Id3Frame& each) { return !isName(each.id); });
    m_frames.insert(odd, std::move(frame));
}

void Id3FrameList::addLatin1(std::string_view id, ByteView text)
{
    Bytes content { Id3EncodingLatin1 };
    content.insert(content.end(), text.begin(), text.end());
    add({ .id = std::string(id), .content = std::move(content) });
}

void Id3FrameList::remove(std::span<const std::string_view> ids)
{
    std::erase_if(m_frames, [&](const Id3Frame& frame) { return contains(ids, kindOf(frame)); });
}

void Id3FrameList::removePlainComments()
{
    std::erase_if(m_frames, [](const Id3Frame& frame) { return frame.isPlainComment; });
}

std::size_t Id3FrameList::sizeWithout(std::span<const std::string_view> ids) const
{
    return std::accumulate(
        m_frames.begin(), m_frames.end(), std::size_t { 0 }, [&](std::size_t sum, const Id3Frame& frame) {
            return contains(ids, kindOf(frame)) ? sum : sum + frame.size();
        });
}

Result<Bytes> Id3FrameList::rendered() const
{
    std::size_t total = sizeWithout({});
    if (total > MaxTagBytes)
        return Error { Error::Kind::Limit, "the tag would be larger than tags are read" };
    Bytes bytes;
    bytes.reserve(total);
    ByteWriter writer(bytes);
    for (const Id3Frame& frame : m_frames) {
        writer.text(frame.id);
        writer.u32be(static_cast<std::uint32_t>(frame.content.size()));
        writer.u16be(frame.flags);
        writer.bytes(frame.content);
    }
    return bytes;
}

} // namespace mv
