#include "tests/integration/PathKinds.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/Places.h"
#include "tests/support/WaveMaker.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <thread>

// What each service answers and logs for each kind of path, and what is there afterwards. The table is
// tests/data/paths/answers.txt; MIVO_WRITE_PATH_ANSWERS=FILE in the environment writes what the service does today.

namespace mv {
namespace {

using test::Answer;
using test::BusClient;
using test::PathKinds;

Bytes song()
{
    std::string sound
        = test::id3Tag(3, test::id3Frame(3, "TIT2", std::string(1, '\0') + "Tone")) + test::mpegFrames(40);
    return Bytes(sound.begin(), sound.end());
}

Bytes wave()
{
    test::WaveMaker maker;
    maker.format(1, 2, 44100, 16).sound(44100);
    return Bytes(maker.bytes().begin(), maker.bytes().end());
}

/// 2 x 2 pixels, 24 bits.
Bytes picture()
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.text("BM");
    for (std::uint32_t field : { 70u, 0u, 54u, 40u, 2u, 2u, 0x00180001u, 0u, 16u, 0u, 0u, 0u, 0u })
        out.u32le(field);
    bytes.resize(70, 0x55);
    return bytes;
}

Bytes movie()
{
    test::Mp4Spec spec;
    spec.items = test::textItem("\xA9nam", "Tone");
    return test::makeMp4(spec).bytes;
}

std::string toldOf(const Answer& answer, const std::function<std::string(WireReader)>& value)
{
    return answer.ok() ? value(answer.reader()) : answer.error + ": " + answer.text;
}

std::string recordText(WireReader reader)
{
    auto record = reader.optionalRecord();
    if (!record)
        return "nil";
    const Value* size = record->find(MediaDBCommonColumnFileSize);
    return "a record of " + std::to_string(record->size())
        + (size ? ", file size " + std::to_string(*size->integerValue()) : "");
}

std::string flagText(WireReader reader) { return reader.boolean() ? "true" : "false"; }
std::string numberText(WireReader reader) { return std::to_string(reader.integer()); }
std::string objectText(WireReader reader) { return reader.objectPath() == "/" ? "nil" : "an object"; }

struct Operation {
    const char* name;
    const char* service;
    const char* interface;
    const char* member;
    const char* extension;
    Bytes (*content)();
    std::string (*value)(WireReader);
    /// Adds the arguments; `other` is a good path for what the table does not vary.
    std::function<void(WireWriter&, const std::string& path, const std::string& other)> arguments;
    Bytes (*otherContent)() = nullptr; ///< null: the other path is an output
};

void justPath(WireWriter& out, const std::string& path, const std::string&) { out.string(path); }

void newTitle(WireWriter& out, const std::string& path, std::int32_t mediaType)
{
    out.string(path).record({ { MediaDBCommonColumnMediaType, mediaType }, { MediaDBMusicColumnTitle, "New" } });
}

constexpr const char* Info = "Mivo.MVMediaInfoBuilder";
constexpr const char* Exporter = "MivoMP4Exporter_1._3._0._12062";
constexpr const char* ExporterBase = "Mivo.MVMP4ExporterBase";
constexpr const char* Tags = "MivoMediaTagUpdater_1._3._0._12062";
constexpr const char* TagBase = "Mivo.MVMediaTagBase";
constexpr const char* Encoder = "MivoMp3Encoder_1._3._0._12062";

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> kOperations {
        { "movie", "MivoAVParser_1._3._0._12062", Info, "build", ".m4a", movie, recordText, justPath },
        { "mp3", "MivoMP3Parser_1._3._0._12062", Info, "build", ".mp3", song, recordText, justPath },
        { "mp4", "MivoMP4Parser_1._3._0._12062", Info, "build", ".m4a", movie, recordText, justPath },
        { "audio", "MivoBasicAudioParser_1._3._0._12062", Info, "build", ".ogg", wave, recordText, justPath },
        { "image", "MivoImageParser_1._3._0._12062", Info, "build", ".bmp", picture, recordText, justPath },
        { "thumbnail", "MivoImageParser_1._3._0._12062", "Mivo.MVImageInfoBuilder", "makeThumbnailWithMaxSize", ".bmp",
            picture, recordText,
            [](WireWriter& out, const std::string& path, const std::string&) { out.string(path).realPair(8, 8); } },
        { "exif", "MivoExifExtractor_1._3._0._12062", "Mivo.MVExifExtractorBase", "extractExif", ".jpg", picture,
            objectText, justPath },
        { "podcast", Tags, TagBase, "podcastInfo", ".mp3", song, recordText, justPath },
        { "update-mp3", Tags, TagBase, "updateTagWithDictionary", ".mp3", song, flagText,
            [](WireWriter& out, const std::string& path, const std::string&) { newTitle(out, path, MVMediaTypeMP3); } },
        { "update-m4a", Tags, TagBase, "updateTagWithDictionary", ".m4a", movie, flagText,
            [](WireWriter& out, const std::string& path, const std::string&) { newTitle(out, path, MVMediaTypeM4A); } },
        { "alac", Exporter, ExporterBase, "isAlacAudio", ".m4a", movie, flagText, justPath },
        { "convert-from", Exporter, ExporterBase, "convertToAacWithDelegateFromPathToMp4PathBitrate", ".wav", wave,
            numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(path).string(other).integer(128000);
            } },
        { "convert-to", Exporter, ExporterBase, "convertToAacWithDelegateFromPathToMp4PathBitrate", ".wav", wave,
            numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(other).string(path).integer(128000);
            },
            wave },
        { "export-from", Exporter, ExporterBase, "exportWithDelegateFromPathToMp4Path", ".wav", wave, numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(path).string(other);
            } },
        { "export-to", Exporter, ExporterBase, "exportWithDelegateFromPathToMp4Path", ".mp3", song, numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(other).string(path);
            },
            song },
        { "encode-from", Encoder, "Mivo.MVAudioEncoderBase", "encodeFileOutputFile", ".wav", wave, flagText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.string(path).string(other);
            } },
        { "encode-to", Encoder, "Mivo.MVAudioEncoderBase", "encodeFileOutputFile", ".wav", wave, flagText,
            [](WireWriter& out, const std::string& path, const std::string& other) { out.string(other).string(path); },
            wave },
    };
    return kOperations;
}

/// The texts of the log lines, without date, process, thread and the line of an assertion.
std::vector<std::string> logTexts(const std::string& log)
{
    std::vector<std::string> texts;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        std::size_t end = line.find("] ");
        std::string text = end == std::string::npos ? line : line.substr(end + 2);
        texts.push_back(std::regex_replace(text, std::regex("\\.cpp:[0-9]+$"), ".cpp"));
    }
    return texts;
}

/// A program that runs the service without root's power to pass over a file's mode, which a user's service lacks.
std::string serviceOfAUser(const test::ScratchFolder& folder)
{
    std::string program = folder.write("mivo-mediad-of-a-user",
        std::string("#!/bin/sh\n[ \"$(id -u)\" -ne 0 ] || lowered='setpriv --bounding-set "
                    "-dac_override,-dac_read_search'\nexec $lowered "
            + test::buildPath("bin/mivo-mediad") + "\n"));
    chmod(program.c_str(), 0700);
    return program;
}

struct ProgramFolder {
    test::ScratchFolder m_programs;
};

class PathKindsTest : private ProgramFolder, public test::RunningService {
protected:
    PathKindsTest()
        : RunningService(serviceOfAUser(m_programs))
    {
    }

    std::string row(const Operation& operation, const PathKinds& paths, std::string_view kind)
    {
        test::ScratchFolder others;
        std::string other = operation.otherContent
            ? others.write("other" + std::string(operation.extension), operation.otherContent())
            : others.file("other.out");
        std::size_t logged = m_service.log().size();
        Answer answer = m_client.call(operation.service, "/", operation.interface, operation.member,
            [&](WireWriter& out) { operation.arguments(out, paths.path(kind), other); });
        std::string text
            = std::string(operation.name) + " " + std::string(kind) + ": " + toldOf(answer, operation.value);
        for (const std::string& line : logTexts(m_service.log().substr(logged)))
            text += "; logs \"" + line + "\"";
        text += "; leaves " + paths.leftAt(kind);
        if (!operation.otherContent && test::run("test -e " + test::quoted(other)) == 0)
            text += "; makes its output";
        for (const std::string& stranger : paths.strangers())
            text += "; beside it " + stranger;
        return paths.withoutFolder(text);
    }
};

std::vector<std::string> linesOf(const std::string& file)
{
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.front() != '#')
            lines.push_back(line);
    }
    return lines;
}

TEST_F(PathKindsTest, EachServiceAnswersEachKindOfPath)
{
    std::vector<std::string> rows;
    for (const Operation& operation : operations()) {
        PathKinds paths(operation.content(), operation.extension);
        for (std::string_view kind : test::kPathKinds)
            rows.push_back(row(operation, paths, kind));
    }
    if (const char* file = std::getenv("MIVO_WRITE_PATH_ANSWERS")) {
        std::ofstream out(file);
        for (const std::string& text : rows)
            out << text << '\n';
    }
    EXPECT_EQ(rows, linesOf(test::sourcePath("tests/data/paths/answers.txt")));
}

TEST_F(PathKindsTest, AGrowingSongIsDescribedAtEveryMoment)
{
    test::ScratchFolder folder;
    Bytes content = song();
    std::string path = folder.write("growing.mp3", content);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        std::ofstream out(path, std::ios::app | std::ios::binary);
        std::string frames = test::mpegFrames(7);
        constexpr int MostWrites = 20'000;
        for (int i = 0; i < MostWrites && !done; ++i)
            out << frames << std::flush;
    });
    std::int32_t before = static_cast<std::int32_t>(content.size());
    for (int i = 0; i < 50; ++i) {
        auto record = m_client.build("MivoMP3Parser_1._3._0._12062", path);
        ASSERT_TRUE(record && *record);
        ASSERT_TRUE((*record)->integer(MediaDBMusicColumnPlayLength).has_value());
        std::int32_t size = *(*record)->integer(MediaDBCommonColumnFileSize);
        EXPECT_GE(size, before);
        before = size;
    }
    done = true;
    writer.join();
}

} // namespace
} // namespace mv
