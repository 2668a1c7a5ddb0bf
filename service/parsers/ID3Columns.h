#pragma once

#include "Base/Media/Record.h"
#include "id3/TagReader.h"
#include "system/ByteSource.h"

#include <string>
#include <string_view>

namespace mv {

/// Reads the frames that describe a song into the record's music columns: of the ID3v2 tags, or, in a file without one,
/// of ID3v1 and Lyrics3. Sets Genre always, to "Unknown" where no tag tells it.
void setID3Columns(Record& record, const TagSet& tags, const ByteSource& source);

/// The genre number in a text such as "(17)" or "Rock (17)": all digits up to the closing parenthesis, those before the
/// opening one included, so "4(5)" is 45 and "()" 0. -1 without both parentheses.
int getGenreNo(std::string_view text);
/// The name of that number (modulo the length of the table), or the text itself.
std::string genreName(std::string_view text);

} // namespace mv
