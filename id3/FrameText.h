#pragma once

#include "Base/Core/Bytes.h"

#include <id3/globals.h>
#include <memory>
#include <optional>
#include <string>

class ID3_Frame;

/// The text of a frame's field as stored, an overload that id3lib's own family lacks: the bytes up to the terminator,
/// in `encoding`, their number in `length`, a zero byte or unit behind them. UTF-16 comes little-endian without a byte
/// order mark, whatever order the file had. Null, with `length` 0, when the frame has no such field or no text in it.
/// The caller releases the buffer with array delete.
char* ID3_GetString(const ID3_Frame* frame, ID3_FieldID field, ID3_TextEnc& encoding, int& length);

namespace mv {

/// A frame's text bytes as UTF-8. UTF-16 is little-endian, UTF-16BE big-endian; what claims to be Latin-1 is read as
/// Korean code page 949 first and as Latin-1 only where that yields nothing; everything else is UTF-8 up to a zero
/// byte, or, where it is not, those bytes with the broken ones replaced. Nothing where nothing can be decoded.
std::optional<std::string> decodedFrameText(ID3_TextEnc encoding, ByteView text);

/// ID3_GetString of ID3FN_TEXT and decodedFrameText in one.
std::optional<std::string> frameText(const ID3_Frame& frame);

} // namespace mv
