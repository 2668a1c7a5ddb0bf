#include "movies/IsoMovie.h"

#include "Base/Core/ByteReader.h"
#include "mp4/MovieFacts.h"

#include <algorithm>
#include <limits>

namespace mv {

namespace {

/// The boxes that files of this family begin with.
constexpr FourCC FirstBoxes[] = { fourCC("ftyp"), fourCC("moov"), fourCC("mdat"), fourCC("wide"), fourCC("free"),
    fourCC("skip"), fourCC("pnot"), fourCC("styp"), fourCC("uuid") };

/// Formats of still pictures: a disabled track of them is the pictures of chapters, which is cover art.
constexpr FourCC StillFormats[] = { fourCC("jpeg"), fourCC("png "), fourCC("gif "), fourCC("tiff"), fourCC("mjpa") };

bool contains(const auto& list, FourCC value)
{
    return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

bool isPictures(const TrackFacts& track)
{
    if (track.handler != fourCC("vide"))
        return false;
    bool isStill = !track.descriptionCodes.empty() && contains(StillFormats, track.descriptionCodes.front());
    return track.isEnabled() || !isStill;
}

MovieTime timeIn(std::uint64_t duration, std::uint32_t scale)
{
    constexpr auto Limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (duration == 0 || scale == 0 || duration > Limit)
        return {};
    if (scale > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
        return { static_cast<std::int64_t>(duration / 2), static_cast<std::int32_t>(scale / 2) };
    return { static_cast<std::int64_t>(duration), static_cast<std::int32_t>(scale) };
}

/// The movie header's, else that of the longest track.
MovieTime durationOf(const MovieFacts& facts)
{
    std::uint64_t duration = facts.duration;
    if (duration == 0) {
        for (const TrackFacts& track : facts.tracks)
            duration = std::max(duration, track.duration);
    }
    if (duration != 0 && facts.timeScale != 0)
        return timeIn(duration, facts.timeScale);
    MovieTime longest;
    double longestSeconds = 0;
    for (const TrackFacts& track : facts.tracks) {
        MovieTime time = timeIn(track.mediaDuration, track.mediaTimeScale);
        auto seconds = secondsOf(time);
        if (seconds && *seconds > longestSeconds) {
            longestSeconds = *seconds;
            longest = time;
        }
    }
    return longest;
}

PixelSize sizeOf(const TrackFacts& track)
{
    PixelSize size { static_cast<float>(track.displayWidth()), static_cast<float>(track.displayHeight()) };
    if (size.width > 0 && size.height > 0)
        return size;
    // No size in the track header: the coded one.
    return { static_cast<float>(track.codedWidth), static_cast<float>(track.codedHeight) };
}

PixelSize naturalSizeOf(const MovieFacts& facts)
{
    bool anyEnabled = std::any_of(facts.tracks.begin(), facts.tracks.end(),
        [](const TrackFacts& track) { return isPictures(track) && track.isEnabled(); });
    PixelSize size;
    for (const TrackFacts& track : facts.tracks) {
        if (!isPictures(track) || (anyEnabled && !track.isEnabled()))
            continue;
        PixelSize own = sizeOf(track);
        size = { std::max(size.width, own.width), std::max(size.height, own.height) };
    }
    return size;
}

MovieTrack trackOf(const TrackFacts& facts)
{
    MovieTrack track { facts.isEnabled(), { facts.handler, facts.descriptionCodes } };
    if (track.media.sampleDescriptions.size() > MaxSampleDescriptions)
        track.media.sampleDescriptions.resize(MaxSampleDescriptions);
    return track;
}

} // namespace

bool beginsLikeIsoMedia(const ByteSource& file)
{
    StructureReader reader = StructureReader::borrowing(file);
    BoxWalker walker(reader, firstBoxOffset(reader), reader.size());
    auto first = walker.next();
    return first && contains(FirstBoxes, first->type);
}

Result<MovieDescription> describeIsoMedia(const ByteSource& file)
{
    StructureReader reader = StructureReader::borrowing(file);
    MV_TRY(facts, readMovieFacts(reader));
    MovieDescription description;
    for (const TrackFacts& track : facts.tracks) {
        description.tracks.push_back(trackOf(track));
        description.hasVideo |= isPictures(track);
        description.hasAudio |= track.handler == fourCC("soun");
    }
    description.duration = durationOf(facts);
    description.posterTime = timeIn(facts.posterTime, facts.timeScale);
    description.fullName = facts.title;
    description.creationTime = facts.creationDate;
    description.modificationTime = facts.modificationDate;
    description.naturalSize = naturalSizeOf(facts);
    return description;
}

} // namespace mv
