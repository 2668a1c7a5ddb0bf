#include "service/tagedit/Id3NewBody.h"

#include "Base/Core/ByteReader.h"
#include "facts/Facts.h"
#include "id3/EncodedText.h"

#include <algorithm>

namespace mv {

namespace {

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

Bytes utf8Body(std::string_view language, const TagChanges::Values& values, bool isDescribed)
{
    bool isPlain = std::all_of(values.begin(), values.end(), isAscii);
    Bytes bytes { isPlain ? Id3EncodingLatin1 : Id3EncodingUtf8 };
    ByteWriter out(bytes);
    out.text(language);
    bool isFirst = !isDescribed;
    for (const std::string& value : values) {
        if (!isFirst)
            out.u8(0);
        isFirst = false;
        out.text(value);
    }
    return bytes;
}

Bytes utf16Body(std::string_view language, const TagChanges::Values& values, bool isDescribed)
{
    EncodedBody body;
    body.raw(bytesOf(language));
    if (isDescribed)
        body.string(Bytes());
    bool isFirst = !isDescribed;
    for (const std::string& value : values) {
        if (!isFirst)
            body.terminator();
        isFirst = false;
        body.string(Id3EncodingUtf8, bytesOf(value));
    }
    return body.bytes();
}

Bytes body(int version, std::string_view language, const TagChanges::Values& values, bool isDescribed)
{
    return version == 4 ? utf8Body(language, values, isDescribed) : utf16Body(language, values, isDescribed);
}

} // namespace

Bytes newTextBody(int version, const TagChanges::Values& values) { return body(version, {}, values, false); }

Bytes newCommentBody(int version, const TagChanges::Values& values) { return body(version, "XXX", values, true); }

Bytes newCoverBody(ByteView picture)
{
    Bytes bytes { Id3EncodingLatin1 };
    ByteWriter out(bytes);
    out.text(coverMimeType(picture));
    out.u8(0);
    out.u8(static_cast<std::uint8_t>(FrontCoverType));
    out.u8(0); // no description
    out.bytes(picture);
    return bytes;
}

} // namespace mv
