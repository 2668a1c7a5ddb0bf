#include "id3/FrameText.h"

#include "Base/Core/Text.h"
#include "id3/V23Form.h"

namespace mv {

std::string utf8FromLegacy(ByteView text)
{
    // Deliberate: Korean first. Programs of that market label their own code page as Latin-1.
    auto korean = utf8FromCP949(text);
    return korean && !korean->empty() ? *korean : utf8FromLatin1(text);
}

std::optional<std::string> frameText(const TagFrame& frame)
{
    auto form = v23Body(frame);
    ByteView rest = form ? *form : frame.body;
    constexpr std::size_t CommentTexts = 4; // behind encoding and language
    std::size_t textsBegin = frame.id == "COMM" ? CommentTexts : 1;
    if (rest.size() < textsBegin)
        return std::nullopt;
    std::uint8_t encoding = rest[0];
    rest = rest.subspan(textsBegin);
    if (frame.id == "COMM")
        takeString(encoding, rest); // the description
    ByteView text = takeString(encoding, rest);
    // The v2.3 form knows this encoding and Latin-1.
    if (encoding != Id3EncodingUtf16)
        return text.empty() ? std::nullopt : std::optional(utf8FromLegacy(text));
    auto decoded = utf8FromUtf16LE(utf16LEFromEncoded(encoding, text));
    return decoded && !decoded->empty() ? decoded : std::nullopt;
}

} // namespace mv
