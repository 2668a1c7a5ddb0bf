#pragma once

#include "Base/Core/Path.h"
#include "Base/Core/Result.h"
#include "platform/graphics/NSImage.h"
#include "platform/movie/MovieFacts.h"
#include "platform/system/InputFile.h"

#include <chrono>
#include <memory>

namespace mv {

/// A movie opened by the backend.
class BackendMovie {
public:
    virtual ~BackendMovie() = default;
    virtual const MovieFacts& facts() const = 0;
    /// The frame shown at `time` as a picture of `size`, turned; an error at or past the end.
    virtual Result<std::shared_ptr<NSImageRep>> frameAt(QTTime time, NSSize size) = 0;
    /// The first frame that decodes.
    virtual Result<std::shared_ptr<NSImageRep>> firstFrame(NSSize size) = 0;
};

/// What platform/movie needs done by FFmpeg. This class itself stands in when FFmpeg is missing: it opens nothing.
class MovieBackend {
public:
    virtual ~MovieBackend() = default;

    /// Whether the content is of a container that open() takes; reads the beginning only.
    virtual bool recognises(InputFile) { return false; }
    /// `deadline` bounds the work on the movie, from now to the last frame.
    virtual Result<std::unique_ptr<BackendMovie>> open(InputFile, std::chrono::milliseconds deadline)
    {
        static_cast<void>(deadline);
        return Error { Error::Kind::Unsupported, "the media module is missing" };
    }
    /// Whether the data format has a decoder; `compressedOnly` leaves out plain PCM.
    virtual bool hasVideoDecoder(OSType) { return false; }
    virtual bool hasAudioDecoder(OSType, bool compressedOnly)
    {
        static_cast<void>(compressedOnly);
        return false;
    }
};

} // namespace mv
