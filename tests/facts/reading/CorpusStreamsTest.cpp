// Streams and lengths, beside what ffprobe says of the files.
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

namespace mv::test {
namespace {

/// ffprobe's "key=value" lines of one section.
using Section = std::map<std::string, std::string>;

struct Probe {
    Section format;
    std::vector<Section> streams;

    const Section* first(const std::string& type) const
    {
        for (const Section& stream : streams) {
            bool isCover = stream.contains("DISPOSITION:attached_pic") && stream.at("DISPOSITION:attached_pic") == "1";
            if (stream.contains("codec_type") && stream.at("codec_type") == type && !isCover)
                return &stream;
        }
        return nullptr;
    }
};

Probe probed(const std::string& name)
{
    Probe probe;
    std::istringstream lines(
        outputOf("ffprobe -v quiet -show_format -show_streams " + corpusQuoted(name) + " || true"));
    std::string line;
    while (std::getline(lines, line)) {
        if (line == "[STREAM]")
            probe.streams.emplace_back();
        auto equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        bool isFormat = line.starts_with("format_name=") || !probe.format.empty();
        Section* section = isFormat || probe.streams.empty() ? &probe.format : &probe.streams.back();
        (*section)[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return probe;
}

std::string valueOf(const Section& section, const std::string& key)
{
    auto place = section.find(key);
    return place == section.end() || place->second == "N/A" ? std::string() : place->second;
}

/// ffprobe guesses lengths from sizes and bit rates where a header tells none; its packets tell the truth.
double secondsOfPackets(const std::string& name)
{
    std::istringstream lines(outputOf(
        "ffprobe -v quiet -select_streams a:0 -show_entries packet=duration_time -of csv=p=0 " + corpusQuoted(name)));
    double total = 0;
    std::string line;
    while (std::getline(lines, line))
        total += std::strtod(line.c_str(), nullptr);
    return total;
}

class Comparison {
public:
    void take(const std::string& name, const Facts& facts, const Probe& probe)
    {
        ++m_files;
        compareLength(name, facts, probe);
        if (const Section* sound = probe.first("audio")) {
            compare(name, "rate", textOf(facts, fact::SampleRate), valueOf(*sound, "sample_rate"));
            compare(name, "channels", textOf(facts, fact::Channels), valueOf(*sound, "channels"));
            compare(name, "codec", textOf(facts, fact::AudioCodec), valueOf(*sound, "codec_name"));
        }
        if (const Section* pictures = probe.first("video")) {
            compare(name, "video codec", textOf(facts, fact::VideoCodec), valueOf(*pictures, "codec_name"));
            compare(name, "width", textOf(facts, fact::Width), valueOf(*pictures, "width"));
            compare(name, "height", textOf(facts, fact::Height), valueOf(*pictures, "height"));
        }
    }

    int files() const { return m_files; }
    const std::set<std::string>& differing() const { return m_differing; }
    const std::vector<std::string>& differences() const { return m_differences; }

private:
    void differ(const std::string& name, const std::string& what)
    {
        m_differing.insert(name);
        m_differences.push_back(name + " " + what);
    }
    void compare(const std::string& name, const char* what, const std::string& ours, const std::string& theirs)
    {
        if (ours != theirs)
            differ(name, std::string(what) + ": " + ours + " in place of " + theirs);
    }
    void compareLength(const std::string& name, const Facts& facts, const Probe& probe)
    {
        std::string theirs = valueOf(probe.format, "duration");
        if (theirs.empty())
            return;
        constexpr double Tolerance = 0.05;
        double ours
            = static_cast<double>(facts.get<std::int64_t>(fact::Length) ? *facts.get<std::int64_t>(fact::Length) : 0)
            / 1e6;
        if (std::abs(ours - std::strtod(theirs.c_str(), nullptr)) <= Tolerance)
            return;
        if (std::abs(ours - secondsOfPackets(name)) > Tolerance)
            differ(name, "length: " + std::to_string(ours) + " in place of " + theirs);
    }

    int m_files = 0;
    std::set<std::string> m_differing;
    std::vector<std::string> m_differences;
};

/// What differs, and why.
const std::set<std::string> Explained {
    "mp3/100kB-garbage-prefix.mp3", // ffprobe takes the garbage for AMR
    "mp3/fixture-bad-offset-10.mp3", // two frames, and the table's, which ffprobe counts too
    "mp4/mp3.mp4", // the description says two channels, the frames one
};

bool isComparable(const std::string& name)
{
    // Pictures have no streams; of broken files ffprobe reads more or less of the damage.
    return !name.starts_with("image/") && !name.starts_with("bad/");
}

TEST(CorpusStreams, AreWhatFfprobeSays)
{
    MV_NEEDS_CORPUS();
    if (!haveProgram("ffprobe"))
        GTEST_SKIP() << "ffprobe is not here (ffmpeg)";
    Comparison comparison;
    for (const std::string& name : allCorpusFiles()) {
        auto facts = isComparable(name) ? describedCorpusFile(name) : Result<Facts>(Error {});
        Probe probe = facts ? probed(name) : Probe {};
        if (facts && !probe.streams.empty())
            comparison.take(name, *facts, probe);
    }
    for (const std::string& difference : comparison.differences())
        EXPECT_TRUE(Explained.contains(difference.substr(0, difference.find(' ')))) << difference;
    EXPECT_GT(comparison.files(), 150);
    EXPECT_LE(comparison.differing().size() * 100, static_cast<std::size_t>(comparison.files()) * 2);
}

} // namespace
} // namespace mv::test
