#pragma once

#include "platform/ExtAudioFile.h"

#include "Base/Core/Bytes.h"

#include <string>

namespace mv::test {

/// A file read to its end through the extended audio file functions, in its default client format or another one.
struct DecodedFile {
    OSStatus opened = noErr;
    OSStatus ended = noErr;
    AudioStreamBasicDescription file;
    AudioStreamBasicDescription client;
    std::int64_t announced = 0;
    std::int64_t delivered = 0;
    Bytes samples;

    explicit DecodedFile(const std::string& path, const AudioStreamBasicDescription* wanted = nullptr);
};

} // namespace mv::test
