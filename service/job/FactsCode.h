#pragma once

#include "Base/Core/Result.h"
#include "facts/Facts.h"

namespace mv {

/// Facts as bytes between the two processes of a job: a number of entries, each the number of its key's row in FactRows
/// and the value in the form of the row's type; then the pictures. Numbers little endian, texts and data behind their
/// length, lists behind their count. Both processes are of one build, so the rows' numbers are the same.
void encodeFacts(const Facts& facts, Bytes& out);

/// The facts of bytes that nobody vouches for. Format for whatever encodeFacts does not write: rows that there are not,
/// out of order or twice, texts that are not UTF-8 or hold a zero byte, flags that are neither 0 nor 1, numbers that
/// are none, values outside what their key may have, bytes behind the last picture. Limit for more values or pictures
/// than there can be. No memory is taken for what is only announced.
Result<Facts> decodeFacts(ByteView bytes);

/// Texts in one list; far above what is given out.
inline constexpr std::uint32_t MaxFactTexts = 1024;

} // namespace mv
