// Every code that the encoder and the exporter can give has its sentence, and no sentence is about a code that nobody
// gives. What can be given is read from the sources: the constants that their headers name and their code uses.
#include "client/ResultCodes.h"
#include "tests/support/Places.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <set>

namespace mv::cli {
namespace {

namespace fs = std::filesystem;

/// Without comments, which name codes that nobody gives.
std::string sourceText(const fs::path& path)
{
    std::ifstream file(path);
    std::string text;
    for (std::string line; std::getline(file, line);)
        text += line.substr(0, line.find("//")) + "\n";
    return text;
}

/// The sources of the layers that jobs run in, one text.
const std::string& jobSources()
{
    static const std::string text = [] {
        std::string all;
        for (const char* folder : { "Base", "system", "audio", "movies", "ffmpeg", "platform", "service" }) {
            for (const auto& entry : fs::recursive_directory_iterator(test::sourcePath(folder))) {
                if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
                    all += sourceText(entry.path());
            }
        }
        return all;
    }();
    return text;
}

struct Constant {
    std::string name;
    std::int32_t code;
};

/// "inline constexpr TYPE NAME = NUMBER;" for names that begin like `beginning`.
std::vector<Constant> constants(const std::string& type, const std::string& beginning)
{
    std::regex declaration("inline constexpr " + type + " (" + beginning + "\\w*) = (-?(0x)?[0-9A-Fa-f]+);");
    std::vector<Constant> found;
    const std::string& text = jobSources();
    for (std::sregex_iterator at(text.begin(), text.end(), declaration); at != std::sregex_iterator(); ++at)
        found.push_back({ (*at)[1], static_cast<std::int32_t>(std::strtoll((*at)[2].str().c_str(), nullptr, 0)) });
    return found;
}

/// True when something besides the declaration names it.
bool isGiven(const Constant& constant)
{
    const std::string& text = jobSources();
    auto isPartOfAName = [](char one) { return std::isalnum(static_cast<unsigned char>(one)) || one == '_'; };
    int count = 0;
    for (auto at = text.find(constant.name); at != std::string::npos; at = text.find(constant.name, at + 1))
        count += !isPartOfAName(text[at - 1]) && !isPartOfAName(text[at + constant.name.size()]);
    return count > 1;
}

std::set<std::int32_t> codesOf(std::span<const ResultCode> rows)
{
    std::set<std::int32_t> codes;
    for (const ResultCode& row : rows)
        codes.insert(row.code);
    EXPECT_EQ(codes.size(), rows.size()) << "a code has two sentences";
    return codes;
}

TEST(ResultCodes, EveryCodeOfTheEncoderHasItsSentence)
{
    std::set<std::int32_t> given;
    for (const Constant& constant : constants("std::int32_t", "MVAudioEncoderError")) {
        if (isGiven(constant))
            given.insert(constant.code);
    }
    EXPECT_GE(given.size(), 7u);
    EXPECT_EQ(codesOf(encoderCodes()), given);
}

TEST(ResultCodes, EveryCodeOfTheExporterHasItsSentence)
{
    // Success, and what Launch Services give, which no job calls.
    const std::set<std::string> kNotOfJobs { "noErr", "kLSNoExecutableErr" };
    // What a conversion gives that was cancelled.
    std::set<std::int32_t> given { -1 };
    for (const Constant& constant : constants("OSStatus", "")) {
        if (!kNotOfJobs.contains(constant.name) && isGiven(constant))
            given.insert(constant.code);
    }
    EXPECT_GE(given.size(), 15u);
    EXPECT_EQ(codesOf(exporterCodes()), given);
}

TEST(ResultCodes, AreSentencesWithTheCode)
{
    EXPECT_EQ(sentenceForCode(encoderCodes(), 1), "the input is no audio file that can be decoded (code 1)");
    EXPECT_EQ(sentenceForCode(encoderCodes(), 6), "the output cannot be written; is the disk full? (code 6)");
    EXPECT_EQ(sentenceForCode(encoderCodes(), 99), "the job failed (code 99)");
    EXPECT_EQ(sentenceForCode(exporterCodes(), -43), "there is no such file or folder (code -43)");
    EXPECT_EQ(sentenceForCode(exporterCodes(), -2089),
        "the input holds what an MPEG-4 file cannot; nothing is encoded anew (code -2089)");
    EXPECT_EQ(sentenceForCode(exporterCodes(), 0x7479703f), "the input is of no known type (code 'typ?')");
    EXPECT_EQ(sentenceForCode(exporterCodes(), -12345), "the job failed (code -12345)");
}

} // namespace
} // namespace mv::cli
