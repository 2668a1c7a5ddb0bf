#include "service/tags/CarriedFrames.h"

#include "Base/Core/ByteReader.h"
#include "id3/V23Form.h"
#include "service/tags/Id3Chapters.h"
#include "service/tags/InvolvedPeople.h"

#include <algorithm>
#include <string_view>

namespace mv {

namespace {

Bytes copyOf(ByteView bytes) { return { bytes.begin(), bytes.end() }; }

/// A text's ASCII characters: what other encodings hold besides falls away.
std::string asciiText(ByteView content)
{
    std::string text;
    if (!content.empty())
        for (std::uint8_t byte : content.subspan(1))
            if (byte >= ' ' && byte < 0x7F)
                text += static_cast<char>(byte);
    return text;
}

bool areDigits(std::string_view text) { return text.find_first_not_of("0123456789") == text.npos; }

std::string yearOf(std::string_view text)
{
    constexpr std::size_t Digits = 4;
    bool begins = text.size() >= Digits && areDigits(text.substr(0, Digits));
    return begins ? std::string(text.substr(0, Digits)) : std::string();
}

/// A time stamp of v2.4, "2005-03-21T10:20:30" or the front of it, in the three texts of v2.3: 2005, 2103, 1020. Some
/// programs write a blank for the T.
struct RecordingTime {
    std::string year;
    std::string date;
    std::string time;

    explicit RecordingTime(const std::string& stamp)
        : year(yearOf(stamp))
    {
        auto part = [&](std::size_t at) { return stamp.size() >= at + 2 ? stamp.substr(at, 2) : std::string(); };
        std::string dayMonth = part(8) + part(5);
        std::string hourMinute = part(11) + part(14);
        constexpr std::size_t Both = 4;
        if (year.empty() || dayMonth.size() != Both || !areDigits(dayMonth) || stamp[4] != '-' || stamp[7] != '-')
            return;
        date = dayMonth;
        bool isParted = stamp.size() > 10 && (stamp[10] == 'T' || stamp[10] == ' ');
        if (hourMinute.size() == Both && areDigits(hourMinute) && isParted && stamp[13] == ':')
            time = hourMinute;
    }
};

Id3Frame latin1Frame(std::string_view id, std::string_view text)
{
    Bytes content(1 + text.size(), Id3EncodingLatin1);
    std::copy(text.begin(), text.end(), content.begin() + 1);
    return { .id = std::string(id), .content = std::move(content), .isConverted = true };
}

Id3Frame storedFrame(const TagFrame& frame)
{
    ByteReader reader(frame.stored);
    constexpr std::size_t IdSize = 4;
    Id3Frame stored { .id = std::string(charsOf(reader.take(IdSize))) };
    reader.skip(4);
    stored.flags = reader.u16be();
    stored.content = copyOf(reader.rest());
    return stored;
}

/// The frames of a tag that is not v2.3.
class Conversion {
public:
    explicit Conversion(const Id3v2Tag& tag)
        : m_tag(tag)
    {
    }

    std::vector<Id3Frame> run()
    {
        for (const TagFrame& frame : m_tag.frames()) {
            if (frame.id.size() == 4)
                convert(frame);
        }
        setRecordingTime();
        setOriginalYear();
        for (std::string_view id : { "TYER", "TDAT", "TIME", "TORY" })
            keepLast(id);
        return std::move(m_frames);
    }

private:
    void convert(const TagFrame& frame)
    {
        if (!frame.readable)
            return add(frame, frame.packedFlags, copyOf(frame.packed));
        if (frame.storedId == "TDRC" || frame.storedId == "TDOR") {
            std::string stamp = asciiText(frame.body);
            if (!yearOf(stamp).empty())
                (frame.storedId == "TDRC" ? m_recorded : m_original) = stamp;
        }
        bool isChapter = m_tag.majorVersion() == 4 && (frame.id == "CHAP" || frame.id == "CTOC");
        auto form = isChapter ? v23ChapterBody(frame.id, frame.body) : v23Body(frame);
        Bytes body = form ? std::move(*form) : copyOf(frame.body);
        auto people = frame.id == "IPLS" ? find("IPLS") : m_frames.end();
        if (people != m_frames.end())
            people->content = mergedInvolvedPeople(people->content, body);
        else
            add(frame, 0, std::move(body));
    }

    void add(const TagFrame& frame, std::uint16_t flags, Bytes content)
    {
        if (!content.empty())
            m_frames.push_back({ frame.id, flags, std::move(content), isPlainComment(frame), true });
    }

    std::vector<Id3Frame>::iterator find(std::string_view id)
    {
        return std::find_if(
            m_frames.begin(), m_frames.end(), [&](const Id3Frame& frame) { return frame.id == id && !frame.flags; });
    }

    void replace(std::string_view id, std::string_view text)
    {
        auto first = find(id);
        auto place = first - m_frames.begin();
        std::erase_if(m_frames, [&](const Id3Frame& frame) { return frame.id == id && !frame.flags; });
        if (!text.empty())
            m_frames.insert(m_frames.begin() + place, latin1Frame(id, text));
    }

    void keepLast(std::string_view id)
    {
        auto left = std::count_if(
            m_frames.begin(), m_frames.end(), [&](const Id3Frame& frame) { return frame.id == id && !frame.flags; });
        std::erase_if(m_frames, [&](const Id3Frame& frame) { return frame.id == id && !frame.flags && --left > 0; });
    }

    /// A day that goes with another year is no part of this time.
    void setRecordingTime()
    {
        if (m_recorded.empty())
            return;
        RecordingTime time(m_recorded);
        bool sameYear = std::all_of(m_frames.begin(), m_frames.end(), [&](const Id3Frame& frame) {
            return frame.id != "TYER" || frame.flags || yearOf(asciiText(frame.content)) == time.year;
        });
        replace("TYER", time.year);
        if (!time.date.empty() || !sameYear)
            replace("TDAT", time.date);
        if (!time.time.empty() || !sameYear)
            replace("TIME", time.time);
    }

    void setOriginalYear()
    {
        if (!m_original.empty())
            replace("TORY", yearOf(m_original));
    }

    const Id3v2Tag& m_tag;
    std::vector<Id3Frame> m_frames;
    std::string m_recorded; // time stamps, the last of each
    std::string m_original;
};

} // namespace

bool mergePeople(std::vector<Id3Frame>& frames, const Id3Frame& frame)
{
    auto people = std::find_if(frames.begin(), frames.end(), [&](const Id3Frame& other) {
        return frame.id == "IPLS" && other.id == frame.id && (frame.isConverted || other.isConverted) && !frame.flags
            && !other.flags;
    });
    if (people == frames.end())
        return false;
    people->content = mergedInvolvedPeople(people->content, frame.content);
    return true;
}

bool isPlainComment(const TagFrame& frame)
{
    constexpr std::size_t LanguageEnd = 4;
    if (frame.id != "COMM" || !frame.readable)
        return false;
    if (frame.body.size() <= LanguageEnd)
        return true;
    ByteView description = frame.body.subspan(LanguageEnd);
    std::uint8_t encoding = frame.body[0];
    std::size_t length = terminatedLength(encoding, description).length;
    return length == 0 || (isUtf16(encoding) && length == 2 && beginsWithUtf16Mark(description));
}

std::vector<Id3Frame> carriedFrames(const Id3v2Tag& tag)
{
    if (tag.majorVersion() != 3)
        return Conversion(tag).run();
    std::vector<Id3Frame> frames;
    for (const TagFrame& frame : tag.frames()) {
        frames.push_back(storedFrame(frame));
        frames.back().isPlainComment = isPlainComment(frame);
    }
    return frames;
}

} // namespace mv
