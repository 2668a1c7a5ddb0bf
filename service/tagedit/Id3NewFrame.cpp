#include "service/tagedit/Id3NewFrame.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "facts/Facts.h"
#include "id3/EncodedText.h"
#include "id3/FrameText.h"
#include "id3/Syncsafe.h"
#include "id3/V23Form.h"
#include "service/tags/CarriedFrames.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::uint8_t FrameUnsynchronised = 0x02; // in the second byte of v2.4's flags

bool isName(std::string_view id)
{
    return std::all_of(id.begin(), id.end(), [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

Bytes frameBytes(int version, std::string_view id, std::uint16_t flags, ByteView content)
{
    Bytes bytes;
    bytes.reserve(Id3Frame::HeaderSize + content.size());
    ByteWriter out(bytes);
    out.text(id);
    if (version == 4)
        out.bytes(syncsafeBytes(static_cast<std::uint32_t>(content.size())));
    else
        out.u32be(static_cast<std::uint32_t>(content.size()));
    out.u16be(flags);
    out.bytes(content);
    return bytes;
}

/// An address in place of a picture is none that anybody is shown.
bool isFrontCover(const TagFrame& frame)
{
    if (frame.id != "APIC" || !frame.readable)
        return false;
    auto parts = splitPicture(frame.storedId, frame.body);
    return parts && parts->pictureType == FrontCoverType && charsOf(parts->mimeType) != LinkedPictureType;
}

std::string userName(const TagFrame& frame)
{
    if (frame.id != "TXXX" || !frame.readable || frame.body.empty())
        return {};
    std::uint8_t encoding = frame.body[0];
    ByteView strings = frame.body.subspan(1);
    ByteView description = takeString(encoding, strings);
    return utf8FromUtf16LE(utf16LEFromEncoded(encoding, description)).value_or(std::string());
}

NewFrame describedFrame(const TagFrame& frame)
{
    NewFrame result { .id = frame.id, .isNameless = !isName(frame.id) };
    result.isPlainComment = isPlainComment(frame);
    result.userName = userName(frame);
    result.isFrontCover = isFrontCover(frame);
    if (frame.readable && (frame.id == "TRCK" || frame.id == "TPOS"))
        result.text = frameText(frame).value_or(std::string());
    return result;
}

} // namespace

NewFrame NewFrame::carried(const TagFrame& frame, bool tagUnsynchronised)
{
    NewFrame result = describedFrame(frame);
    ByteReader in(frame.stored);
    std::string_view id = charsOf(in.take(4));
    in.skip(4);
    std::uint16_t flags = in.u16be();
    if (tagUnsynchronised)
        flags |= FrameUnsynchronised; // said once for all frames before
    result.bytes = frameBytes(frame.majorVersion, id, flags, in.rest());
    return result;
}

NewFrame NewFrame::carried(const Id3Frame& frame)
{
    constexpr std::uint16_t Packed = 0x00E0; // compressed, encrypted, grouped
    TagFrame described { .majorVersion = 3, .id = frame.id, .body = frame.content, .storedId = frame.id };
    described.readable = (frame.flags & Packed) == 0;
    NewFrame result = describedFrame(described);
    result.isPlainComment = frame.isPlainComment;
    result.bytes = frameBytes(3, frame.id, frame.flags, frame.content);
    return result;
}

NewFrame NewFrame::made(int version, std::string_view id, ByteView body)
{
    return { .id = std::string(id), .bytes = frameBytes(version, id, 0, body) };
}

} // namespace mv
