// Any bytes as an MP3 file's tags: borders hold, views lie inside, limits hold, and id3lib takes what it is given.

#include "id3/CleanTag.h"
#include "id3/FrameText.h"
#include "id3/TagReader.h"

#include <cstdlib>
#include <id3/tag.h>
#include <memory>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void checkTag(const mv::Id3v2Tag& tag, std::uint64_t fileSize)
{
    require(tag.extent().end() <= fileSize);
    require(tag.frames().size() <= mv::Id3v2Tag::MaximumFrames);
    require(tag.bytesUnpacked() <= mv::TagSet::MaximumBytesUnpacked);
    unsigned sum = 0;
    for (const mv::TagFrame& frame : tag.frames()) {
        require(frame.id.size() == 3 || frame.id.size() == 4);
        for (std::uint8_t byte : frame.body)
            sum += byte;
        for (std::uint8_t byte : frame.stored)
            sum += byte;
    }
    volatile unsigned sink = sum; // every byte of every view is looked at
    static_cast<void>(sink);
}

void linkToId3lib(const mv::CleanTag& clean)
{
    require(clean.bytes().size() <= mv::CleanTag::MaximumSize);
    ID3_Tag tag;
    clean.link(tag);
    auto release = [](ID3_Tag::Iterator* iterator) { ::operator delete(iterator); };
    std::unique_ptr<ID3_Tag::Iterator, decltype(release)> frames(tag.CreateIterator(), release);
    while (const ID3_Frame* frame = frames->GetNext()) {
        mv::frameText(*frame);
        if (const ID3_Field* data = frame->GetField(ID3FN_DATA))
            clean.pictureFor({ data->GetRawBinary(), data->Size() });
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::MemorySource source({ data, size });
    auto tags = mv::readTags(source);
    require(tags.ok());
    require(tags->audioBegin <= tags->audioEnd && tags->audioEnd <= size);
    for (const auto& tag : tags->prependedTags)
        checkTag(tag, size);
    for (const auto& tag : tags->appendedTags)
        checkTag(tag, size);
    linkToId3lib(mv::CleanTag::ofId3v2(*tags));
    linkToId3lib(mv::CleanTag::ofOtherTags(*tags, source));
    return 0;
}
