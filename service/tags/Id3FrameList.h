#pragma once

#include "Base/Core/Result.h"
#include "id3/TagReader.h"
#include "service/tags/Id3Frame.h"

#include <span>
#include <string_view>
#include <vector>

namespace mv {

/// The frames of the tag that is going to be written, version 2.3.
class Id3FrameList {
public:
    /// Every frame of the tags at the front of the file (of those at its end where there are none), as `carriedFrames`
    /// gives them, those whose names are none behind all others. Of the ID3v1 tag its year, track and genre, each only
    /// where no frame has it.
    static Id3FrameList carriedFrom(const TagSet& tags);

    const std::vector<Id3Frame>& frames() const { return m_frames; }

    /// Removes the frames of these names, under v2.2 names that stand in a v2.3 tag, too.
    void remove(std::span<const std::string_view> ids);
    /// Removes the comments that have no description.
    void removePlainComments();
    /// Behind the others, but before those whose names are none.
    void add(Id3Frame frame);

    /// Bytes of the frames, headers included, but for those that `remove` would take away.
    std::size_t sizeWithout(std::span<const std::string_view> ids) const;
    /// Frames one behind the other, without tag header and padding. Fails with Limit above MaxTagBytes.
    Result<Bytes> rendered() const;

private:
    void carry(std::vector<Id3Frame> frames);
    void replaceBy(std::span<const Id3Frame> frames, std::span<const std::string_view> group);
    void addFromId3v1(const Id3v1Tag& tag);
    bool has(std::string_view id) const;
    void addLatin1(std::string_view id, ByteView text);

    std::vector<Id3Frame> m_frames;
};

} // namespace mv
