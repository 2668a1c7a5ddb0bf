#pragma once

#include "Base/Core/Bytes.h"

#include <string>

namespace mv {

/// Charsets that texts without a mark are written in.
enum class Charset : std::uint8_t { Latin1, Utf8, Korean, Japanese, SimplifiedChinese, TraditionalChinese, Cyrillic };

/// The charset that all of these texts are most probably written in. `texts` are the texts of one tag with a byte below
/// 0x80 between them: together they say more than each alone. ASCII is Latin1.
Charset guessedCharset(ByteView texts);

/// The text as UTF-8; as Latin-1 where it is not valid in `charset` after all. (Windows' code page 1252 stands for
/// Latin-1: the places between 0x80 and 0x9F are its quotation marks and dashes.)
std::string utf8FromCharset(Charset charset, ByteView text);

/// Opens what the conversions of this thread need: for a process that opens no files later.
void prepareCharsets();

} // namespace mv
