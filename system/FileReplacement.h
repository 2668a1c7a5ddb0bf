#pragma once

#include "system/FileContent.h"
#include "system/OpenedFile.h"

#include <chrono>
#include <functional>
#include <optional>

namespace mv {

/// Replaces the content of a file whole or not at all.
///
/// The new content is made in a nameless file in the target's folder (a hidden one where the file system has no
/// nameless ones), every written byte is compared with what it had to be, the caller checks the result, it is synced,
/// given the target's mode, owner (where permitted), extended attributes and ACL, at last a name, and renamed over the
/// target; then the folder is synced. At every moment the target's name therefore leads to the complete old or the
/// complete new content, whatever is killed or fails, and of a killed update nothing stays but, between the last two
/// system calls, a hidden file. Even content that would fit over the old one in place goes this way: no write of more
/// than one sector is promised to reach the disk whole.
///
/// A symbolic link stays; the file it leads to is replaced. A file with several names (hard links) would lose them by
/// a rename: it is rewritten in place instead, after a complete synced copy of it was put beside it as a journal.
/// The journal is removed at the end; one that is found at the start of an update means that the rewrite was killed,
/// and is restored first. This needs the next update to come through a name in the same folder.
///
/// Two updates of one file, also of different processes, wait for each other (an advisory lock on the target). A lock
/// that stays for MaxLockWait, a reader's shared one too, is an error. A target that changed while the new content
/// was made is read and planned again. Part files that killed updates of the same target left are removed. Nothing
/// is written when the file already holds the new content.
///
/// A target that may not be written to (its mode, its mount) is refused although its folder would allow the rename.
/// Birth time is not kept; the modification time becomes now. Safe on several threads at once.
class FileReplacement {
public:
    enum class Outcome {
        Unchanged, ///< the file held the new content, or the plan asked for nothing
        Replaced,
    };

    /// Longer than our own updates of all but the largest files; callers wait behind it, also for other files.
    static constexpr std::chrono::milliseconds MaxLockWait { 2500 };

    /// From the file as it is now: its new content, or nothing to leave it alone. May be asked again.
    using Plan = std::function<Result<std::optional<FileContent>>(const InputFile& current)>;
    /// Looks at the new content before it takes the target's place; an error keeps the old one.
    using Check = std::function<Result<void>(const InputFile& made)>;

    /// Every failure is logged with its reason, once (but Cancelled, by who gave it up), and leaves the content as it
    /// was (or, when only the sync of the folder failed, whole and new).
    ///
    /// The file's own descriptor is locked and read as long as its path leads to it; a file that has lost its name
    /// since it was opened is left alone, and what has the name now is opened. The content is closed by a thread of its
    /// own where this holds the last reference to it.
    static Result<Outcome> perform(OpenedFile file, const Plan& plan, const Check& check);
    static Result<Outcome> perform(const Path& path, const Plan& plan, const Check& check)
    {
        return perform(OpenedFile::at(path), plan, check);
    }

    /// For who has to read a file of several names before its content is planned, which torn it may not allow: what a
    /// killed rewrite of it left is restored now. True when something was, and a handle from before is of no use then.
    static bool restoreKilledRewrite(const Path& path);
};

} // namespace mv
