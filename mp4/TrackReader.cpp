#include "mp4/TrackReader.h"

#include "mp4/SampleTable.h"

#include <algorithm>
#include <bit>

namespace mv {

namespace {

/// The start of a "full box": the version, and the reader behind version and flags.
struct FullBox {
    std::uint8_t version;
    std::uint32_t flags;
    ByteReader fields;

    FullBox(StructureReader& reader, const Box& box, std::size_t length)
        : fields(payloadStart(reader, box, length))
    {
        version = fields.u8();
        flags = fields.u24be();
    }
    std::uint64_t wide() { return version == 1 ? fields.u64be() : fields.u32be(); }
};

/// All ones say "unknown".
std::uint64_t knownDuration(std::uint8_t version, std::uint64_t duration)
{
    std::uint64_t unknown = version == 1 ? UINT64_MAX : UINT32_MAX;
    return duration == unknown ? 0 : duration;
}

void readTrackHeader(StructureReader& reader, const Box& box, TrackFacts& track)
{
    FullBox header(reader, box, 96);
    track.flags = header.flags;
    header.wide(); // creation
    header.wide(); // modification
    track.id = header.fields.u32be();
    header.fields.skip(4);
    track.duration = knownDuration(header.version, header.wide());
    header.fields.skip(16); // reserved, layer, alternate group, volume, reserved
    for (std::int32_t& value : track.matrix)
        value = static_cast<std::int32_t>(header.fields.u32be());
    track.width = header.fields.u32be() / 65536.0;
    track.height = header.fields.u32be() / 65536.0;
}

void readMediaHeader(StructureReader& reader, const Box& box, TrackFacts& track, bool& durationUnknown)
{
    FullBox header(reader, box, 36);
    header.wide();
    header.wide();
    track.mediaTimeScale = header.fields.u32be();
    std::uint64_t duration = header.wide();
    track.mediaDuration = knownDuration(header.version, duration);
    durationUnknown = track.mediaDuration != duration;
}

/// Length of a descriptor of an esds box: up to four bytes of seven bits.
std::uint32_t descriptorLength(ByteReader& reader)
{
    std::uint32_t length = 0;
    for (int i = 0; i < 4; ++i) {
        std::uint8_t byte = reader.u8();
        length = length << 7 | (byte & 0x7F);
        if (!(byte & 0x80))
            break;
    }
    return length;
}

/// Of the decoder configuration: the object type and the average bit rate.
void readDecoderConfiguration(StructureReader& reader, const Box& esds, TrackFacts& track)
{
    constexpr std::uint8_t EsDescriptorTag = 3;
    constexpr std::uint8_t DecoderConfigTag = 4;
    ByteReader fields(payloadStart(reader, esds, 256));
    fields.skip(4);
    if (fields.u8() != EsDescriptorTag)
        return;
    descriptorLength(fields);
    fields.skip(2);
    std::uint8_t flags = fields.u8();
    if (flags & 0x80)
        fields.skip(2);
    if (flags & 0x40)
        fields.skip(fields.u8());
    if (flags & 0x20)
        fields.skip(2);
    if (fields.u8() != DecoderConfigTag)
        return;
    descriptorLength(fields);
    track.objectType = fields.u8();
    fields.skip(1 + 3 + 4); // stream type, buffer size, highest bit rate
    track.statedBitRate = fields.u32be();
    constexpr std::uint8_t DecoderSpecificTag = 5;
    if (fields.u8() != DecoderSpecificTag)
        return;
    ByteView config = fields.take(std::min<std::size_t>(descriptorLength(fields), fields.remaining()));
    if (config.size() <= TrackFacts::MaxDecoderConfig)
        track.decoderConfig.assign(config.begin(), config.end());
}

bool isSoundConfig(std::uint32_t type)
{
    return type == fourCC("alac") || type == fourCC("dOps") || type == fourCC("dfLa") || type == fourCC("dac3")
        || type == fourCC("dec3");
}

/// The box for the decoder among the extensions of a sample entry; QuickTime puts it into a wave box.
void readExtensions(StructureReader& reader, const Box& entry, std::uint64_t fixedSize, TrackFacts& track)
{
    if (entry.payloadSize() <= fixedSize)
        return;
    BoxWalker walker(reader, entry.payloadOffset() + fixedSize, entry.end());
    while (auto box = walker.next()) {
        if (box->type == fourCC("wave")) {
            if (auto order = findChild(reader, *box, fourCC("enda")))
                track.soundIsLittleEndian = ByteReader(payloadStart(reader, *order, 2)).u16be() == 1;
            if (auto inner = findChild(reader, *box, fourCC("esds")))
                box = inner;
            else if (auto lossless = findChild(reader, *box, fourCC("alac")))
                box = lossless;
        }
        if (box->overruns)
            continue;
        if (box->type == fourCC("sinf")) {
            if (auto original = findChild(reader, *box, fourCC("frma")))
                track.originalFormat = ByteReader(payloadStart(reader, *original, 4)).u32be();
        } else if (box->type == fourCC("esds"))
            readDecoderConfiguration(reader, *box, track);
        else if (isSoundConfig(box->type) && box->payloadSize() <= TrackFacts::MaxDecoderConfig) {
            ByteView config = payloadStart(reader, *box, TrackFacts::MaxDecoderConfig);
            track.decoderConfig.assign(config.begin(), config.end());
        }
    }
}

void readAudioEntry(StructureReader& reader, const Box& entry, TrackFacts& track)
{
    ByteReader fields(payloadStart(reader, entry, 56));
    fields.skip(8);
    std::uint16_t version = fields.u16be();
    fields.skip(6);
    track.channels = fields.u16be();
    track.bitsPerSample = fields.u16be();
    fields.skip(4); // compression id, packet size
    track.sampleRate = fields.u32be() >> 16;
    track.soundChannels = track.channels;
    track.soundBits = track.bitsPerSample;
    if (version == 2) {
        fields.skip(4); // the size of this description
        double rate = std::bit_cast<double>(fields.u64be());
        track.sampleRate = rate > 0 && rate < UINT32_MAX ? static_cast<std::uint32_t>(rate) : 0;
        track.soundChannels = fields.u32be();
        fields.skip(4);
        track.soundBits = fields.u32be();
        track.soundFlags = fields.u32be();
    }
    if (version == 1) {
        track.samplesPerPacket = fields.u32be();
        fields.skip(4); // bytes per packet of one channel
        track.bytesPerFrame = fields.u32be();
    }
    constexpr std::array<std::uint64_t, 3> FixedSizes = { 28, 44, 64 };
    readExtensions(reader, entry, FixedSizes[std::min<std::size_t>(version, 2)], track);
}

void readVisualEntry(StructureReader& reader, const Box& entry, TrackFacts& track)
{
    constexpr std::uint64_t FixedSize = 78;
    ByteReader fields(payloadStart(reader, entry, FixedSize));
    fields.skip(24);
    track.codedWidth = fields.u16be();
    track.codedHeight = fields.u16be();
    readExtensions(reader, entry, FixedSize, track);
}

void readDescriptions(StructureReader& reader, const Box& box, TrackFacts& track)
{
    FullBox header(reader, box, 8);
    std::uint32_t count = header.fields.u32be();
    if (header.fields.failed())
        return;
    BoxWalker walker(reader, box.payloadOffset() + 8, box.end());
    while (auto entry = walker.next()) {
        if (track.descriptionCodes.size() == std::min<std::size_t>(count, TrackFacts::MaxDescriptions))
            return;
        track.descriptionCodes.push_back(entry->type);
        if (track.descriptionCodes.size() > 1)
            continue;
        if (track.handler == fourCC("soun"))
            readAudioEntry(reader, *entry, track);
        else if (track.handler == fourCC("vide"))
            readVisualEntry(reader, *entry, track);
    }
}

void readSampleTable(StructureReader& reader, const Box& stbl, TrackFacts& track)
{
    BoxWalker walker(reader, stbl);
    while (auto box = walker.next()) {
        auto keepFirst = [&](std::optional<Box>& place) {
            if (!place)
                place = box;
        };
        switch (box->type) {
        case fourCC("stsd"):
            if (track.descriptionCodes.empty())
                readDescriptions(reader, *box, track);
            break;
        case fourCC("stsz"):
        case fourCC("stz2"):
            keepFirst(track.boxes.sampleSizes);
            break;
        case fourCC("stts"):
            keepFirst(track.boxes.timeToSample);
            break;
        case fourCC("stsc"):
            keepFirst(track.boxes.sampleToChunk);
            break;
        case fourCC("stco"):
        case fourCC("co64"):
            keepFirst(track.boxes.chunkOffsets);
            break;
        default:
            break;
        }
    }
}

void readMedia(StructureReader& reader, const Box& mdia, TrackFacts& track)
{
    bool durationUnknown = false;
    if (auto box = findChild(reader, mdia, fourCC("mdhd")))
        readMediaHeader(reader, *box, track, durationUnknown);
    // The handler says how sample descriptions are read, so it comes first whatever the order in the file.
    if (auto box = findChild(reader, mdia, fourCC("hdlr"))) {
        FullBox handler(reader, *box, 12);
        handler.fields.skip(4);
        track.handler = handler.fields.u32be();
    }
    if (auto minf = findChild(reader, mdia, fourCC("minf"))) {
        if (auto stbl = findChild(reader, *minf, fourCC("stbl")))
            readSampleTable(reader, *stbl, track);
    }
    track.sampleCount = declaredSampleCount(reader, track);
    if (durationUnknown)
        track.mediaDuration = tableDuration(reader, track);
}

void readReferences(StructureReader& reader, const Box& tref, TrackFacts& track)
{
    constexpr std::size_t MaxChapterTracks = 16;
    auto chapters = findChild(reader, tref, fourCC("chap"));
    if (!chapters)
        return;
    ByteReader ids(payloadStart(reader, *chapters, MaxChapterTracks * 4));
    while (ids.remaining() >= 4)
        track.chapterTracks.push_back(ids.u32be());
}

} // namespace

TrackFacts readTrack(StructureReader& reader, const Box& trak)
{
    TrackFacts track;
    BoxWalker walker(reader, trak);
    while (auto box = walker.next()) {
        if (box->type == fourCC("tkhd"))
            readTrackHeader(reader, *box, track);
        else if (box->type == fourCC("mdia"))
            readMedia(reader, *box, track);
        else if (box->type == fourCC("tref") && track.chapterTracks.empty())
            readReferences(reader, *box, track);
    }
    return track;
}

} // namespace mv
