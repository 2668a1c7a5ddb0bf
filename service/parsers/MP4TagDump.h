#pragma once

#include "mp4/Tags.h"

#include <cstdio>
#include <string_view>

namespace mv {

/// Is told of every field that a tag has.
class MP4TagVisitor {
public:
    virtual ~MP4TagVisitor() = default;
    virtual void text(std::string_view name, const std::string& value) = 0;
    virtual void number(std::string_view name, std::uint64_t value) = 0;
    virtual void pair(std::string_view name, const MP4TagTrack& value) = 0;
    virtual void artwork(std::size_t index, const MP4TagArtwork& picture) = 0;
};

/// Visits the fields that are there, always in the same order, which readers of the dump rely on.
void visitTags(const MP4Tags& tags, MP4TagVisitor& visitor);

/// Prints one line for every field that is there, pictures with the address of their bytes in memory.
void dumpTags(const MP4Tags& tags, std::FILE* out);

} // namespace mv
