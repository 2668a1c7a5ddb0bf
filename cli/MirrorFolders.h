#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"
#include "cli/mirror/MirrorPlan.h"

#include <functional>
#include <string>
#include <vector>

namespace mv::cli {

/// Told of what below the source cannot be read or named.
using MirrorFailure = std::function<void(const std::string& name, const std::string& reason)>;

/// The files below a folder that a mirror takes along, sorted by their paths: no hidden ones, links to files, but none
/// to folders, and nothing below `without`. Both paths are whole and without links.
std::vector<MirrorFile> mirroredFiles(
    const std::string& source, const std::string& without, const MirrorFailure& failed);

/// Why a file below the source that was not found there may still be there: a link that leads nowhere now, a disk that
/// cannot be read. Nothing for one that is gone.
std::optional<std::string> whyUnread(const std::string& path);

/// The folder that is a mirror, and the state in it. While one lives no other process makes a mirror there.
class MirrorTarget {
public:
    /// `folder` is made where only its last part is missing. Fails with a sentence where another process has it, it is
    /// the mirror of another source, or the source is in it. `source` is whole and without links.
    static Result<MirrorTarget> open(const std::string& folder, const std::string& source);

    const std::string& folder() const { return m_folder; }
    const MirrorState& state() const { return m_state; }

    /// The size of the regular file there.
    std::optional<std::uint64_t> sizeOf(const std::string& below) const;
    /// Whether anything has that name.
    bool isThere(const std::string& below) const;
    /// Whether what is there has the time of its source, as exactly as the file system keeps times: then a mirror made
    /// it whose state was lost.
    bool isOfTime(const std::string& below, std::int64_t modified) const;

    /// Gives a finished file in the target's file system its name, and the time of its source; folders are made. Unless
    /// it `replaces`, what has the name stays, and that is an error. Notes the entry at once.
    Result<void> take(const std::string& made, MirrorEntry entry, bool replaces);
    /// Notes one that is there already.
    void note(MirrorEntry entry);
    /// Removes a file that is as it was made, and the folders that are empty then; false where it was changed since.
    Result<bool> remove(const MirrorEntry& entry);
    /// It is known no more.
    void forget(const MirrorEntry& entry);
    /// Writes the state anew where it changed.
    Result<void> close();

private:
    MirrorTarget(std::string folder, UniqueFd lock, std::optional<MirrorState> kept, const std::string& source)
        : m_folder(std::move(folder))
        , m_lock(std::move(lock))
        , m_hasState(kept)
        , m_state(kept ? std::move(*kept) : MirrorState(source))
    {
    }

    std::string pathOf(const std::string& below) const { return m_folder + "/" + below; }
    std::string statePath() const;
    /// When the regular file there was changed last.
    std::optional<std::int64_t> timeAt(const std::string& below) const;
    bool isAsMade(const MirrorEntry& entry) const;
    /// Links may lead anywhere, and what is there is none of the mirror's.
    bool leadsOutOf(const std::string& below) const;
    void openState();
    bool writeFirstLine(int file) const;

    std::string m_folder;
    UniqueFd m_lock;
    bool m_hasState; ///< in its file
    MirrorState m_state;
    UniqueFd m_lines; ///< of the state, open at its end once something was noted
    bool m_isChanged = false;
};

} // namespace mv::cli
