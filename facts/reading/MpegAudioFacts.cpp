#include "Base/Core/Text.h"
#include "facts/FactErrors.h"
#include "facts/reading/Id3Facts.h"
#include "facts/reading/OldTags.h"
#include "facts/reading/Readers.h"
#include "facts/reading/ShortenedTag.h"
#include "facts/reading/SoundFacts.h"
#include "id3/MpegFrameReader.h"
#include "id3/TagReader.h"
#include "id3/VbrHeader.h"

#include <cmath>
#include <optional>

namespace mv {

namespace {

void addTags(TagSink& sink, const TagSet& tags, const ByteSource& source)
{
    for (const Id3v2Tag& tag : tags.prependedTags)
        addId3v2(sink, tag);
    for (const Id3v2Tag& tag : tags.appendedTags)
        addId3v2(sink, tag);
    addOldTags(sink, tags, source);
}

/// The stream in numbers: the encoder's table in its first frame, where the reader of frames believed that, else what
/// was measured.
class StreamNumbers {
public:
    StreamNumbers(const ByteSource& source, const MpegAudioFacts& audio, std::uint64_t end)
        : m_audio(audio)
        , m_bytes(end - std::min(end, audio.firstFrame))
    {
        Bytes frame(MpegHeader::MaxFrameSize);
        frame.resize(source.readUpTo(audio.firstFrame, frame));
        auto table = VbrHeader::parse(audio.header, frame);
        auto samples = table ? table->sampleCount(audio.header.samplesPerFrame) : std::nullopt;
        constexpr double Same = 1e-6;
        if (!samples || std::abs(static_cast<double>(*samples) / audio.header.sampleRate - audio.seconds) > Same)
            return;
        // "Info" says that the bit rate does not change.
        std::string_view text = charsOf(frame).substr(0, TableSearch);
        m_changes = text.find("Info") == std::string_view::npos;
        std::uint64_t all = std::uint64_t { *table->frames } * static_cast<std::uint64_t>(audio.header.samplesPerFrame);
        m_added = static_cast<double>(all - *samples) / audio.header.sampleRate;
        // The front of a longer stream has fewer bytes than the table speaks of.
        if (table->bytes)
            m_bytes = std::max<std::uint64_t>(m_bytes, *table->bytes);
    }

    /// Of all frames, as players count: with what the encoder added before the first sample and behind the last.
    std::int64_t length() const { return std::llround((m_audio.seconds + m_added) * MicrosecondsPerSecond); }

    /// The stream's one bit rate, or the average of those that it has.
    std::uint64_t bitrate() const
    {
        auto stated = static_cast<std::uint64_t>(std::max(0, m_audio.header.bitrate));
        std::uint64_t measured = bitrateOf(m_bytes, length());
        // Of a few frames an average tells nothing.
        constexpr double Enough = 2;
        bool differs = m_audio.seconds > Enough && (measured > stated + stated / 50 || measured + stated / 50 < stated);
        bool isAverage = m_changes || differs;
        return measured != 0 && (isAverage || stated == 0) ? measured : stated;
    }

private:
    static constexpr std::size_t TableSearch = 64;
    const MpegAudioFacts& m_audio;
    std::uint64_t m_bytes;
    double m_added = 0; ///< seconds
    bool m_changes = false;
};

std::string_view codecOfLayer(int layer) { return layer == 1 ? "mp1" : layer == 2 ? "mp2" : "mp3"; }

} // namespace

Result<void> readMpegAudio(Reading& reading)
{
    std::optional<ShortenedTag> shortened;
    if (!reading.wish.pictures)
        shortened = ShortenedTag::of(reading.source);
    const ByteSource& source = shortened ? static_cast<const ByteSource&>(*shortened) : reading.source;
    MV_TRY(tags, readTags(source));
    auto audio = MpegFrameReader::read(source, tags.audioBegin, tags.audioEnd);
    if (!audio)
        return notMedia("no sound behind the tag");
    addTags(reading.tags, tags, source);
    SoundFacts sound;
    sound.codec = codecOfLayer(audio->header.layer);
    sound.sampleRate = static_cast<std::uint32_t>(audio->header.sampleRate);
    sound.channels = audio->header.isMono ? 1 : 2;
    StreamNumbers numbers(source, *audio, tags.audioEnd);
    sound.length = numbers.length();
    sound.bitrate = numbers.bitrate();
    putSound(reading.facts, sound);
    if (audio->header.layer == 2)
        reading.type.mimeType = "audio/mp2";
    return {};
}

} // namespace mv
