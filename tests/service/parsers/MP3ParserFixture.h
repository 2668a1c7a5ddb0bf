#pragma once

#include "Base/Media/MediaDB.h"
#include "service/parsers/MP3Parser.h"
#include "tests/fakes/FakeQTKit.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <vector>

namespace mv::test {

/// A text frame of a v2.3 tag, in Latin-1.
inline std::string frame3(std::string_view id, const std::string& content) { return id3Frame(3, id, '\0' + content); }

class MP3ParserTest : public testing::Test {
protected:
    std::optional<Record> buildOf(const std::string& content, const std::string& name = "song.mp3")
    {
        return m_parser.build(OpenedFile::at(m_scratch.write(name, content)));
    }
    /// Of a file with these frames in a v2.3 tag.
    Record recordOf(const std::string& frames)
    {
        return buildOf(id3Tag(3, frames) + mpegFrames(10)).value_or(Record {});
    }

    std::string stringOf(const std::string& frames, std::string_view key)
    {
        Record record = recordOf(frames);
        const std::string* value = record.string(key);
        return value ? *value : "(absent)";
    }

    ScratchFolder m_scratch;
    LogCapture m_log;
    FakeQTKit m_toolkit;
    MP3Parser m_parser { m_toolkit };
};

} // namespace mv::test
