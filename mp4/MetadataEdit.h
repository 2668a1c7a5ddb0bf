#pragma once

#include "mp4/MovieSummary.h"

#include <functional>
#include <optional>

namespace mv {

/// An edit of a file's metadata list, to be performed by FileReplacement: reads the items, changes them, plans the
/// file's new content, and checks what was made of it. Writes nothing itself.
class MetadataEdit {
public:
    /// The items that the list is to have, from those that it has.
    using Change = std::function<MP4ItmfItemList(const MP4ItmfItemList& before)>;

    /// Items of the codes in `alone` are the only ones that say what they say afterwards: what repeats them elsewhere
    /// in the movie (repeatedFields) goes.
    explicit MetadataEdit(Change change, std::vector<std::uint32_t> alone = {});

    /// The file's new content; nothing when the items are those that it has, and alone. Fails with Unsupported where
    /// the change would need media moved that something unknown may point to (encrypted samples, item locations,
    /// external media), with Format where the file's structure is too damaged to be changed, with Limit for metadata or
    /// a movie box of absurd size. May be asked again.
    Result<std::optional<FileContent>> plan(StructureReader current);
    /// Of what was made by the last plan: its items are the changed ones, its tracks those that were there, and every
    /// chunk of samples leads to the bytes that it led to.
    Result<void> check(StructureReader made) const;

private:
    bool isRepeated(StructureReader& reader) const;

    Change m_change;
    std::vector<std::uint32_t> m_alone;
    MovieSummary m_expected;
    FileContent m_outline;
};

} // namespace mv
