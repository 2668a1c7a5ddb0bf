#include "Base/Core/Text.h"
#include "Base/Media/Orientation.h"
#include "facts/FactErrors.h"
#include "facts/reading/Id3Facts.h"
#include "facts/reading/IsoCodecs.h"
#include "facts/reading/IsoTags.h"
#include "facts/reading/Readers.h"
#include "facts/reading/SoundFacts.h"
#include "id3/TagReader.h"
#include "mp4/SampleTable.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace mv {

namespace {

bool isStill(const TrackFacts& track)
{
    constexpr std::array Formats { fourCC("jpeg"), fourCC("png "), fourCC("gif "), fourCC("tiff"), fourCC("mjpa") };
    return !track.descriptionCodes.empty()
        && std::find(Formats.begin(), Formats.end(), track.descriptionCodes.front()) != Formats.end();
}

/// Whether another track names it as its chapters'.
bool isOfChapters(const MovieFacts& movie, const TrackFacts& track)
{
    return std::ranges::any_of(movie.tracks, [&](const TrackFacts& other) {
        return std::ranges::find(other.chapterTracks, track.id) != other.chapterTracks.end();
    });
}

/// The first enabled track of a kind, else the first; still pictures of chapters are none.
const TrackFacts* trackOf(const MovieFacts& movie, std::uint32_t handler)
{
    const TrackFacts* first = nullptr;
    for (const TrackFacts& track : movie.tracks) {
        bool isKind = track.handler == handler && !track.descriptionCodes.empty();
        if (!isKind || (isStill(track) && (!track.isEnabled() || isOfChapters(movie, track))))
            continue;
        if (track.isEnabled())
            return &track;
        if (!first)
            first = &track;
    }
    return first;
}

std::int64_t lengthOf(const TrackFacts& track) { return microsecondsOf(track.mediaDuration, track.mediaTimeScale); }

/// The movie's own, else its longest track's.
std::int64_t lengthOf(const MovieFacts& movie)
{
    std::int64_t length = microsecondsOf(movie.duration, movie.timeScale);
    if (length == 0) {
        for (const TrackFacts& track : movie.tracks)
            length = std::max(length, lengthOf(track));
    }
    return length;
}

// Sound

/// Bits, most significant first.
class BitReader {
public:
    explicit BitReader(ByteView bytes)
        : m_bytes(bytes)
    {
    }
    std::uint32_t take(int count)
    {
        std::uint32_t value = 0;
        for (; count > 0; --count, ++m_place) {
            std::uint32_t bit = m_place / 8 < m_bytes.size() ? m_bytes[m_place / 8] >> (7 - m_place % 8) & 1u : 0u;
            value = value << 1 | bit;
        }
        return value;
    }
    /// Whether more was taken than there is; zeros then.
    bool failed() const { return m_place > m_bytes.size() * 8; }

private:
    ByteView m_bytes;
    std::size_t m_place = 0;
};

std::uint32_t takeRate(BitReader& bits)
{
    constexpr std::array<std::uint32_t, 13> Rates { 96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000,
        12000, 11025, 8000, 7350 };
    std::uint32_t index = bits.take(4);
    if (index == 15)
        return bits.take(24);
    return index < Rates.size() ? Rates[index] : 0;
}

std::uint32_t takeObjectType(BitReader& bits)
{
    std::uint32_t type = bits.take(5);
    return type == 31 ? 32 + bits.take(6) : type;
}

/// Of a program config element, which stands where no number says the channels (ISO/IEC 14496-3, 4.4.1.1): single
/// elements, pairs and those of low frequencies.
std::uint32_t takeProgramChannels(BitReader& bits)
{
    bits.take(1); // length of a frame
    if (bits.take(1) != 0) // a core coder's delay
        bits.take(14);
    bits.take(1);
    bits.take(4 + 2 + 4);
    const std::uint32_t front = bits.take(4);
    const std::uint32_t side = bits.take(4);
    const std::uint32_t back = bits.take(4);
    std::uint32_t channels = bits.take(2);
    bits.take(3 + 4);
    if (bits.take(1) != 0) // mixed down to one
        bits.take(4);
    if (bits.take(1) != 0) // to two
        bits.take(4);
    if (bits.take(1) != 0) // of a matrix
        bits.take(3);
    for (std::uint32_t i = 0; i < front + side + back; ++i) {
        channels += 1 + bits.take(1);
        bits.take(4);
    }
    return bits.failed() ? 0 : channels;
}

/// Of AAC's numbered configurations; 0 for one that has none.
std::uint32_t channelsOf(std::uint32_t configuration)
{
    constexpr std::array<std::uint32_t, 15> Channels { 0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8 };
    return configuration < Channels.size() ? Channels[configuration] : 0;
}

/// AAC's own configuration knows better than the description: spectral band replication doubles the rate, parametric
/// stereo the channels, where they are announced.
void refineAac(SoundFacts& sound, ByteView config)
{
    constexpr std::uint32_t SpectralBandReplication = 5;
    constexpr std::uint32_t ParametricStereo = 29;
    if (config.empty())
        return;
    BitReader bits(config);
    std::uint32_t type = takeObjectType(bits);
    std::uint32_t rate = takeRate(bits);
    const std::uint32_t configuration = bits.take(4);
    bool isReplicated = type == SpectralBandReplication || type == ParametricStereo;
    std::uint32_t core = type;
    if (isReplicated) {
        rate = takeRate(bits);
        core = takeObjectType(bits);
    }
    if (rate != 0)
        sound.sampleRate = rate;
    const std::uint32_t channels = configuration != 0 ? channelsOf(configuration)
        : core >= 1 && core <= 4                      ? takeProgramChannels(bits)
                                                      : 0;
    sound.channels = channels != 0 ? channels : sound.channels;
    if (type == ParametricStereo)
        sound.channels = 2;
}

/// ALAC's: version and flags, frames in a packet, version, depth, three numbers, channels, two sizes, bit rate, rate.
void refineAlac(SoundFacts& sound, ByteView config)
{
    ByteReader fields(config);
    fields.skip(4 + 4 + 1);
    std::uint32_t bits = fields.u8();
    fields.skip(3);
    std::uint32_t channels = fields.u8();
    fields.skip(2 + 4);
    std::uint32_t bitrate = fields.u32be();
    std::uint32_t rate = fields.u32be();
    if (fields.failed())
        return;
    sound.bitsPerSample = bits;
    sound.channels = channels != 0 ? channels : sound.channels;
    sound.sampleRate = rate != 0 ? rate : sound.sampleRate;
    // Some encoders state what there would be without compression.
    bool isAverage = bitrate < std::uint64_t { sound.sampleRate } * sound.channels * bits;
    sound.bitrate = isAverage && bitrate != 0 ? bitrate : sound.bitrate;
}

/// FLAC's: version and flags, then a metadata block as in its own files.
void refineFlac(SoundFacts& sound, ByteView config)
{
    ByteReader fields(config);
    fields.skip(4 + 4 + 10);
    std::uint64_t packed = fields.u64be();
    if (fields.failed())
        return;
    sound.sampleRate = static_cast<std::uint32_t>(packed >> 44);
    sound.channels = static_cast<std::uint32_t>(packed >> 41 & 7) + 1;
    sound.bitsPerSample = static_cast<std::uint32_t>(packed >> 36 & 31) + 1;
}

/// What AC-3 and E-AC-3 say in two bits, three bits and one.
void takeAc3(SoundFacts& sound, std::uint32_t rate, std::uint32_t mode, bool hasBass)
{
    constexpr std::array<std::uint32_t, 3> Rates { 48000, 44100, 32000 };
    constexpr std::array<std::uint32_t, 8> Channels { 2, 1, 2, 3, 3, 4, 4, 5 };
    if (rate >= Rates.size())
        return;
    sound.sampleRate = Rates[rate];
    sound.channels = Channels[mode] + (hasBass ? 1 : 0);
}

/// AC-3's: three bytes with rate, id, mode, channels. The description always says two.
void refineAc3(SoundFacts& sound, ByteView config)
{
    if (config.size() < 3)
        return;
    BitReader bits(config);
    std::uint32_t rate = bits.take(2);
    bits.take(5 + 3);
    std::uint32_t mode = bits.take(3);
    takeAc3(sound, rate, mode, bits.take(1) != 0);
}

/// E-AC-3's: bit rate, streams, then of the first stream what AC-3 says, by ETSI TS 102 366, annex F.
void refineEac3(SoundFacts& sound, ByteView config)
{
    if (config.size() < 5)
        return;
    BitReader bits(config);
    bits.take(13 + 3);
    std::uint32_t rate = bits.take(2);
    bits.take(5 + 1 + 1 + 3);
    std::uint32_t mode = bits.take(3);
    takeAc3(sound, rate, mode, bits.take(1) != 0);
}

void refineOpus(SoundFacts& sound, ByteView config)
{
    constexpr std::uint32_t DecodingRate = 48'000;
    sound.sampleRate = DecodingRate;
    if (config.size() > 1)
        sound.channels = config[1];
}

void refineFixed(SoundFacts& sound)
{
    // The descriptions of these are often wrong, and the codecs know one form.
    if (sound.codec == "amr_nb")
        sound.sampleRate = 8000;
    else if (sound.codec == "amr_wb")
        sound.sampleRate = 16000;
    if (sound.codec.starts_with("amr_"))
        sound.channels = 1;
}

/// Of "pcm_s24be"; 0 of what is none, as "pcm_alaw".
std::uint32_t bitsInName(std::string_view codec)
{
    auto digits = codec.find_first_of("0123456789");
    return digits == codec.npos ? 0 : static_cast<std::uint32_t>(leadingInteger(codec.substr(digits)));
}

SoundFacts soundOf(StructureReader& reader, const TrackFacts& track)
{
    SoundFacts sound { soundCodecOf(track), track.sampleRate, track.soundChannels };
    if (sound.sampleRate == 0)
        sound.sampleRate = track.mediaTimeScale;
    sound.bitrate = track.statedBitRate;
    if (sound.codec == "aac")
        refineAac(sound, track.decoderConfig);
    else if (sound.codec == "alac")
        refineAlac(sound, track.decoderConfig);
    else if (sound.codec == "flac")
        refineFlac(sound, track.decoderConfig);
    else if (sound.codec == "ac3")
        refineAc3(sound, track.decoderConfig);
    else if (sound.codec == "eac3")
        refineEac3(sound, track.decoderConfig);
    else if (sound.codec == "opus")
        refineOpus(sound, track.decoderConfig);
    else if (sound.codec.starts_with("pcm_"))
        sound.bitsPerSample = bitsInName(sound.codec); // some descriptions say 16 whatever they are
    refineFixed(sound);
    if (sound.bitrate == 0) {
        std::uint64_t bytes = saturatingAdd(tableBytes(reader, track), track.fragmentBytes);
        sound.bitrate = averageBitRate(bytes, track.mediaTimeScale, track.mediaDuration);
    }
    return sound;
}

// Moving pictures

std::uint32_t orientationTagOf(const TrackFacts& track)
{
    Orientation orientation = Orientation::fromMatrix(track.matrix);
    for (int tag = 1; tag <= 8; ++tag) {
        if (Orientation::fromTag(tag) == orientation)
            return static_cast<std::uint32_t>(tag);
    }
    return 1;
}

/// Frames a second from the table of times: the header's length may be an edit's. Fragments tell no times here.
double frameRateOf(StructureReader& reader, const TrackFacts& track)
{
    std::uint64_t duration = track.fragmentSamples == 0 ? tableDuration(reader, track) : 0;
    if (duration == 0)
        duration = track.mediaDuration;
    auto frames = static_cast<double>(track.sampleCount + track.fragmentSamples);
    return duration == 0 ? 0 : frames * track.mediaTimeScale / static_cast<double>(duration);
}

void putPictures(Facts& facts, StructureReader& reader, const TrackFacts& track)
{
    if (auto codec = pictureCodecOf(track); !codec.empty())
        facts.set(fact::VideoCodec, std::string(codec));
    std::uint32_t width = track.codedWidth != 0 ? track.codedWidth : static_cast<std::uint32_t>(track.width);
    std::uint32_t height = track.codedHeight != 0 ? track.codedHeight : static_cast<std::uint32_t>(track.height);
    if (width != 0 && height != 0) {
        facts.set(fact::Width, width);
        facts.set(fact::Height, height);
    }
    if (double rate = frameRateOf(reader, track); rate > 0)
        facts.setReal(fact::FrameRate, rate);
    facts.set(fact::Orientation, orientationTagOf(track));
}

std::string isoTextOf(Date date)
{
    auto moment = std::chrono::floor<std::chrono::seconds>(
        std::chrono::sys_time<std::chrono::microseconds>(std::chrono::microseconds(date.microseconds)));
    auto day = std::chrono::floor<std::chrono::days>(moment);
    std::chrono::year_month_day calendar(day);
    std::chrono::hh_mm_ss clock(moment - day);
    return formatText("%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(calendar.year()),
        static_cast<unsigned>(calendar.month()), static_cast<unsigned>(calendar.day()),
        static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
        static_cast<int>(clock.seconds().count()));
}

std::string_view soundOnlyType(const Reading& reading)
{
    bool isOpen = reading.type.mimeType == "video/mp4";
    if (isOpen && (hasEnding(reading.name, "m4a") || hasEnding(reading.name, "f4a")))
        return "audio/mp4";
    if (isOpen && (hasEnding(reading.name, "m4b") || hasEnding(reading.name, "f4b")))
        return "audio/x-m4b";
    return reading.type.mimeType;
}

} // namespace

Result<void> readIsoMedia(Reading& reading)
{
    StructureReader reader = StructureReader::borrowing(reading.source);
    auto movie = readMovieFacts(reader);
    if (!movie)
        return notMedia("a movie without its header");
    const TrackFacts* sound = trackOf(*movie, fourCC("soun"));
    const TrackFacts* pictures = trackOf(*movie, fourCC("vide"));
    if (!sound && !pictures)
        return notMedia("a movie without sound and pictures");
    Facts& facts = reading.facts;
    addIsoTags(reading.tags, facts, reader, *movie);
    if (firstBoxOffset(reader) > 0)
        addId3v2At(reading.tags, reading.source, 0, firstBoxOffset(reader));
    SoundFacts known;
    if (sound)
        known = soundOf(reader, *sound);
    known.length = lengthOf(*movie);
    if (pictures) {
        facts.set(fact::Kind, std::string("video"));
        known.bitrate = bitrateOf(reading.source.size(), known.length);
        putPictures(facts, reader, *pictures);
        // What a camera writes; programs that write tags say when the content was made.
        reading.tags.texts.beginTag();
        if (movie->creationDate && movie->creationDate->microseconds > 0)
            reading.tags.texts.add(TagField::Date, isoTextOf(*movie->creationDate));
    } else {
        reading.type.mimeType = soundOnlyType(reading);
    }
    putSound(facts, known);
    return {};
}

} // namespace mv
