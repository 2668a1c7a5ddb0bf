#pragma once

#include "facts/reading/ContentType.h"
#include "service/job/TagChanges.h"
#include "system/FileReplacement.h"

#include <memory>
#include <string>

namespace mv {

/// A change of a file's tags, whatever its format, to be performed by FileReplacement: says what the file is to hold,
/// and looks at what was made of that. Writes nothing itself.
class TagEdit {
public:
    /// Keeps a reference. The name counts where the content leaves the format open.
    TagEdit(const TagChanges& changes, std::string name);
    ~TagEdit();
    TagEdit(const TagEdit&) = delete;
    TagEdit& operator=(const TagEdit&) = delete;

    /// The file's new content. Unsupported for a format whose tags are not written,
    /// and where something in the file would be lost; Limit for tags above MaxTagBytes, and for more than
    /// there is memory for. May be asked again.
    Result<std::optional<FileContent>> plan(const ByteSource& current);
    /// Of what was made by the last plan: its tags read back as they were meant, and its sound is that which was there.
    /// Limit for more than there is memory for.
    Result<void> check(const ByteSource& made) const;

private:
    class Format;
    class Spliced;
    class Ogg;
    class Riff;
    class Mp4;

    std::unique_ptr<Format> formatOf(FileFamily family) const;

    const TagChanges& m_changes;
    const std::string m_name;
    // Of the last plan.
    std::unique_ptr<Format> m_format;
    FileFamily m_family {};
};

} // namespace mv
