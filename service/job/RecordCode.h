#pragma once

#include "Base/Core/Result.h"
#include "Base/Media/Record.h"

#include <cstdint>

namespace mv {

/// A record as bytes between the two processes of a job: a number of entries, each a key, a letter for the kind of its
/// value, and the value; numbers little endian, texts and data behind their length. A picture of the form of TiffForm.h
/// goes over as width, height and pixels: whoever reads it writes the file around them. Keeps the order of the keys.
/// What no text may hold (zero bytes, as in codes of movies) becomes U+FFFD: the other side would take it for a lie.
void encodeRecord(const Record& record, Bytes& out);
/// The same from the host to a worker, with texts as they are.
void encodeRecordOfHost(const Record& record, Bytes& out);

/// The record of bytes that nobody vouches for. Format for whatever encodeRecord does not write: other letters, flags
/// that are neither 0 nor 1, texts that are not UTF-8 or hold a zero byte, a key twice, bytes behind the last entry.
/// Limit for more entries than any record has. No memory is taken for what is only announced.
Result<Record> decodeRecord(ByteView bytes);
/// The same of bytes that the host has encoded: a client's record has as many entries and such texts as the client
/// likes.
Result<Record> decodeRecordOfHost(ByteView bytes);

/// Far above what any service puts into one.
inline constexpr std::uint32_t MaxRecordEntries = 1024;
inline constexpr std::size_t MaxKeyBytes = 256;

} // namespace mv
