#pragma once

#include "service/transcode/MP4ExporterImpl.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/MediaDB.h"
#include "service/parsers/MP4Parser.h"
#include "tests/support/BoxTree.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace mv::test {

inline std::string shell(const std::string& text) { return mv::test::shellQuoted(text); }

/// Notes percents, and refuses one or does something where it is told.
class RecordingDelegate final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        if (percent >= 10 && whenUnderWay)
            std::exchange(whenUnderWay, nullptr)();
        return percents.size() < refuseAt;
    }
    std::function<void()> whenUnderWay;
    std::vector<std::int32_t> percents;
    std::size_t refuseAt = SIZE_MAX; // the call that is answered with NO
};

/// The exporter on real files, made and judged by other programs.
class MP4ExporterRealTest : public testing::Test {
protected:
    std::string make(const std::string& name, const std::string& options)
    {
        std::string path = m_scratch.file(name);
        outputOf("ffmpeg -v error " + options + " -fflags +bitexact -y " + shell(path));
        return path;
    }
    std::string tone(const std::string& name, const std::string& seconds, const std::string& options = "")
    {
        return make(name, "-f lavfi -i sine=440:d=" + seconds + ":r=44100 " + options);
    }
    std::string movie(const std::string& name, const std::string& options)
    {
        return make(name, "-f lavfi -i testsrc=d=2:s=160x120:r=25 -f lavfi -i sine=d=2:r=44100 " + options);
    }
    static std::string probe(const std::string& path, const std::string& what)
    {
        std::string text = outputOf("ffprobe -v error -show_entries " + what + " -of csv=p=0 " + shell(path));
        while (!text.empty() && text.back() == '\n')
            text.pop_back();
        return text;
    }
    // One line for each stream: its kind and the hash of its packets.
    static std::string hashes(const std::string& path)
    {
        return outputOf("ffmpeg -v error -i " + shell(path) + " -map 0:V? -map 0:a? -c copy -f streamhash -");
    }
    static std::string pictures(const std::string& path)
    {
        return outputOf("ffmpeg -v error -i " + shell(path) + " -map 0:V -vsync passthrough -f rawvideo - | md5sum");
    }
    static std::string pcmHash(const std::string& path)
    {
        return outputOf("ffmpeg -v error -i " + shell(path) + " -f s16le - | md5sum");
    }
    std::int32_t convert(const std::string& source, const std::string& target, std::int32_t bitrate = 128000)
    {
        return m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
            &m_delegate, OpenedFile::at(source), OutputPlace::at(target), bitrate);
    }
    std::int32_t exportMovie(const std::string& source, const std::string& target)
    {
        return m_exporter.exportWithDelegateFromPathToMp4Path(
            &m_delegate, OpenedFile::at(source), OutputPlace::at(target));
    }
    bool isAlac(const std::string& path) { return m_exporter.isAlacAudio(OpenedFile::at(path)); }
    static std::vector<std::string> filesIn(const std::string& folder)
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename());
        return names;
    }

    ScratchFolder m_scratch;
    LogCapture m_log;
    MP4ExporterImpl m_exporter;
    RecordingDelegate m_delegate;
    std::string m_target = m_scratch.file("out.m4a");
};

} // namespace mv::test
