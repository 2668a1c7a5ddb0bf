#pragma once

#include "Base/Core/Handle.h"
#include "Base/Media/Record.h"
#include "system/OpenedFile.h"

#include <optional>
#include <string_view>

namespace mv {

/// An opened file in a message that is a record: its path as a label, its attributes, the error where it has no
/// content. The content itself goes beside the message, as a descriptor.
void setFile(Record& message, const OpenedFile& file);
/// The same file, with `content` as its content; the process that gets the message can open nothing by the path.
OpenedFile fileOf(const Record& message, UniqueFd content);

void setAttributes(Record& message, const Result<FileAttributes>& attributes);
Result<FileAttributes> attributesOf(const Record& message);

/// A path is bytes, not text; a nil one is none.
void setPath(Record& message, std::string_view key, const Path& path);
Path pathOf(const Record& message, std::string_view key);

/// `of` tells the errors of one message apart.
void setError(Record& message, std::string_view of, const Error& error);
/// Nothing where the message has no such error.
std::optional<Error> errorOf(const Record& message, std::string_view of);

} // namespace mv
