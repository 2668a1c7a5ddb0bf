#include "audio/FlacHeader.h"
#include "audio/OggPage.h"
#include "audio/StreamLength.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <optional>
#include <opusfile.h>
#include <vorbis/vorbisfile.h>

namespace mv {

namespace {

// The first pages of all streams are small and stand together at the front; junk before them is searched this far,
// as the Vorbis library does.
constexpr std::size_t SearchedForStart = 128u << 10;
// The end is searched this far for the last page of a stream: other streams' pages may follow it.
constexpr std::uint64_t FirstTail = 2 * OggPage::MaxSize;
constexpr std::uint64_t MaxTail = 8u << 20;
// What one measurement may read. A chain of two thousand links stays below it; a file made of empty links does not
// keep us busy, nor fill the memory with their code books.
constexpr std::uint64_t MaxBytesRead = 128u << 20;
// Opus is always decoded at this rate.
constexpr std::uint32_t OpusRate = 48000;

enum class Codec { Vorbis, Opus, Flac };

struct FirstPage {
    Codec codec;
    std::uint32_t serial;
    Bytes packet;
};

std::optional<Codec> codecOf(ByteView packet)
{
    using namespace std::string_view_literals;
    std::string_view text = charsOf(packet);
    if (text.starts_with("\x01vorbis"sv))
        return Codec::Vorbis;
    if (text.starts_with("OpusHead"sv))
        return Codec::Opus;
    if (text.starts_with("\x7F"
                         "FLAC"sv))
        return Codec::Flac;
    return std::nullopt;
}

Result<FirstPage> firstAudioPage(const ByteSource& file)
{
    Bytes front(static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), SearchedForStart)));
    MV_TRY(got, file.readAt(0, front));
    ByteView bytes = ByteView(front).first(got);
    std::size_t at = 0;
    for (auto page = OggPage::find(bytes, at); page && page->beginsStream; page = OggPage::find(bytes, at)) {
        if (auto codec = codecOf(page->body))
            return FirstPage { *codec, page->serial, Bytes(page->body.begin(), page->body.end()) };
        at += page->size;
    }
    return Error { Error::Kind::Unsupported, "no stream of a codec that is known here" };
}

// A file as the two libraries read it.
struct Source {
    const ByteSource& file;
    std::uint64_t position = 0;
    std::uint64_t bytesLeft = MaxBytesRead;

    // -1 when the read failed or the bound is reached.
    long read(std::span<std::uint8_t> target)
    {
        auto got = target.size() <= bytesLeft ? file.readAt(position, target) : Error {};
        if (!got)
            return -1;
        bytesLeft -= *got;
        position += *got;
        return static_cast<long>(*got);
    }
    int seek(std::int64_t offset, int whence)
    {
        std::int64_t base = whence == SEEK_SET ? 0
            : whence == SEEK_CUR               ? static_cast<std::int64_t>(position)
                                               : static_cast<std::int64_t>(file.size());
        if (offset < -base)
            return -1;
        position = static_cast<std::uint64_t>(base + offset);
        return 0;
    }
};

Source& sourceOf(void* context) { return *static_cast<Source*>(context); }

// The Vorbis library asks errno whether a read of nothing was the end or a failure.
std::size_t vorbisRead(void* target, std::size_t size, std::size_t count, void* context)
{
    long got = sourceOf(context).read({ static_cast<std::uint8_t*>(target), size * count });
    errno = got < 0 ? EIO : 0;
    return got < 0 ? 0 : static_cast<std::size_t>(got) / size;
}
int vorbisSeek(void* context, ogg_int64_t offset, int whence) { return sourceOf(context).seek(offset, whence); }
long vorbisTell(void* context) { return static_cast<long>(sourceOf(context).position); }

int opusRead(void* context, unsigned char* target, int count)
{
    return static_cast<int>(sourceOf(context).read({ target, static_cast<std::size_t>(count) }));
}
int opusSeek(void* context, opus_int64 offset, int whence) { return sourceOf(context).seek(offset, whence); }
opus_int64 opusTell(void* context) { return static_cast<opus_int64>(sourceOf(context).position); }

// Frames of all links, those of another rate by the time that they last.
Result<StreamLength> lengthOfLinks(OggVorbis_File& links)
{
    StreamLength total;
    double frames = 0;
    for (int link = 0; link < ov_streams(&links); ++link) {
        const vorbis_info* info = ov_info(&links, link);
        if (!info || info->rate <= 0 || info->channels <= 0)
            return Error { Error::Kind::Format, "a Vorbis header is damaged" };
        if (link == 0)
            total = { static_cast<std::uint32_t>(info->rate), static_cast<std::uint32_t>(info->channels), 0 };
        auto count = std::max<ogg_int64_t>(ov_pcm_total(&links, link), 0);
        frames += static_cast<double>(count) * total.sampleRate / static_cast<double>(info->rate);
    }
    total.frames = static_cast<std::uint64_t>(std::llround(frames));
    return total;
}

Result<StreamLength> measureVorbis(const ByteSource& file)
{
    Source source { file };
    OggVorbis_File links {};
    if (ov_open_callbacks(&source, &links, nullptr, 0, { vorbisRead, vorbisSeek, nullptr, vorbisTell }) != 0)
        return Error { Error::Kind::Format, "Vorbis that cannot be decoded" };
    std::unique_ptr<OggVorbis_File, CloseWith<ov_clear>> owner(&links);
    return lengthOfLinks(links);
}

Result<StreamLength> measureOpus(const ByteSource& file)
{
    Source source { file };
    const OpusFileCallbacks callbacks { opusRead, opusSeek, opusTell, nullptr };
    int error = 0;
    std::unique_ptr<OggOpusFile, CloseWith<op_free>> opus(op_open_callbacks(&source, &callbacks, nullptr, 0, &error));
    if (!opus)
        return Error { Error::Kind::Format, "Opus that cannot be decoded", error };
    auto frames = std::max<ogg_int64_t>(op_pcm_total(opus.get(), -1), 0);
    auto channels = static_cast<std::uint32_t>(op_channel_count(opus.get(), 0));
    return StreamLength { OpusRate, channels, static_cast<std::uint64_t>(frames) };
}

// The last time stamp of the stream within the bytes.
std::optional<std::uint64_t> lastGranule(ByteView bytes, std::uint32_t serial)
{
    std::optional<std::uint64_t> granule;
    std::size_t at = 0;
    for (auto page = OggPage::find(bytes, at); page; page = OggPage::find(bytes, at)) {
        if (page->serial == serial && page->granule != OggPage::NoGranule)
            granule = page->granule;
        at += page->size;
    }
    return granule;
}

Result<std::uint64_t> lastGranuleOfFile(const ByteSource& file, std::uint32_t serial)
{
    for (std::uint64_t wanted = FirstTail;; wanted *= 8) {
        std::uint64_t size = std::min({ wanted, MaxTail, file.size() });
        MV_TRY(tail, file.bytesAt(file.size() - size, static_cast<std::size_t>(size)));
        if (auto granule = lastGranule(tail, serial))
            return *granule;
        if (size == MaxTail || size == file.size())
            return Error { Error::Kind::Format, "the end of the stream was not found" };
    }
}

Result<StreamLength> measureFlacStream(const ByteSource& file, const FirstPage& first)
{
    constexpr std::size_t MappingHeaderSize = 9; // marker, version, number of header packets
    if (first.packet.size() < MappingHeaderSize)
        return Error { Error::Kind::Format, "the FLAC mapping is damaged" };
    auto info = FlacStreamInfo::parse(ByteView(first.packet).subspan(MappingHeaderSize));
    if (!info)
        return Error { Error::Kind::Format, info.error().text };
    std::uint64_t frames = info->totalFrames;
    if (frames == 0) {
        MV_TRY(granule, lastGranuleOfFile(file, first.serial));
        frames = granule;
    }
    return StreamLength { info->sampleRate, info->channels, frames };
}

} // namespace

Result<StreamLength> measureOgg(const ByteSource& file)
{
    MV_TRY(first, firstAudioPage(file));
    switch (first.codec) {
    case Codec::Vorbis:
        return measureVorbis(file);
    case Codec::Opus:
        return measureOpus(file);
    case Codec::Flac:
        break;
    }
    return measureFlacStream(file, first);
}

Result<StreamLength> measureOggFlac(const ByteSource& file)
{
    MV_TRY(first, firstAudioPage(file));
    if (first.codec != Codec::Flac)
        return Error { Error::Kind::Unsupported, "not FLAC" };
    return measureFlacStream(file, first);
}

} // namespace mv
