// The exporter on real files, judged by other programs.
#include "service/transcode/MP4ExporterImpl.h"

#include "Base/Media/MediaDB.h"
#include "service/parsers/MP4Parser.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

using testing::HasSubstr;

std::string shell(const std::string& text) { return mv::test::quoted(text); }

class RecordingDelegate final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        return percents.size() < refuseAt;
    }
    std::vector<std::int32_t> percents;
    std::size_t refuseAt = SIZE_MAX; // the call that is answered with NO
};

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
    static std::string probe(const std::string& path, const std::string& what)
    {
        std::string text = outputOf("ffprobe -v error -show_entries " + what + " -of csv=p=0 " + shell(path));
        while (!text.empty() && text.back() == '\n')
            text.pop_back();
        return text;
    }
    static std::string hashes(const std::string& path, const std::string& options = "")
    {
        return outputOf(
            "ffmpeg -v error -i " + shell(path) + " " + options + " -map 0:v? -map 0:a? -c copy -f streamhash - ");
    }
    std::vector<std::string> folder() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_scratch.path()))
            names.push_back(entry.path().filename());
        return names;
    }

    ScratchFolder m_scratch;
    LogCapture m_log;
    MP4ExporterImpl m_exporter;
    RecordingDelegate m_delegate;
};

TEST_F(MP4ExporterRealTest, ConvertsWav)
{
    std::string source = tone("a.wav", "3");
    std::string target = m_scratch.file("b.m4a");
    EXPECT_EQ(m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(&m_delegate, source, target, 96000), 0);
    EXPECT_EQ(probe(target, "stream=codec_name,sample_rate,channels,duration_ts"), "aac,44100,1,132300");
    EXPECT_EQ(m_delegate.percents.back(), 100);
}

TEST_F(MP4ExporterRealTest, ExportsPicturesAndSound)
{
    std::string source
        = make("a.mov", "-f lavfi -i testsrc=d=2:s=160x120:r=25 -f lavfi -i sine=d=2 -c:v libx264 -g 10 -c:a aac");
    std::string target = m_scratch.file("b.mp4");
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(&m_delegate, source, target), 0);
    EXPECT_EQ(hashes(source), hashes(target));
    EXPECT_EQ(
        outputOf("ffprobe -v error -show_entries format_tags=major_brand -of csv=p=0 " + shell(target)), "mp42\n");
    EXPECT_EQ(m_delegate.percents.front(), 1);
    EXPECT_EQ(m_delegate.percents.back(), 100);
}

TEST_F(MP4ExporterRealTest, FindsAlac)
{
    EXPECT_TRUE(m_exporter.isAlacAudio(tone("a.m4a", "1", "-c:a alac")));
    EXPECT_FALSE(m_exporter.isAlacAudio(tone("b.m4a", "1", "-c:a aac")));
    EXPECT_FALSE(m_exporter.isAlacAudio(tone("c.wav", "1")));
    EXPECT_FALSE(m_exporter.isAlacAudio(m_scratch.file("none")));
}

} // namespace
} // namespace mv::test
