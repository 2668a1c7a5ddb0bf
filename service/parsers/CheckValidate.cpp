#include "service/parsers/CheckValidate.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>

namespace mv {

namespace {

bool hasImageDecoder(QTKit& toolkit, OSType format) { return toolkit.findNextComponent({ fourCC("imdc"), format }); }

bool hasSoundDecoder(QTKit& toolkit, OSType format)
{
    return toolkit.findNextComponent({ fourCC("sdec"), format })
        || toolkit.findNextComponent({ fourCC("adec"), format });
}

/// True when every sample description of the media passes. Deliberate: description 1 is asked for each time, whatever
/// the others hold.
template <class Test> bool everyDescription(const QTMedia& media, Test test)
{
    for (std::size_t i = 1; i <= GetMediaSampleDescriptionCount(media); ++i) {
        if (!test(GetMediaSampleDescription(media, 1).value_or(0)))
            return false;
    }
    return true;
}

bool isPlayable(const QTMedia& media, QTKit& toolkit)
{
    if (media.type == fourCC("vide"))
        return everyDescription(media, [&](OSType format) { return hasImageDecoder(toolkit, format); });
    if (media.type == fourCC("soun"))
        return everyDescription(media, [&](OSType format) { return hasSoundDecoder(toolkit, format); });
    return toolkit.findNextComponent({ fourCC("mhlr"), media.type });
}

} // namespace

bool isAlacAudio(const QTMovie& movie)
{
    bool result = false;
    for (const QTTrack& track : movie.tracks()) {
        if (!track.isEnabled || track.media.type != fourCC("soun"))
            continue;
        // Deliberate, as in everyDescription: only description 1 counts.
        if (auto format = GetMediaSampleDescription(track.media, 1); format == fourCC("alac"))
            result = true;
    }
    return result;
}

bool validateMedia(const QTMovie& movie, QTKit& toolkit)
{
    std::vector<QTTrack> tracks = movie.tracks();
    return std::all_of(tracks.begin(), tracks.end(),
        [&](const QTTrack& track) { return !track.isEnabled || isPlayable(track.media, toolkit); });
}

} // namespace mv
