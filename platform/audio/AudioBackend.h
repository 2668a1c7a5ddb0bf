#pragma once

namespace mv {

/// What platform/audio needs done by FFmpeg.
class AudioBackend {
public:
    virtual ~AudioBackend() = default;
};

} // namespace mv
