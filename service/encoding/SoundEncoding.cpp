#include "service/encoding/SoundEncoding.h"

#include "Base/Core/OSStatus.h"
#include "facts/reading/Describe.h"
#include "service/encoding/CarriedTags.h"
#include "service/encoding/EncodedPlaces.h"
#include "service/encoding/WholeSource.h"
#include "service/include/MVAudioEncoderBase.h"
#include "service/transcode/AacEncodingJob.h"
#include "service/transcode/MP4ExporterImpl.h"
#include "service/transcode/Mp3EncodingJob.h"

#include <algorithm>
#include <cerrno>

namespace mv {

namespace {

using Outcome = std::optional<MediaErrorKind>;

MediaErrorKind kindOf(const Error& error)
{
    switch (error.code) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return MediaErrorKind::NoSpace;
    case EEXIST:
        return MediaErrorKind::Exists;
    case ENOENT:
        return MediaErrorKind::NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
        return MediaErrorKind::AccessDenied;
    default:
        return error.kind == Error::Kind::Cancelled ? MediaErrorKind::Cancelled : MediaErrorKind::Failed;
    }
}

/// Of an encoder's own words, where the place has nothing to say.
MediaErrorKind kindOfCode(std::int32_t code)
{
    return code == MVAudioEncoderErrorInput ? MediaErrorKind::Unsupported : MediaErrorKind::Failed;
}

MediaErrorKind kindOfStatus(OSStatus status)
{
    switch (status) {
    case MVMP4ExporterCancelled:
        return MediaErrorKind::Cancelled;
    case dskFulErr:
        return MediaErrorKind::NoSpace;
    case kAudioFileUnsupportedFileTypeError:
    case kAudioFileUnsupportedDataFormatError:
    case kAudioFileInvalidFileError:
        return MediaErrorKind::Unsupported;
    default:
        return MediaErrorKind::Failed;
    }
}

/// Tells a conversion's delegate of an encoding.
class Listener final : public EncodingListener {
public:
    explicit Listener(MVMP4ExporterDelegate& progress)
        : m_progress(progress)
    {
    }

    void started() override { }
    bool shouldStop() override { return m_isStopped; }
    /// More than all of it where a file holds more than it announces.
    void progress(float percent) override
    {
        auto whole = static_cast<std::int32_t>(std::clamp(percent, 1.0f, 99.0f));
        if (whole > m_percent)
            m_isStopped = !m_progress.MP4ExporterProgress(m_percent = whole);
    }
    void failed(std::int32_t code) override { m_code = code; }
    void ended() override { }

    bool isStopped() const { return m_isStopped; }
    std::int32_t code() const { return m_code; }

private:
    MVMP4ExporterDelegate& m_progress;
    std::int32_t m_percent = 0;
    std::int32_t m_code = 0;
    bool m_isStopped = false;
};

Record attributesOf(const EncodingWish& wish, const Facts& facts)
{
    const auto* channels = facts.get<std::uint32_t>(fact::Channels);
    ChannelMode mode = wish.mode.value_or(channels && *channels == 1 ? ChannelMode::Mono : ChannelMode::Joint);
    std::int32_t quality = static_cast<std::int32_t>(wish.quality) - static_cast<std::int32_t>(EncodingQuality::Fast);
    return { { MVAudioEncoderBitrateAttribute, static_cast<std::int32_t>(wish.bitrate) },
        { MVAudioEncoderVBRAttribute, wish.vbr }, { MVMP3EncoderStereoModeAttribte, static_cast<std::int32_t>(mode) },
        { MVMP3EncoderQualityAttribute, quality }, { MVAudioEncoderExactConversionAttribute, true } };
}

Outcome encodeMp3(const OpenedFile& source, const EncodingWish& wish, const Facts& facts, const SharedPlace& place,
    MVMP4ExporterDelegate& progress)
{
    TaggedMp3Place tagged(place, wish.tags ? id3TagOf(facts) : Bytes());
    Listener listener(progress);
    bool isWell = standardEncoding(wish.cores)(attributesOf(wish, facts), listener, source, tagged);
    if (listener.isStopped())
        return MediaErrorKind::Cancelled;
    if (isWell && tagged.commit())
        return {};
    return tagged.failure() ? kindOf(*tagged.failure()) : kindOfCode(listener.code());
}

/// A conversion goes on to the end of its source whatever becomes of what it writes; with these it ends there.
class EndingFunctions final : public AudioFileFunctions {
public:
    OSStatus read(ExtAudioFileRef file, std::uint32_t* frames, AudioBufferList* data) const override
    {
        if (!m_hasFailed)
            return AudioFileFunctions::read(file, frames, data);
        *frames = 0;
        return noErr;
    }
    OSStatus write(ExtAudioFileRef file, std::uint32_t frames, const AudioBufferList* data) const override
    {
        OSStatus status = AudioFileFunctions::write(file, frames, data);
        m_hasFailed = status != noErr;
        return status;
    }

private:
    mutable bool m_hasFailed = false;
};

/// Without tags of its own: those of a record are fewer than a file has.
MP4ExporterTools plainTools(const EndingFunctions& functions)
{
    MP4ExporterTools tools = MP4ExporterTools::platform();
    tools.audioFiles = &functions;
    tools.describeMP3 = tools.describeMP4 = [](const OpenedFile&) { return std::nullopt; };
    return tools;
}

OSStatus convert(const OpenedFile& source, std::uint32_t bitrate, unsigned cores, const SharedPlace& place,
    MVMP4ExporterDelegate& progress)
{
    if (cores > 1) {
        AacEncodingJob job(source, bitrate, progress);
        if (OSStatus status = job.open(); status != noErr)
            return status;
        if (job.isForSegments())
            return job.run(*place, cores);
    }
    const EndingFunctions functions;
    return MP4ExporterImpl(plainTools(functions))
        .convertToAacWithDelegateFromPathToMp4PathBitrate(&progress, source, place, static_cast<std::int32_t>(bitrate));
}

Outcome encodeAac(const OpenedFile& source, const EncodingWish& wish, const Facts& facts, const SharedPlace& place,
    MVMP4ExporterDelegate& progress)
{
    // The conversion takes more for a mistake.
    constexpr std::uint32_t MaxBitrate = 256'000;
    auto tagged = std::make_shared<TaggedM4aPlace>(place, wish.tags ? metadataItemsOf(facts) : MP4ItmfItemList());
    OSStatus status = convert(source, std::min(wish.bitrate, MaxBitrate), wish.cores, tagged, progress);
    if (status == noErr)
        return {};
    return tagged->failure() ? kindOf(*tagged->failure()) : kindOfStatus(status);
}

/// What is known of the source; nothing where nobody knows.
Facts factsOf(const OpenedFile& source, const EncodingWish& wish)
{
    auto facts = describe(source, source.path().lastPathComponent(), { .pictures = wish.tags });
    return facts ? std::move(*facts) : Facts {};
}

} // namespace

Outcome encodeSound(
    const OpenedFile& source, const EncodingWish& wish, const SharedPlace& place, MVMP4ExporterDelegate& progress)
{
    const WholeSource whole(source);
    const Facts facts = factsOf(whole.file(), wish);
    return wish.format == SoundFormat::Mp3 ? encodeMp3(whole.file(), wish, facts, whole.placeFor(place), progress)
                                           : encodeAac(whole.file(), wish, facts, whole.placeFor(place), progress);
}

} // namespace mv
