// Any bytes as an MP3 file's tags: borders hold, views lie inside, limits hold, and every frame has its v2.3 form and
// valid UTF-8 as its text.

#include "Base/Core/Text.h"
#include "id3/FrameText.h"
#include "id3/TagReader.h"
#include "id3/V23Form.h"

#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void checkTag(const mv::Id3v2Tag& tag, std::uint64_t fileSize)
{
    require(tag.extent().end() <= fileSize);
    require(tag.frames().size() <= mv::Id3v2Tag::MaxFrames);
    require(tag.bytesUnpacked() <= mv::TagSet::MaxBytesUnpacked);
    unsigned sum = 0;
    for (const mv::TagFrame& frame : tag.frames()) {
        require(frame.id.size() == 3 || frame.id.size() == 4);
        for (std::uint8_t byte : frame.body)
            sum += byte;
        for (std::uint8_t byte : frame.stored)
            sum += byte;
        for (std::uint8_t byte : frame.packed)
            sum += byte;
        auto form = mv::v23Body(frame);
        sum += form && !form->empty() ? form->back() : 0U;
        auto picture = mv::splitPicture(frame.storedId, frame.body);
        for (std::uint8_t byte : picture ? picture->data : mv::ByteView {})
            sum += byte;
        auto text = mv::frameText(frame);
        require(!text || (!text->empty() && mv::isValidUtf8(*text)));
    }
    volatile unsigned sink = sum; // every byte of every view is looked at
    static_cast<void>(sink);
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
    return 0;
}
