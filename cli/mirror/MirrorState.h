#pragma once

#include "Base/Core/Result.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace mv::cli {

/// A file that a mirror holds, and what it was made of. Paths are below the two folders.
struct MirrorEntry {
    std::string from;
    std::string to;
    std::uint64_t size = 0; ///< of the source, when it was made
    std::int64_t modified = 0; ///< of the source then, nanoseconds since 1970
    std::uint64_t madeSize = 0; ///< of what was made
    std::string how; ///< the settings that it was encoded with; "copy"
    std::optional<std::int64_t> madeModified = {}; ///< of what was made, where its file system keeps no times of others

    bool operator==(const MirrorEntry&) const = default;
};

inline constexpr std::string_view CopiedAsItIs = "copy";

/// Whose mirror a folder is, and what is in it: the text of one file, to whose end lines are added while a mirror is
/// made and which is written anew at its end. A later line counts; a cut last one is dropped.
class MirrorState {
public:
    explicit MirrorState(std::string source)
        : m_source(std::move(source))
    {
    }
    /// Fails with a sentence at what is no such text, or of a later kind. Lines that say nothing are left out.
    static Result<MirrorState> parse(std::string_view text);
    /// Whether that is no more than part of the first line, as a full disk or a card that was pulled out leaves it.
    static bool isCutAtFront(std::string_view text);

    /// The whole path of the folder that is mirrored.
    const std::string& source() const { return m_source; }
    /// By their `to`.
    const std::map<std::string, MirrorEntry>& entries() const { return m_entries; }
    void set(MirrorEntry entry) { m_entries.insert_or_assign(entry.to, entry); }
    void remove(const std::string& to) { m_entries.erase(to); }

    /// All of it.
    std::string text() const;
    static std::string line(const MirrorEntry& entry);

private:
    std::string m_source;
    std::map<std::string, MirrorEntry> m_entries;
};

} // namespace mv::cli
