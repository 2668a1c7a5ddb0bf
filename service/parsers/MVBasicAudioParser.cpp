#include "service/parsers/MVBasicAudioParser.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "Base/Media/DescribedFile.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "platform/BASS.h"
#include "service/parsers/MusicColumns.h"

#include <algorithm>
#include <limits>

namespace mv {

namespace {

// Deliberate: clients expect lengths that are a second longer than the stream.
constexpr double AddedSecond = 1.0;

using StreamCreateFile = HSTREAM (*)(bool, const OpenedFile&, std::uint64_t, std::uint64_t, std::uint32_t);

StreamCreateFile streamCreateFileFor(std::string_view extension)
{
    if (equalIgnoringAsciiCase(extension, "flac"))
        return BASS_FLAC_StreamCreateFile;
    if (equalIgnoringAsciiCase(extension, "ogg"))
        return BASS_StreamCreateFile;
    return nullptr;
}

// The name less its extension and one character more, the dot. Deliberate: a name without an extension has no dot,
// and loses its last character.
std::string titleOf(const Path& path)
{
    std::string_view name = path.lastPathComponent();
    std::size_t taken = path.pathExtension().size() + 1;
    return std::string(truncatedUtf8(name, name.size() - std::min(name.size(), taken)));
}

std::int32_t wholeSeconds(double duration)
{
    return static_cast<std::int32_t>(
        std::min<double>(duration, std::numeric_limits<std::int32_t>::max())); // a stream of 1 Hz may last longer
}

} // namespace

bool MVBasicAudioParser::isSupportMediaTDuration(const OpenedFile& file, double& duration) const
{
    StreamCreateFile createFile = streamCreateFileFor(file.path().pathExtension());
    if (!createFile)
        return false;
    HSTREAM stream = createFile(false, file, 0, 0, BASS_STREAM_AUTOFREE);
    if (stream == 0) {
        NSLog("bass load error = %d", BASS_ErrorGetCode());
        return false;
    }
    // Deliberate: only the low 32 bits of the length count, so 4 GiB of decoded audio and more wrap around.
    auto length = static_cast<std::uint32_t>(BASS_ChannelGetLength(stream, BASS_POS_BYTE));
    duration = BASS_ChannelBytes2Seconds(stream, length) + AddedSecond;
    BASS_StreamFree(stream);
    return true;
}

std::optional<Record> MVBasicAudioParser::build(const OpenedFile& file)
{
    const auto& attributes = file.attributes();
    if (!attributes)
        return std::nullopt;
    const Path& path = file.path();
    Record record;
    setPathColumns(record, path);
    record.set(MediaDBMusicColumnTitle, titleOf(path));
    setNewMusicColumns(record);
    setMusicFileColumns(record, *attributes);
    setMediaTypeColumns(record, MVMediaTypeReader::type(path));
    setFixedMusicColumns(record);

    double duration = 0.0;
    bool measured = isSupportMediaTDuration(file, duration);
    record.set(MediaDBCommonColumnReservedInt, measured ? MVBasicAudioDurationMeasured : MVBasicAudioNotSupported);
    if (measured)
        record.set(MediaDBMusicColumnPlayLength, wholeSeconds(duration));
    return record;
}

} // namespace mv
