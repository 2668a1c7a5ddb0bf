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
    /// Every frame of the tags at the front of the file (of those at its end where there are none): those of a v2.3 tag
    /// byte for byte, those of others in their v2.3 form. What v2.3 has no form for is left out. Of the ID3v1 tag its
    /// year, track and genre, each only where no frame has it.
    static Id3FrameList carriedFrom(const TagSet& tags);

    const std::vector<Id3Frame>& frames() const { return m_frames; }

    void remove(std::span<const std::string_view> ids);
    /// Removes the comments that have no description.
    void removePlainComments();
    void add(Id3Frame frame) { m_frames.push_back(std::move(frame)); }

    /// Frames one behind the other, without tag header and padding. Fails with Limit above what a tag can hold.
    Result<Bytes> rendered() const;

private:
    void carry(const Id3v2Tag& tag);
    void carryDate(const TagFrame& frame);
    void addFromId3v1(const Id3v1Tag& tag);
    bool has(std::string_view id) const;
    void addLatin1(std::string_view id, ByteView text);

    std::vector<Id3Frame> m_frames;
};

} // namespace mv
