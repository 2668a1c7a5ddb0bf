#include "audio/M4aHeader.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace mv {

namespace {

// A box that is open while the object lives: writes its size at the end.
class Box {
public:
    Box(Bytes& out, const char (&type)[5])
        : m_out(out)
        , m_start(out.size())
    {
        ByteWriter writer(out);
        writer.u32be(0);
        writer.u32be(fourCC(type));
    }
    Box(Bytes& out, const char (&type)[5], std::uint8_t version, std::uint32_t flags)
        : Box(out, type)
    {
        ByteWriter writer(out);
        writer.u8(version);
        writer.u24be(flags);
    }
    ~Box()
    {
        auto size = static_cast<std::uint32_t>(m_out.size() - m_start);
        for (std::size_t i = 0; i < 4; ++i)
            m_out[m_start + i] = static_cast<std::uint8_t>(size >> (24 - 8 * i));
    }
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;

private:
    Bytes& m_out;
    std::size_t m_start;
};

constexpr std::uint64_t Largest32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t TrackId = 1;
constexpr std::uint32_t UnityScale = 0x00010000;
constexpr std::uint16_t FullVolume = 0x0100;
constexpr std::uint16_t Undetermined = 0x55C4; // language "und", 5 bits a letter
// About half a second of 44.1 kHz audio lies together.
constexpr std::uint32_t PacketsPerChunk = 22;

// A movie of over a day needs the long form of its times.
class Builder {
public:
    explicit Builder(const M4aTrack& track)
        : m_track(track)
        , m_mediaFrames(track.primingFrames + track.frames)
        , m_long(m_mediaFrames > Largest32)
        , m_payload(std::accumulate(track.packetSizes.begin(), track.packetSizes.end(), std::uint64_t { 0 }))
    {
    }

    Bytes build()
    {
        // The offsets' values do not change the size, so a first round tells where the packets come to lie.
        Bytes draft = header(0);
        m_longOffsets = draft.size() + m_payload > Largest32;
        draft = header(0);
        return header(draft.size());
    }

private:
    Bytes header(std::uint64_t firstPacket)
    {
        m_out.clear();
        m_firstPacket = firstPacket;
        fileType();
        movie();
        freeSpace();
        mediaDataHeader();
        return m_out;
    }

    // Times grow from 32 to 64 bits with version 1.
    void time(std::uint64_t value)
    {
        if (m_long)
            writer().u64be(value);
        else
            writer().u32be(static_cast<std::uint32_t>(value));
    }
    std::uint8_t timeVersion() const { return m_long ? 1 : 0; }
    ByteWriter writer() { return ByteWriter(m_out); }

    void fileType()
    {
        Box box(m_out, "ftyp");
        writer().text("M4A ");
        writer().u32be(0);
        writer().text("M4A mp42isom");
    }
    void movie()
    {
        Box box(m_out, "moov");
        movieHeader();
        trackBox();
    }
    void movieHeader()
    {
        Box box(m_out, "mvhd", timeVersion(), 0);
        time(0); // no dates: the same input makes the same file
        time(0);
        writer().u32be(m_track.sampleRate);
        time(m_track.frames);
        writer().u32be(UnityScale); // rate
        writer().u16be(FullVolume);
        writer().zeros(10);
        matrix();
        writer().zeros(24);
        writer().u32be(TrackId + 1);
    }
    void matrix()
    {
        constexpr std::uint32_t One = 0x00010000;
        constexpr std::uint32_t OneOf230 = 0x40000000; // the last column has 30 fraction bits
        for (std::uint32_t value : { One, 0u, 0u, 0u, One, 0u, 0u, 0u, OneOf230 })
            writer().u32be(value);
    }
    void trackBox()
    {
        Box box(m_out, "trak");
        trackHeader();
        editList();
        Box media(m_out, "mdia");
        mediaHeader();
        handler();
        mediaInformation();
    }
    void trackHeader()
    {
        constexpr std::uint32_t EnabledInMovieAndPreview = 7;
        Box box(m_out, "tkhd", timeVersion(), EnabledInMovieAndPreview);
        time(0);
        time(0);
        writer().u32be(TrackId);
        writer().u32be(0);
        time(m_track.frames);
        writer().zeros(8);
        writer().u16be(0); // layer
        writer().u16be(0); // alternate group
        writer().u16be(FullVolume);
        writer().u16be(0);
        matrix();
        writer().zeros(8); // no picture
    }
    void editList()
    {
        Box edits(m_out, "edts");
        Box list(m_out, "elst", timeVersion(), 0);
        writer().u32be(1);
        time(m_track.frames);
        time(m_track.primingFrames);
        writer().u32be(UnityScale);
    }
    void mediaHeader()
    {
        Box box(m_out, "mdhd", timeVersion(), 0);
        time(0);
        time(0);
        writer().u32be(m_track.sampleRate);
        time(m_mediaFrames);
        writer().u16be(Undetermined);
        writer().u16be(0);
    }
    void handler()
    {
        Box box(m_out, "hdlr", 0, 0);
        writer().u32be(0);
        writer().text("soun");
        writer().zeros(12);
        writer().text("SoundHandler");
        writer().u8(0);
    }
    void mediaInformation()
    {
        Box box(m_out, "minf");
        {
            Box sound(m_out, "smhd", 0, 0);
            writer().zeros(4);
        }
        {
            constexpr std::uint32_t InThisFile = 1;
            Box data(m_out, "dinf");
            Box references(m_out, "dref", 0, 0);
            writer().u32be(1);
            Box here(m_out, "url ", 0, InThisFile);
        }
        sampleTable();
    }
    void sampleTable()
    {
        Box box(m_out, "stbl");
        sampleDescription();
        timeToSample();
        sampleToChunk();
        sampleSizes();
        chunkOffsets();
        preRoll();
    }
    void sampleDescription()
    {
        constexpr std::uint16_t SampleBits = 16; // of what is decoded
        Box descriptions(m_out, "stsd", 0, 0);
        writer().u32be(1);
        Box entry(m_out, "mp4a");
        writer().zeros(6);
        writer().u16be(1); // data reference
        writer().zeros(8);
        writer().u16be(static_cast<std::uint16_t>(m_track.channels));
        writer().u16be(SampleBits);
        writer().zeros(4);
        // 16.16 fixed point; a rate that is too high for it stands in the configuration alone.
        writer().u32be(m_track.sampleRate <= 0xFFFF ? m_track.sampleRate << 16 : 0);
        decoderConfiguration();
    }
    // Sizes in the short form: a configuration has a few bytes, PCE with comments included under 100.
    void descriptor(std::uint8_t tag, std::size_t size)
    {
        writer().u8(tag);
        writer().u8(static_cast<std::uint8_t>(size));
    }
    void decoderConfiguration()
    {
        constexpr std::uint8_t EsTag = 3, ConfigTag = 4, SpecificTag = 5, SyncTag = 6;
        constexpr std::uint8_t Mpeg4Audio = 0x40, AudioStream = 0x15, Mp4Sync = 2;
        constexpr std::uint32_t MaxPacketPerChannel = 768; // 6,144 bits
        std::size_t specific = m_track.audioSpecificConfig.size();
        Box box(m_out, "esds", 0, 0);
        descriptor(EsTag, 3 + (2 + 13 + 2 + specific) + (2 + 1));
        writer().u16be(0);
        writer().u8(0);
        descriptor(ConfigTag, 13 + 2 + specific);
        writer().u8(Mpeg4Audio);
        writer().u8(AudioStream);
        writer().u24be(MaxPacketPerChannel * m_track.channels);
        std::uint32_t average = averageBitRate();
        writer().u32be(std::max(average, m_track.bitRate));
        writer().u32be(average);
        descriptor(SpecificTag, specific);
        writer().bytes(m_track.audioSpecificConfig);
        descriptor(SyncTag, 1);
        writer().u8(Mp4Sync);
    }
    std::uint32_t averageBitRate() const
    {
        if (m_mediaFrames == 0)
            return m_track.bitRate;
        double seconds = static_cast<double>(m_mediaFrames) / m_track.sampleRate;
        return static_cast<std::uint32_t>(static_cast<double>(m_payload) * 8 / seconds);
    }
    std::uint32_t packets() const { return static_cast<std::uint32_t>(m_track.packetSizes.size()); }

    // All packets are equally long but the last, which ends where the media does.
    void timeToSample()
    {
        Box box(m_out, "stts", 0, 0);
        std::uint64_t before = packets() == 0 ? 0 : std::uint64_t { packets() - 1 } * m_track.framesPerPacket;
        std::uint32_t last
            = m_mediaFrames > before ? static_cast<std::uint32_t>(m_mediaFrames - before) : m_track.framesPerPacket;
        bool uniform = packets() < 2 || last == m_track.framesPerPacket;
        writer().u32be(packets() == 0 ? 0 : uniform ? 1 : 2);
        if (packets() == 0)
            return;
        if (!uniform) {
            writer().u32be(packets() - 1);
            writer().u32be(m_track.framesPerPacket);
        }
        writer().u32be(uniform ? packets() : 1);
        writer().u32be(last);
    }
    void sampleToChunk()
    {
        Box box(m_out, "stsc", 0, 0);
        std::uint32_t full = packets() / PacketsPerChunk;
        std::uint32_t rest = packets() % PacketsPerChunk;
        writer().u32be((full > 0 ? 1 : 0) + (rest > 0 ? 1 : 0));
        if (full > 0)
            chunkRun(1, PacketsPerChunk);
        if (rest > 0)
            chunkRun(full + 1, rest);
    }
    void chunkRun(std::uint32_t firstChunk, std::uint32_t count)
    {
        writer().u32be(firstChunk);
        writer().u32be(count);
        writer().u32be(1); // sample description
    }
    void sampleSizes()
    {
        Box box(m_out, "stsz", 0, 0);
        writer().u32be(0);
        writer().u32be(packets());
        for (std::uint32_t size : m_track.packetSizes)
            writer().u32be(size);
    }
    void chunkOffsets()
    {
        auto write = [this](auto put) {
            writer().u32be((packets() + PacketsPerChunk - 1) / PacketsPerChunk);
            std::uint64_t offset = m_firstPacket;
            for (std::uint32_t i = 0; i < packets(); ++i) {
                if (i % PacketsPerChunk == 0)
                    put(offset);
                offset += m_track.packetSizes[i];
            }
        };
        if (m_longOffsets) {
            Box box(m_out, "co64", 0, 0);
            write([this](std::uint64_t offset) { writer().u64be(offset); });
        } else {
            Box box(m_out, "stco", 0, 0);
            write([this](std::uint64_t offset) { writer().u32be(static_cast<std::uint32_t>(offset)); });
        }
    }
    // A decoder that starts anywhere needs the packet before it.
    void preRoll()
    {
        {
            Box box(m_out, "sgpd", 1, 0);
            writer().text("roll");
            writer().u32be(2); // bytes of a description
            writer().u32be(1);
            writer().u16be(0xFFFF); // -1
        }
        Box box(m_out, "sbgp", 0, 0);
        writer().text("roll");
        writer().u32be(packets() > 0 ? 1 : 0);
        if (packets() > 0) {
            writer().u32be(packets());
            writer().u32be(1);
        }
    }
    void freeSpace()
    {
        Box box(m_out, "free");
        writer().zeros(std::size_t { M4aMetadataRoom } + m_track.moreRoom - 8);
    }
    void mediaDataHeader()
    {
        constexpr std::uint64_t ShortHeader = 8, LongHeader = 16;
        bool isLong = m_payload + ShortHeader > Largest32;
        writer().u32be(isLong ? 1 : static_cast<std::uint32_t>(m_payload + ShortHeader));
        writer().text("mdat");
        if (isLong)
            writer().u64be(m_payload + LongHeader);
    }

    const M4aTrack& m_track;
    std::uint64_t m_mediaFrames;
    bool m_long;
    std::uint64_t m_payload;
    bool m_longOffsets = false;
    std::uint64_t m_firstPacket = 0;
    Bytes m_out;
};

} // namespace

Bytes m4aHeader(const M4aTrack& track) { return Builder(track).build(); }

} // namespace mv
