#include "tests/soak/Jobs.h"

#include "tests/support/Corpus.h"
#include "tests/support/EncoderDelegate.h"

#include <cstdio>

namespace mv::test {

namespace {

constexpr const char* Encoder = "MivoMp3Encoder_1._3._0._12062";
constexpr const char* Exporter = "MivoMP4Exporter_1._3._0._12062";
constexpr const char* Updater = "MivoMediaTagUpdater_1._3._0._12062";
constexpr const char* Image = "MivoImageParser_1._3._0._12062";
constexpr const char* Exif = "MivoExifExtractor_1._3._0._12062";

int answerNothing(sd_bus_message* message, void*, sd_bus_error*) { return sd_bus_reply_method_return(message, ""); }
int answerNo(sd_bus_message* message, void*, sd_bus_error*) { return sd_bus_reply_method_return(message, "b", 0); }
/// Cancels one job in about five.
int answerMostlyYes(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    auto& random = *static_cast<std::mt19937_64*>(userdata);
    return sd_bus_reply_method_return(message, "b", random() % 100 != 0);
}

constexpr const auto& EncoderDelegate
    = EncoderDelegateMembers<answerNothing, answerNo, answerNothing, answerNothing, answerNothing>;

constexpr sd_bus_vtable ExporterDelegate[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("MP4ExporterProgress", "i", "b", answerMostlyYes, 0),
    SD_BUS_VTABLE_END,
};

std::vector<std::string> pathsOf(const char* folder)
{
    std::vector<std::string> paths = corpusFiles(folder);
    for (std::string& path : paths)
        path = corpusFile(path);
    return paths;
}

} // namespace

SoakFiles SoakFiles::ofCorpus()
{
    return { pathsOf("mp3"), pathsOf("mp4"), pathsOf("video"), pathsOf("image"), pathsOf("audio"), pathsOf("bad") };
}

SoakClient::SoakClient(const SoakFiles& files, std::uint64_t seed)
    : m_files(files)
    , m_random(seed)
{
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(m_client.bus(), &slot, "/e", "Mivo.MVAudioEncoderDelegate", EncoderDelegate, nullptr);
    m_encoderDelegate.reset(slot);
    sd_bus_add_object_vtable(m_client.bus(), &slot, "/x", "Mivo.MVMP4ExporterDelegate", ExporterDelegate, &m_random);
    m_exporterDelegate.reset(slot);
}

SoakClient::~SoakClient() = default;

const std::string& SoakClient::pick(const std::vector<std::string>& from) { return from[m_random() % from.size()]; }

bool SoakClient::doOne()
{
    // Of a hundred calls about four are long jobs.
    std::uint64_t dice = m_random() % 100;
    if (dice < 2)
        return encode();
    if (dice < 3)
        return convert();
    if (dice < 4)
        return exportMovie();
    if (dice < 20)
        return describe("MivoMP3Parser_1._3._0._12062", pick(m_random() % 5 ? m_files.mp3 : m_files.bad));
    if (dice < 32)
        return describe("MivoMP4Parser_1._3._0._12062", pick(m_random() % 5 ? m_files.mp4 : m_files.bad));
    if (dice < 44)
        return describe(Image, pick(m_random() % 5 ? m_files.image : m_files.bad));
    if (dice < 52)
        return describe("MivoAVParser_1._3._0._12062", pick(m_random() % 5 ? m_files.video : m_files.bad));
    if (dice < 64)
        return describe("MivoBasicAudioParser_1._3._0._12062", pick(m_files.audio));
    if (dice < 70)
        return thumbnail();
    if (dice < 80)
        return exif();
    if (dice < 85)
        return updateTag(m_files.mp3, 0x01000001, "song.mp3");
    if (dice < 90)
        return updateTag(m_files.mp4, 0x01000020, "song.m4a");
    if (dice < 95)
        return podcast();
    return isAlac();
}

bool SoakClient::answered(const Answer& answer)
{
    // Exceptions are answers too; silence and a lost peer are not.
    bool fine = answer.ok() || answer.error.starts_with("Mivo.Exception.")
        || answer.error == "org.freedesktop.DBus.Error.LimitsExceeded";
    if (!fine)
        std::fprintf(stderr, "not answered: %s: %s\n", answer.error.c_str(), answer.text.c_str());
    return fine;
}

bool SoakClient::describe(const char* service, const std::string& path)
{
    return answered(
        m_client.call(service, "/", "Mivo.MVMediaInfoBuilder", "build", [&](WireWriter& out) { out.string(path); }));
}

bool SoakClient::thumbnail()
{
    double side = static_cast<double>(m_random() % 400);
    return answered(m_client.call(Image, "/", "Mivo.MVImageInfoBuilder", "makeThumbnailWithMaxSize",
        [&](WireWriter& out) { out.string(pick(m_files.image)).realPair(side, side / 2); }));
}

bool SoakClient::exif()
{
    Answer answer = m_client.call(Exif, "/", "Mivo.MVExifExtractorBase", "extractExif",
        [&](WireWriter& out) { out.string(pick(m_files.image)); });
    if (!answered(answer))
        return false;
    std::string info = answer.reader().objectPath();
    return info == "/" || answered(m_client.call(Exif, info, "Mivo.MVExifInfo", "release"));
}

bool SoakClient::updateTag(const std::vector<std::string>& from, std::int32_t mediaType, const char* name)
{
    std::string path = m_folder.copy(pick(from), name);
    Record record { { "MediaType", mediaType }, { "Title", "제목 " + std::to_string(m_random() % 1000) },
        { "Artist", std::string(m_random() % 3000, 'a') }, { "TrackNo", static_cast<std::int32_t>(m_random() % 99) } };
    return answered(m_client.call(Updater, "/", "Mivo.MVMediaTagBase", "updateTagWithDictionary",
        [&](WireWriter& out) { out.string(path).record(record); }));
}

bool SoakClient::podcast()
{
    return answered(m_client.call(Updater, "/", "Mivo.MVMediaTagBase", "podcastInfo",
        [&](WireWriter& out) { out.string(pick(m_random() % 2 ? m_files.mp3 : m_files.mp4)); }));
}

bool SoakClient::encode()
{
    bool withDelegate = m_random() % 2;
    // The encoder's delegate is everybody's: whoever waits for the encoder may be asked about another client's job.
    bool set = answered(m_client.callAndServe(Encoder, "/", "Mivo.MVAudioEncoderBase", "setDelegate",
        [&](WireWriter& out) { out.objectPath(withDelegate ? "/e" : "/"); }));
    return set
        && answered(m_client.callAndServe(Encoder, "/", "Mivo.MVAudioEncoderBase", "encodeFileOutputFile",
            [&](WireWriter& out) { out.string(pick(m_files.audio)).string(m_folder.file("out.mp3")); }));
}

bool SoakClient::convert()
{
    const auto& from = m_random() % 2 ? m_files.audio : m_files.mp3;
    return answered(m_client.callAndServe(Exporter, "/", "Mivo.MVMP4ExporterBase",
        "convertToAacWithDelegateFromPathToMp4PathBitrate", [&](WireWriter& out) {
            out.objectPath("/x").string(pick(from)).string(m_folder.file("out.m4a")).integer(128000);
        }));
}

bool SoakClient::exportMovie()
{
    return answered(m_client.callAndServe(Exporter, "/", "Mivo.MVMP4ExporterBase",
        "exportWithDelegateFromPathToMp4Path",
        [&](WireWriter& out) { out.objectPath("/x").string(pick(m_files.video)).string(m_folder.file("out.mp4")); }));
}

bool SoakClient::isAlac()
{
    return answered(m_client.call(Exporter, "/", "Mivo.MVMP4ExporterBase", "isAlacAudio",
        [&](WireWriter& out) { out.string(pick(m_files.mp4)); }));
}

} // namespace mv::test
