#pragma once

#include "Base/Core/NSException.h"
#include "tests/service/transcode/DebugGate.h"
#include "tests/service/transcode/EncoderFakes.h"

#include <cmath>
#include <gmock/gmock.h>

namespace mv::test {

/// An encoder on a watched library, a make-believe decoder and a file that may fail.
class MP3EncoderTest : public testing::Test {
protected:
    MP3EncoderParts parts()
    {
        return { &library, [this] { return makeDecoder(); } };
    }
    std::unique_ptr<MVAudioDecoder> makeDecoder()
    {
        if (noDecoder)
            return nullptr;
        auto decoder = std::make_unique<FakeDecoder>(frames, prepares);
        decoder->announced().framecount = announced.value_or(frames);
        decoder->announced().samplerate = rate;
        decoder->announced().channels = channels;
        decoder->atEnd = atEnd;
        return decoder;
    }
    bool encode(const Record& attributes = {})
    {
        MP3Encoder encoder(encodingOfParts(parts()));
        encoder.setAttributes(attributes);
        encoder.setDelegate(delegate);
        return encodeFrom(encoder, input, output);
    }
    bool encodeFrom(MP3Encoder& encoder, const Path& from, const Path& to) const
    {
        return encoder.encodeFileOutputFile(OpenedFile::at(from), std::make_shared<FaultyPlace>(to, faults));
    }
    bool outputExists() { return NSFileExists(output); }
    static bool NSFileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }
    /// Runs a job that is to fail; the code that the delegate was told, after checking what comes with a failure.
    std::int32_t failingCode()
    {
        EXPECT_FALSE(encode());
        std::string prefix = "fail MVAudioEncoderErrorDomain ";
        auto messages = delegate->withoutProgress();
        if (messages.empty() || messages.back().rfind(prefix, 0) != 0)
            return 0;
        return std::stoi(messages.back().substr(prefix.size()));
    }

    WatchedLibrary library;
    std::int64_t frames = 1152 * 10;
    std::optional<std::int64_t> announced;
    std::int32_t rate = 44100;
    std::int32_t channels = 2;
    std::int32_t atEnd = 0;
    bool noDecoder = false;
    bool prepares = true;
    OutputFaults faults;
    ScratchFolder scratch;
    std::string input = scratch.write("in.wav", "");
    std::string output = scratch.file("out.mp3");
    std::shared_ptr<WatchedDelegate> delegate = std::make_shared<WatchedDelegate>();
};

inline std::string encodeLine(const std::string& message)
{
    return "[MP3Encoder.cpp:-[MP3Encoder encodeFile:outputFile:]-(N)] " + message;
}

} // namespace mv::test
