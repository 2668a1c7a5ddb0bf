#pragma once

#include "Base/Core/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace mv {

/// The one text formatter: printf's rules, checked by the compiler.
std::string formatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// ASCII letters only; every other byte stays. Independent of the locale.
std::string toUpperAscii(std::string_view text);
std::string toLowerAscii(std::string_view text);
bool equalIgnoringAsciiCase(std::string_view a, std::string_view b);

/// True for well-formed UTF-8 (no surrogates, no overlong forms, nothing above U+10FFFF).
bool isValidUtf8(std::string_view text);
/// The text with every ill-formed byte sequence replaced by U+FFFD; valid text comes back unchanged.
std::string cleanedUtf8(std::string_view text);
/// True for well-formed UTF-8 without a zero byte: a text that one process takes from another.
bool isSendableText(std::string_view text);
/// The text with every ill-formed byte sequence and every zero byte replaced by U+FFFD.
std::string sendableText(std::string_view text);
/// Cuts to at most `maximum` bytes without splitting a character.
std::string_view truncatedUtf8(std::string_view text, std::size_t maximum);

/// Every byte is its code point; never fails.
std::string utf8FromLatin1(ByteView bytes);
/// Nothing where a surrogate stands alone; an odd last byte is left out.
std::optional<std::string> utf8FromUtf16LE(ByteView bytes);
std::optional<std::string> utf8FromUtf16BE(ByteView bytes);
/// Korean code page 949; nothing where the bytes are not valid in it.
std::optional<std::string> utf8FromCP949(ByteView bytes);
/// The bytes as they are when they are valid UTF-8.
std::optional<std::string> utf8FromUtf8(ByteView bytes);

/// UTF-16 code units of valid UTF-8; ill-formed input is cleaned first.
std::u16string utf16FromUtf8(std::string_view text);
std::string utf8FromUtf16(std::u16string_view units);

/// C's integer reading of the text's front: blanks, a sign, decimal digits; 0 where there is none, clamped to the
/// 32-bit range.
std::int32_t leadingInteger(std::string_view text);

/// The four characters of a code, most significant first, each byte a Latin-1 character: "avc1".
std::string fourCharacterText(std::uint32_t code);

} // namespace mv
