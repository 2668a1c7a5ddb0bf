#pragma once

#include "Base/Core/Date.h"
#include "movies/MovieTypes.h"
#include "platform/NSImage.h"
#include "platform/QTTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mv {

using OSType = FourCC;
using NSSize = PixelSize;
using QTMedia = TrackMedia;
using QTTrack = MovieTrack;

// What attributeForKey is asked for, and the kind of its answer.
inline constexpr std::string_view QTMovieHasAudioAttribute = "QTMovieHasAudioAttribute"; ///< bool
inline constexpr std::string_view QTMovieHasVideoAttribute = "QTMovieHasVideoAttribute"; ///< bool
inline constexpr std::string_view QTMovieDisplayNameAttribute = "QTMovieDisplayNameAttribute"; ///< std::string
inline constexpr std::string_view QTMovieCreationTimeAttribute = "QTMovieCreationTimeAttribute"; ///< Date
inline constexpr std::string_view QTMovieModificationTimeAttribute = "QTMovieModificationTimeAttribute"; ///< Date
inline constexpr std::string_view QTMovieNaturalSizeAttribute = "QTMovieNaturalSizeAttribute"; ///< NSSize
inline constexpr std::string_view QTMovieRateAttribute = "QTMovieRateAttribute"; ///< float

inline std::size_t GetMediaSampleDescriptionCount(const QTMedia& media) { return media.sampleDescriptions.size(); }
/// The data format code of description `index`, counted from 1; nothing when there is none.
inline std::optional<OSType> GetMediaSampleDescription(const QTMedia& media, std::size_t index)
{
    if (index < 1 || index > media.sampleDescriptions.size())
        return std::nullopt;
    return media.sampleDescriptions[index - 1];
}

/// An opened movie; QTKit::initWithFile makes them. Used on one thread at a time, on any thread.
class QTMovie {
public:
    using Attribute = std::variant<std::monostate, bool, float, std::string, Date, NSSize>;

    virtual ~QTMovie() = default;

    /// The attribute, of the kind named beside its key; std::monostate when the movie has none.
    virtual Attribute attributeForKey(std::string_view key) const = 0;
    /// The duration in the movie's own scale; scale 0 when it is not known.
    virtual QTTime duration() const = 0;
    virtual std::vector<QTTrack> tracks() const = 0;
    /// The picture that is shown at `time`, turned as the movie is turned, of the movie's natural size; nothing at
    /// or past the end, and where no frame can be decoded. The picture keeps the frame, not the movie.
    virtual std::optional<NSImage> frameImageAtTime(QTTime time) = 0;
    /// The same of a frame before `time` that is fast to be had; the one at `time` where the movie knows no better.
    virtual std::optional<NSImage> quickImageBeforeTime(QTTime time) { return frameImageAtTime(time); }
    /// The first frame that can be decoded; nothing when there is none.
    virtual std::optional<NSImage> posterImage() = 0;
    /// The cover that the file carries beside its tracks; nothing when there is none, or none that is a picture.
    virtual std::optional<NSImage> attachedImage() { return std::nullopt; }

    /// The attribute when it is of kind T.
    template <class T> std::optional<T> attribute(std::string_view key) const
    {
        Attribute value = attributeForKey(key);
        if (auto* found = std::get_if<T>(&value))
            return std::move(*found);
        return std::nullopt;
    }
};

} // namespace mv
