#include "id3/FrameText.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <cstring>
#include <id3/field.h>
#include <id3/id3lib_frame.h>

namespace {

/// id3lib keeps UTF-16 big-endian in memory.
std::size_t copyUtf16(const ID3_Field& field, char* target, std::size_t size)
{
    const auto* source = reinterpret_cast<const char*>(field.GetRawUnicodeText());
    std::size_t count = 0;
    while (source && count + 1 < size && (source[count] != 0 || source[count + 1] != 0)) {
        target[count] = source[count + 1];
        target[count + 1] = source[count];
        count += 2;
    }
    return count;
}

std::size_t copyLatin1(const ID3_Field& field, char* target, std::size_t size)
{
    const char* source = field.GetRawText();
    std::size_t count = source ? strnlen(source, size) : 0;
    if (count > 0)
        std::memcpy(target, source, count);
    return count;
}

} // namespace

char* ID3_GetString(const ID3_Frame* frame, ID3_FieldID fieldId, ID3_TextEnc& encoding, int& length)
{
    encoding = ID3TE_ISO8859_1;
    length = 0;
    const ID3_Field* field = frame ? frame->GetField(fieldId) : nullptr;
    if (!field || field->GetType() != ID3FTY_TEXTSTRING || field->Size() == 0)
        return nullptr;
    encoding = field->GetEncoding();
    bool isUtf16 = encoding == ID3TE_UTF16 || encoding == ID3TE_UTF16BE;
    std::size_t size = field->Size();
    constexpr std::size_t TerminatorSize = 2;
    std::unique_ptr<char[]> text(new char[size + TerminatorSize] {});
    std::size_t count = isUtf16 ? copyUtf16(*field, text.get(), size) : copyLatin1(*field, text.get(), size);
    if (count == 0)
        return nullptr;
    if (isUtf16)
        encoding = ID3TE_UTF16;
    length = static_cast<int>(count);
    return text.release();
}

namespace mv {

namespace {

std::optional<std::string> decodedKoreanOrLatin1(ByteView text)
{
    // Deliberate: Korean first. Programs of that market label their own code page as Latin-1.
    auto korean = utf8FromCP949(text);
    return korean && !korean->empty() ? korean : utf8FromLatin1(text);
}

std::string decodedCString(ByteView text)
{
    auto end = std::find(text.begin(), text.end(), 0);
    return cleanedUtf8(charsOf(text.first(static_cast<std::size_t>(end - text.begin()))));
}

} // namespace

std::optional<std::string> decodedFrameText(ID3_TextEnc encoding, ByteView text)
{
    switch (encoding) {
    case ID3TE_UTF16:
        return utf8FromUtf16LE(text);
    case ID3TE_UTF16BE:
        return utf8FromUtf16BE(text);
    case ID3TE_ISO8859_1:
        return decodedKoreanOrLatin1(text);
    default:
        return decodedCString(text);
    }
}

std::optional<std::string> frameText(const ID3_Frame& frame)
{
    ID3_TextEnc encoding = ID3TE_ISO8859_1;
    int length = 0;
    std::unique_ptr<char[]> text(ID3_GetString(&frame, ID3FN_TEXT, encoding, length));
    if (!text)
        return std::nullopt;
    return decodedFrameText(encoding, bytesOf({ text.get(), static_cast<std::size_t>(length) }));
}

} // namespace mv
