#include "Base/Core/ByteReader.h"
#include "Base/Media/TagLimits.h"
#include "audio/FlacHeader.h"
#include "audio/OggPage.h"
#include "audio/StreamLength.h"
#include "facts/FactErrors.h"
#include "facts/reading/Readers.h"
#include "facts/reading/SoundFacts.h"
#include "facts/reading/VorbisComments.h"

#include <algorithm>
#include <optional>

namespace mv {

namespace {

using namespace std::string_view_literals;

constexpr std::uint32_t OpusRate = 48'000; // decoded at, always

/// A stream as its first packet tells it.
struct OggStream {
    SoundFacts sound;
    std::string_view mimeType;
    std::uint32_t serial = 0;
    std::uint32_t preSkip = 0; ///< samples that are decoded and not heard
    std::size_t commentPrefix = 0; ///< bytes in front of the comments in their packet
};

std::optional<OggStream> vorbisStream(ByteView packet)
{
    ByteReader fields(packet);
    fields.skip(7 + 4);
    OggStream stream;
    stream.sound.codec = "vorbis";
    stream.sound.channels = fields.u8();
    stream.sound.sampleRate = fields.u32le();
    fields.skip(4); // the highest bit rate
    auto nominal = static_cast<std::int32_t>(fields.u32le());
    stream.sound.bitrate = nominal > 0 ? static_cast<std::uint64_t>(nominal) : 0;
    stream.mimeType = "audio/x-vorbis+ogg";
    stream.commentPrefix = 7;
    return stream;
}

std::optional<OggStream> opusStream(ByteView packet)
{
    ByteReader fields(packet);
    fields.skip(8 + 1);
    OggStream stream;
    stream.sound.codec = "opus";
    stream.sound.channels = fields.u8();
    stream.preSkip = fields.u16le();
    stream.sound.sampleRate = OpusRate;
    stream.mimeType = "audio/x-opus+ogg";
    stream.commentPrefix = 8;
    return stream;
}

std::optional<OggStream> speexStream(ByteView packet)
{
    ByteReader fields(packet);
    fields.skip(36);
    OggStream stream;
    stream.sound.codec = "speex";
    stream.sound.sampleRate = fields.u32le();
    fields.skip(8); // mode, its version
    stream.sound.channels = fields.u32le();
    auto bitrate = static_cast<std::int32_t>(fields.u32le());
    stream.sound.bitrate = bitrate > 0 ? static_cast<std::uint64_t>(bitrate) : 0;
    stream.mimeType = "audio/x-speex+ogg";
    if (fields.failed())
        return std::nullopt;
    return stream;
}

std::optional<OggStream> flacStream(ByteView packet)
{
    constexpr std::size_t MappingHeaderSize = 9;
    auto info = FlacStreamInfo::parse(packet.subspan(std::min(packet.size(), MappingHeaderSize)));
    if (!info)
        return std::nullopt;
    OggStream stream;
    stream.sound = { "flac", info->sampleRate, info->channels, info->bitsPerSample };
    stream.sound.length = microsecondsOf(info->totalFrames, info->sampleRate);
    stream.mimeType = "audio/x-flac+ogg";
    stream.commentPrefix = 4; // the header of a metadata block
    return stream;
}

std::optional<OggStream> streamOf(ByteView packet)
{
    std::string_view text = charsOf(packet);
    if (text.starts_with("\x01vorbis"sv))
        return vorbisStream(packet);
    if (text.starts_with("OpusHead"sv))
        return opusStream(packet);
    if (text.starts_with("Speex   "sv))
        return speexStream(packet);
    if (text.starts_with("\x7F"
                         "FLAC"sv))
        return flacStream(packet);
    return std::nullopt;
}

bool isPictures(ByteView packet)
{
    std::string_view text = charsOf(packet);
    return text.starts_with("\x80theora"sv) || text.starts_with("BBCD"sv) || text.starts_with("\x01video"sv)
        || text.starts_with("OVP80"sv);
}

/// The pages of a file, first to last.
class PageWalk {
public:
    explicit PageWalk(const ByteSource& source)
        : m_source(source)
    {
    }

    /// Nothing at the first place without a page. Its views stay valid until the next call.
    std::optional<OggPage> next()
    {
        m_bytes.resize(FirstLook);
        m_bytes.resize(m_source.readUpTo(m_place, m_bytes));
        auto page = OggPage::parse(m_bytes);
        if (!page && m_bytes.size() == FirstLook) {
            m_bytes.resize(OggPage::MaxSize);
            m_bytes.resize(m_source.readUpTo(m_place, m_bytes));
            page = OggPage::parse(m_bytes);
        }
        if (page)
            m_place += page->size;
        return page;
    }

    /// The lacing values of the page that next() gave last.
    ByteView lacing() const { return ByteView(m_bytes).subspan(27, m_bytes[26]); }
    /// Behind that page.
    std::uint64_t place() const { return m_place; }

private:
    static constexpr std::size_t FirstLook = 8192;
    const ByteSource& m_source;
    std::uint64_t m_place = 0;
    Bytes m_bytes;
};

/// Collects the second packet of a stream.
class CommentPacket {
public:
    /// False once the packet is whole, or larger than tags may be.
    bool take(const OggPage& page, ByteView lacing)
    {
        std::size_t place = 0;
        for (std::uint8_t size : lacing) {
            ByteView part = page.body.subspan(std::min(place, page.body.size()));
            part = part.first(std::min<std::size_t>(size, part.size()));
            bytes.insert(bytes.end(), part.begin(), part.end());
            place += size;
            if (size < 255 || bytes.size() > MaxTagBytes)
                return false;
        }
        return true;
    }
    Bytes bytes;
};

/// The time at the end of the stream, where the last page of the file is the stream's: else the file is a chain or has
/// several streams, and is measured as a whole.
std::optional<std::uint64_t> lastGranule(const ByteSource& source, std::uint32_t serial)
{
    constexpr std::size_t Tail = 2 * 8192;
    for (std::size_t wanted : { Tail, OggPage::MaxSize + Tail }) {
        auto size = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, source.size()));
        auto tail = source.bytesAt(source.size() - size, size);
        if (!tail)
            return std::nullopt;
        std::string_view text = charsOf(*tail);
        for (auto at = text.rfind("OggS"); at != std::string_view::npos;
             at = at == 0 ? std::string_view::npos : text.rfind("OggS", at - 1)) {
            auto page = OggPage::parse(ByteView(*tail).subspan(at));
            if (!page)
                continue;
            if (page->serial != serial)
                return std::nullopt;
            if (page->granule != OggPage::NoGranule)
                return page->granule;
        }
    }
    return std::nullopt;
}

void setLength(const ByteSource& source, OggStream& stream)
{
    if (stream.sound.length > 0)
        return;
    auto granule = lastGranule(source, stream.serial);
    if (granule && *granule < std::uint64_t { 1 } << 62) {
        stream.sound.length
            = microsecondsOf(*granule - std::min<std::uint64_t>(*granule, stream.preSkip), stream.sound.sampleRate);
        return;
    }
    if (auto measured = measureOgg(source))
        stream.sound.length = microsecondsOf(measured->frames, measured->sampleRate);
}

} // namespace

Result<void> readOgg(Reading& reading)
{
    constexpr int MaxHeaderPages = 4096;
    PageWalk walk(reading.source);
    std::optional<OggStream> stream;
    CommentPacket comments;
    std::uint64_t tagsEnd = 0; // a cover among them is no sound
    for (int i = 0; i < MaxHeaderPages; ++i) {
        auto page = walk.next();
        if (!page)
            break;
        if (page->beginsStream && isPictures(page->body)) {
            reading.type.mimeType = "video/ogg";
            return readByFfmpeg(reading);
        }
        if (page->beginsStream && !stream) {
            stream = streamOf(page->body);
            if (stream)
                stream->serial = page->serial;
        } else if (stream && page->serial == stream->serial && !comments.take(*page, walk.lacing())) {
            tagsEnd = walk.place();
            break;
        }
    }
    if (!stream || stream->sound.sampleRate == 0 || stream->sound.channels == 0)
        return notMedia("no stream of sound that is known here");
    if (comments.bytes.size() > stream->commentPrefix)
        addVorbisComments(reading.tags, ByteView(comments.bytes).subspan(stream->commentPrefix));
    setLength(reading.source, *stream);
    if (stream->sound.bitrate == 0)
        stream->sound.bitrate = bitrateOf(reading.source.size() - tagsEnd, stream->sound.length);
    reading.type.mimeType = stream->mimeType;
    putSound(reading.facts, stream->sound);
    return {};
}

} // namespace mv
