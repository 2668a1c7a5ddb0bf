#pragma once

#include "tests/integration/Operations.h"
#include "tests/support/BusClient.h"
#include "tests/support/Scratch.h"

#include <string>
#include <string_view>
#include <vector>

namespace mv::test {

/// What an operation's call has for an answer.
struct AnswerRow {
    const char* operation;
    const char* good; ///< its beginning
    const char* lost; ///< when nothing can be known of the file, since it ended its reader
};

/// Every operation that works with a file's content, once.
inline constexpr AnswerRow AnswerRows[] = {
    { "movie", "a record", "nil" },
    { "mp3", "a record", "nil" },
    { "mp4", "a record", "nil" },
    { "audio", "a record", "nil" },
    { "image", "a record", "nil" },
    { "thumbnail", "a record", "nil" },
    { "exif", "nil", "nil" }, // of a picture that has no such facts
    { "podcast", "a record", "nil" },
    { "alac", "false", "false" },
    { "update-mp3", "true", "true" },
    { "update-m4a", "true", "true" },
    { "encode-from", "true", "false" },
    { "convert-from", "0", "-36" },
    { "export-from", "0", "-36" },
};

/// Of operations(), with a file of which a good answer is known.
Operation operationOf(std::string_view name);

/// An operation in a folder of its own: with a file of a given name, and with one called "good".
class Attempt {
public:
    /// `name` without the extension, which is the operation's.
    Attempt(std::string_view operation, const std::string& name);

    /// The answer as text, or the error's.
    std::string named(BusClient& client) const { return perform(client, m_named); }
    std::string good(BusClient& client) const { return perform(client, m_good); }

    const std::string& path() const { return m_named; }
    bool isUntouched() const { return readFile(m_named) == m_operation.content(); }
    /// The names of what lies beside the named file, outputs included.
    std::vector<std::string> leftBeside() const;

private:
    std::string perform(BusClient& client, const std::string& path) const;

    Operation m_operation;
    ScratchFolder m_folder;
    std::string m_named;
    std::string m_good;
};

} // namespace mv::test
