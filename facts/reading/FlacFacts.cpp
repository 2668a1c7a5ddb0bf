#include "Base/Core/ByteReader.h"
#include "Base/Media/TagLimits.h"
#include "audio/FlacHeader.h"
#include "audio/StreamLength.h"
#include "facts/FactErrors.h"
#include "facts/reading/Id3Facts.h"
#include "facts/reading/Readers.h"
#include "facts/reading/SoundFacts.h"
#include "facts/reading/VorbisComments.h"
#include "id3/TagReader.h"

namespace mv {

namespace {

constexpr std::uint8_t CommentBlock = 4;
constexpr std::uint8_t PictureBlock = 6;
constexpr std::uint8_t LastBlock = 0x80;
constexpr int MaxBlocks = 1000; // a stream has a dozen

/// Reads the blocks behind STREAMINFO; the first byte of sound.
std::uint64_t readBlocks(Reading& reading, std::uint64_t place)
{
    const ByteSource& source = reading.source;
    for (int i = 0; i < MaxBlocks; ++i) {
        std::uint8_t header[4];
        if (source.readUpTo(place, header) != sizeof header)
            break;
        ByteReader fields(header);
        std::uint8_t kind = fields.u8();
        std::uint32_t size = fields.u24be();
        place += sizeof header;
        std::uint8_t type = kind & static_cast<std::uint8_t>(~LastBlock);
        bool isWanted = type == CommentBlock || (type == PictureBlock && reading.wish.pictures);
        if (type == PictureBlock && !reading.wish.pictures && size > 32)
            reading.tags.notePicture();
        if (auto block = isWanted ? source.bytesAt(place, size) : Result<Bytes>(Bytes {}); block && isWanted) {
            if (type == CommentBlock)
                addVorbisComments(reading.tags, *block);
            else
                addFlacPicture(reading.tags, *block);
        }
        place += size;
        if (kind & LastBlock)
            break;
    }
    return place;
}

} // namespace

Result<void> readFlac(Reading& reading)
{
    MV_TRY(tags, readTags(reading.source));
    constexpr std::size_t StartSize = 8 + FlacStreamInfo::Size;
    Bytes start(StartSize);
    start.resize(reading.source.readUpTo(tags.audioBegin, start));
    auto info = FlacStreamInfo::parse(start);
    if (!info)
        return notMedia("FLAC without its first block");
    std::uint64_t audioBegin = readBlocks(reading, tags.audioBegin + 4);
    for (const Id3v2Tag& tag : tags.prependedTags)
        addId3v2(reading.tags, tag);
    if (tags.id3v1)
        addId3v1(reading.tags, *tags.id3v1);
    std::uint64_t frames = info->totalFrames;
    if (frames == 0) {
        auto measured = measureFlac(reading.source);
        frames = measured ? measured->frames : 0;
    }
    SoundFacts sound { "flac", info->sampleRate, info->channels, info->bitsPerSample };
    sound.length = microsecondsOf(frames, info->sampleRate);
    sound.bitrate = bitrateOf(tags.audioEnd - std::min(tags.audioEnd, audioBegin), sound.length);
    putSound(reading.facts, sound);
    return {};
}

} // namespace mv
