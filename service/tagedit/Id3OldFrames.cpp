#include "service/tagedit/Id3OldFrames.h"

#include "service/tags/CarriedFrames.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace mv {

namespace {

constexpr std::size_t FormatFlags = 9;

template <std::size_t Count> bool isOneOf(const NewFrame& frame, const std::string_view (&ids)[Count])
{
    return std::find(std::begin(ids), std::end(ids), frame.id) != std::end(ids);
}

/// Without flags, but for v2.4's unsynchronisation, which leaves texts what they are.
bool isPlain(const NewFrame& frame)
{
    constexpr std::uint8_t Unsynchronised = 0x02;
    return (frame.bytes[FormatFlags] & ~Unsynchronised) == 0;
}

/// Whether anybody can read something of the frame's text.
bool saysSomething(const NewFrame& frame, std::size_t begin) { return isPlain(frame) && !isEmptyFrame(frame, begin); }

bool areAll(const std::vector<Id3v2Tag>& tags, int version)
{
    return std::all_of(tags.begin(), tags.end(), [&](const Id3v2Tag& tag) { return tag.majorVersion() == version; });
}

/// A day and a time alone say nothing.
bool hasDate(const std::vector<NewFrame>& frames)
{
    return std::any_of(frames.begin(), frames.end(), [](const NewFrame& frame) {
        bool isWhole = isDate(frame) && frame.id != "TDAT" && frame.id != "TIME";
        return (isWhole || isDateOfOther(frame)) && saysSomething(frame, FrameTextBegin);
    });
}

/// Of a frame in one tag and of one in a tag behind it.
bool saysTheSame(const NewFrame& first, const NewFrame& second)
{
    if (first.bytes == second.bytes)
        return true;
    if (first.isPlainComment && second.isPlainComment)
        return saysSomething(first, CommentTextBegin);
    bool isText = first.id.starts_with('T') && first.id != "TXXX";
    return isText && first.id == second.id && saysSomething(first, FrameTextBegin);
}

/// Puts the frames of a tag to those of the tags in front of it.
void carry(std::vector<NewFrame>& frames, std::vector<NewFrame> more)
{
    // A date is one: nobody takes the day of one tag for the year of another.
    if (hasDate(frames))
        std::erase_if(more, isDate);
    else if (hasDate(more))
        std::erase_if(frames, isDate);
    const auto before = static_cast<std::ptrdiff_t>(frames.size());
    for (NewFrame& frame : more) {
        bool isSaid = std::any_of(
            frames.begin(), frames.begin() + before, [&](const NewFrame& other) { return saysTheSame(other, frame); });
        if (!isSaid)
            frames.push_back(std::move(frame));
    }
}

std::vector<NewFrame> framesAsStored(const Id3v2Tag& tag)
{
    constexpr std::uint8_t TagUnsynchronised = 0x80;
    bool isUnsynchronised = tag.majorVersion() == 4 && (tag.header().flags & TagUnsynchronised);
    std::vector<NewFrame> frames;
    for (const TagFrame& frame : tag.frames())
        frames.push_back(NewFrame::carried(frame, isUnsynchronised));
    return frames;
}

/// The frames of each tag in v2.3's form; people of later tags stand in the first tag's list.
std::vector<std::vector<Id3Frame>> convertedTags(const std::vector<Id3v2Tag>& tags)
{
    std::vector<std::vector<Id3Frame>> converted;
    for (const Id3v2Tag& tag : tags) {
        std::vector<Id3Frame> frames = carriedFrames(tag);
        for (auto& earlier : converted)
            std::erase_if(frames, [&](const Id3Frame& frame) { return mergePeople(earlier, frame); });
        converted.push_back(std::move(frames));
    }
    return converted;
}

} // namespace

bool isDate(const NewFrame& frame)
{
    constexpr std::string_view Ids[] = { "TYER", "TDAT", "TIME", "TDRC" };
    return isOneOf(frame, Ids);
}

bool isDateOfOther(const NewFrame& frame)
{
    constexpr std::string_view Ids[] = { "TDRL", "TDOR", "TORY" };
    return isOneOf(frame, Ids);
}

bool isEmptyFrame(const NewFrame& frame, std::size_t begin)
{
    if (frame.bytes.size() <= begin)
        return true;
    return isPlain(frame)
        && std::all_of(frame.bytes.begin() + static_cast<std::ptrdiff_t>(begin), frame.bytes.end(),
            [](std::uint8_t byte) { return byte == 0 || byte == 0xFE || byte == 0xFF; });
}

Id3OldFrames::Id3OldFrames(const TagSet& tags)
{
    const auto& counting = tags.countingTags();
    isConverted = !areAll(counting, 4) && !areAll(counting, 3);
    if (isConverted) {
        version = 3;
        for (const auto& tag : convertedTags(counting)) {
            std::vector<NewFrame> carried;
            carried.reserve(tag.size());
            for (const Id3Frame& frame : tag)
                carried.push_back(NewFrame::carried(frame));
            carry(frames, std::move(carried));
        }
    } else {
        version = counting.empty() ? 4 : counting.front().majorVersion();
        for (const Id3v2Tag& tag : counting)
            carry(frames, framesAsStored(tag));
    }
    std::stable_partition(frames.begin(), frames.end(), [](const NewFrame& frame) { return !frame.isNameless; });
}

} // namespace mv
