#pragma once

#include "Base/Core/Result.h"
#include "movies/MediaStreams.h"
#include "movies/MovieDescription.h"
#include "pictures/ImageRep.h"
#include "system/ByteSource.h"
#include "system/OutputFile.h"

#include <chrono>
#include <functional>
#include <memory>

namespace mv {

/// What an exporter makes of a movie.
struct MovieExportSettings {
    FourCC brand = 0; ///< of the file
    bool passVideoThrough = false;
    bool passSoundThrough = false;
    bool hinted = false; ///< RTP hint tracks
    std::uint32_t packetSize = 0; ///< most bytes of a hinted packet
};

/// From opening a file to the end of the work on it, where the work is to describe it.
inline constexpr std::chrono::milliseconds DefaultDeadline { 20'000 };

/// A movie opened by the backend. Used on one thread at a time.
class BackendMovie {
public:
    using Picture = Result<std::shared_ptr<ImageRep>>;

    virtual ~BackendMovie() = default;
    virtual const MovieDescription& description() const = 0;
    /// The frame shown at `time`, counted from the movie's start, turned as the movie is turned; it has `size` (0 x 0:
    /// the frame's own). The last frame behind the end of the pictures.
    virtual Picture frameAt(MovieTime time, PixelSize size) = 0;
    /// A frame before `time` that can be had without decoding others, as near as the container knows one.
    virtual Picture keyFrameBefore(MovieTime time, PixelSize size) { return frameAt(time, size); }
    /// The first frame that decodes.
    virtual Picture firstFrame(PixelSize size) = 0;
    /// The cover that the container carries, as it is encoded; NotFound where there is none.
    virtual Result<Bytes> attachedPicture() { return Error { Error::Kind::NotFound, "no picture is attached" }; }
};

/// What movies need done by FFmpeg. This class itself stands in when FFmpeg is missing: it opens nothing.
/// Safe on several threads at once.
class MovieBackend {
public:
    virtual ~MovieBackend() = default;

    /// Whether the content is of a container that open() takes; reads the beginning only.
    virtual bool recognises(const SharedSource&) { return false; }
    /// `deadline` bounds all work on the movie, from now to the last frame.
    virtual Result<std::unique_ptr<BackendMovie>> open(SharedSource, std::chrono::milliseconds /*deadline*/)
    {
        return Error { Error::Kind::Unsupported, "the media module is missing" };
    }
    /// What the file's headers tell of its streams, and its first packets where those do not. `withCovers` copies the
    /// covers' bytes.
    virtual Result<MediaStreams> describeStreams(
        SharedSource, std::chrono::milliseconds /*deadline*/, bool /*withCovers*/)
    {
        return Error { Error::Kind::Unsupported, "the media module is missing" };
    }
    /// Whether the data format can be decoded.
    virtual bool hasVideoDecoder(FourCC) { return false; }
    virtual bool hasAudioDecoder(FourCC) { return false; }
    /// Whether the data format is plain PCM, which needs no decompressor.
    virtual bool isUncompressedAudio(FourCC) { return false; }

    /// Part of the movie that is done, 0 to 1; false cancels.
    using Progress = std::function<bool(double done)>;
    /// Writes the pictures and sounds of a movie, as they are, into an MPEG-4 file that the caller names afterwards.
    /// Unsupported for streams that such a file cannot hold; Cancelled; Format for a movie that ends too early.
    virtual Result<void> passThrough(
        SharedSource /*source*/, OutputFile& /*target*/, const MovieExportSettings&, const Progress&)
    {
        return Error { Error::Kind::Unsupported, "the media module is missing" };
    }
};

/// The backend of this process. Which one that is, the program chooses when it is linked (see ffmpeg/MediaBackend.h).
MovieBackend& installedMovieBackend();

} // namespace mv
